#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "client/doctor/diagnosis.h"
#include "client/machine/record.h"
#include "client/machine/rehearsal.h"
#include "client/machine/system_probe.h"
#include "client/machine/wmi_probe.h"
#include "client/report/vocabulary.h"
#include "sim/whole_machine.h"
#include "support/unique.h"

namespace orrery {
namespace {

/// A report with a word in place of each elapsed time.
std::wstring WithoutTimes(const std::wstring& report)
{
    static const std::wregex elapsed{LR"((^|\n)(ET\t0\t\t)\d+(?=\n|$))"};
    return std::regex_replace(report, elapsed, L"$1$2elapsed");
}

const std::filesystem::path kData = ORRERY_TEST_DATA;

std::filesystem::path MachineFile(const std::string& name)
{
    return kData / "machines" / (name + ".machine");
}

/// The machines of the test data that have an expected report.
std::vector<std::string> NamesOfMachines()
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator{kData / "reports"})
        if (std::string name = entry.path().stem().string();
            std::filesystem::exists(MachineFile(name)))
            names.push_back(std::move(name));
    return names;
}

std::wstring ExpectedReport(const std::string& name)
{
    return sim::LoadScenario((kData / "reports" / (name + ".tsv")).c_str());
}

class ReportOf : public testing::TestWithParam<std::string> {};
class RecordingOf : public testing::TestWithParam<std::string> {};

std::string BytesOf(const std::filesystem::path& path)
{
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

/// What the recorder writes of a machine.
std::string RecordOf(const sim::WholeMachine& machine, bool isRedacted)
{
    machine::Record record;
    machine.Run(machine.platform.processors, [&] {
        RecordWindows(&record);
        RecordWmi(&record);
    });
    if (isRedacted)
        Redact(&record);
    return FormatRecord(record);
}

/// The report of a machine that is described by a text.
std::wstring ReportOfText(const std::string& text)
{
    const auto path = std::filesystem::temp_directory_path() /
                      (std::to_string(GetCurrentProcessId()) + ".machine");
    std::ofstream{path, std::ios::binary} << text;
    const sim::WholeMachine machine{path.wstring()};
    std::filesystem::remove(path);
    return WithoutTimes(CollectFrom(machine, 24));
}

TEST_P(ReportOf, TheMachineIsTheExpectedOne)
{
    const sim::WholeMachine machine{MachineFile(GetParam())};
    for (const DWORD processors : {24, 1}) {
        SCOPED_TRACE(processors);
        EXPECT_EQ(WithoutTimes(CollectFrom(machine, processors)), ExpectedReport(GetParam()));
        EXPECT_EQ(machine.wmi().LiveObjects(), 0);
        EXPECT_TRUE(machine.wlan().blocks.empty());
    }
}

TEST_P(RecordingOf, TheMachineGivesTheSameReport)
{
    std::string text;
    {
        const sim::WholeMachine machine{MachineFile(GetParam())};
        text = RecordOf(machine, false);
        EXPECT_EQ(machine.wmi().LiveObjects(), 0);
        EXPECT_TRUE(machine.wlan().blocks.empty());
    }
    EXPECT_EQ(ReportOfText(text), ExpectedReport(GetParam())) << text;
}

/// The keys that a report of lines "section, index, property, value" lacks or holds empty in one of a
/// section's instances.
std::set<std::string> KeysWithoutValue(const std::filesystem::path& file)
{
    std::map<std::string, std::map<std::string, std::pair<int, int>>> found;  // lines and values
    std::ifstream lines{file};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields{line};
        std::string section, index, property, value;
        std::getline(fields, section, '\t');
        std::getline(fields, index, '\t');
        std::getline(fields, property, '\t');
        std::getline(fields, value);  // which may hold a tab
        auto& [count, values] = found[section][property];
        ++count;
        values += value.empty() ? 0 : 1;
    }
    std::set<std::string> keys;
    for (const report::Term& term : report::Vocabulary()) {
        const std::string section{term.section}, property{term.property};
        const bool isSingle = property == "MemorySlots";
        int instances = 1;
        for (const auto& [name, counts] : found[section])
            if (!isSingle && name != "MemorySlots")
                instances = std::max(instances, counts.first);
        if (!term.category.empty() && found[section][property].second < instances)
            keys.insert(section + '.' + property);
    }
    return keys;
}

TEST_P(ReportOf, TheDoctorNamesTheKeysThatItLacksOrHoldsEmpty)
{
    const sim::WholeMachine machine{MachineFile(GetParam())};
    doctor::Findings findings;
    machine.Run(machine.platform.processors, [&findings] {
        const auto quiet = [](const std::string&) {};
        machine::ProbeSystem(std::chrono::seconds{30}, &findings);
        machine::ProbeWmi(std::chrono::seconds{30}, quiet, &findings);
        findings.rehearsal = machine::RehearseReport(std::chrono::seconds{30}, quiet);
    });
    std::set<std::string> named;
    for (const auto& trouble : doctor::Diagnose(findings)) {
        EXPECT_NE(trouble.what, "");
        for (const auto& loss : trouble.losses)
            if (loss.without == doctor::Without::kLeftOut ||
                loss.without == doctor::Without::kEmpty)
                named.insert(loss.keys.begin(), loss.keys.end());
    }
    EXPECT_EQ(named, KeysWithoutValue(kData / "reports" / (GetParam() + ".tsv")));
}

#ifdef _WIN64  // an address of 32 bits that has nothing from bit 16 up is none
/// A copy of the library that asks to be loaded where a piece of its constants begins at an address
/// whose bits 16 to 31 are zero.
class RebasedLibrary {
public:
    explicit RebasedLibrary(std::wstring_view constant)
    {
        std::string bytes = BytesOf("orrery.dll");
        auto* const base = reinterpret_cast<std::byte*>(bytes.data());
        const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
        auto* const headers = reinterpret_cast<IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
        const auto* const sections = IMAGE_FIRST_SECTION(headers);
        const auto inFile = [&](DWORD address) {
            const auto* section = sections;
            while (address >= section->VirtualAddress + section->SizeOfRawData)
                ++section;
            return base + (address - section->VirtualAddress + section->PointerToRawData);
        };
        const std::size_t found = bytes.find(std::string_view{
            reinterpret_cast<const char*>(constant.data()), constant.size() * sizeof(wchar_t)});
        const auto* section = sections;
        while (found >= section->PointerToRawData + section->SizeOfRawData)
            ++section;
        const std::size_t address = found - section->PointerToRawData + section->VirtualAddress;

        auto& optional = headers->OptionalHeader;
        constexpr std::uint64_t kPage = 0x0000000700000000;
        const std::uint64_t wanted = kPage - (address & ~std::size_t{0xFFFF});
        const std::uint64_t shift = wanted - optional.ImageBase;
        const auto& directory = optional.DataDirectory[IMAGE_DIRECTORY_ENTRY_BASERELOC];
        for (DWORD at = 0; at < directory.Size;) {
            const auto* const block = reinterpret_cast<const IMAGE_BASE_RELOCATION*>(
                inFile(directory.VirtualAddress + at));
            const auto* const entries = reinterpret_cast<const WORD*>(block + 1);
            for (std::size_t i = 0; i < (block->SizeOfBlock - sizeof *block) / 2; ++i)
                if (entries[i] >> 12 == IMAGE_REL_BASED_DIR64) {
                    std::byte* const place = inFile(block->VirtualAddress + (entries[i] & 0xFFF));
                    std::uint64_t pointer = 0;
                    std::memcpy(&pointer, place, sizeof pointer);
                    pointer += shift;
                    std::memcpy(place, &pointer, sizeof pointer);
                }
            at += block->SizeOfBlock;
        }
        optional.ImageBase = wanted;
        optional.DllCharacteristics &= static_cast<WORD>(~IMAGE_DLLCHARACTERISTICS_DYNAMIC_BASE);

        std::filesystem::create_directories(folder_);
        std::ofstream{folder_ / "orrery.dll", std::ios::binary} << bytes;
        // From now on the bare name means this one.
        module_.reset(LoadLibraryW((folder_ / "orrery.dll").c_str()));
        isInPlace = reinterpret_cast<std::uint64_t>(module_.get()) == wanted;
    }
    ~RebasedLibrary()
    {
        module_.reset();
        std::filesystem::remove_all(folder_);
    }
    RebasedLibrary(const RebasedLibrary&) = delete;
    RebasedLibrary& operator=(const RebasedLibrary&) = delete;

    bool isInPlace = false;

private:
    const std::filesystem::path folder_ =
        std::filesystem::temp_directory_path() /
        ("orrery-rebased-" + std::to_string(GetCurrentProcessId()));
    UniqueModule module_;
};

TEST(RebasedLibrary, ReportsEveryLineWhereItsTextsLookLikeIdentifiers)
{
    for (const auto* const constant : {L"PhysicalDrive", L"Win32_DiskDrive"}) {
        const RebasedLibrary library{constant};
        ASSERT_TRUE(library.isInPlace);
        const sim::WholeMachine machine{MachineFile("workstation")};
        EXPECT_EQ(WithoutTimes(CollectFrom(machine, 24)), ExpectedReport("workstation"));
    }
}
#endif

std::string TestName(const testing::TestParamInfo<std::string>& row)
{
    std::string name = row.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

/// All but the machines of before Windows 2000, whose ways are not recorded.
std::vector<std::string> NamesOfRecordings()
{
    auto names = NamesOfMachines();
    std::erase(names, "windows-98");
    std::erase(names, "windows-nt4");
    return names;
}

INSTANTIATE_TEST_SUITE_P(Machines, ReportOf, testing::ValuesIn(NamesOfMachines()), TestName);
INSTANTIATE_TEST_SUITE_P(Machines, RecordingOf, testing::ValuesIn(NamesOfRecordings()), TestName);

TEST(RecordedMachine, KeepsTypesObjectTextsAndDelays)
{
    const auto file = MachineFile("typed-values");
    std::string text = BytesOf(file);
    const std::size_t begin = text.find("class ");
    const std::string answers = text.substr(begin, text.find("after ") - begin);
    text = RecordOf(sim::WholeMachine{file}, false);
    const std::size_t found = text.find(answers);
    ASSERT_NE(found, std::string::npos) << text;
    const std::string rest = text.substr(found + answers.size());
    ASSERT_TRUE(rest.starts_with("after ")) << text;
    EXPECT_GE(std::stoi(rest.substr(6)), 1090);  // a wait may end a little early
    EXPECT_NE(rest.find(" ms\ninstance of Win32_PhysicalMemoryArray\n{\n};\n"), std::string::npos)
        << text;
}

TEST(RecordedMachine, CallsMethodsWithTheInputThatTheyTake)
{
    const std::string method =
        R"(method GetLockStatus of \\HOST\root:Win32_EncryptableVolume.DeviceID="C")";
    std::string text = BytesOf(MachineFile("workstation"));
    const std::size_t at = text.find(method);
    ASSERT_NE(at, std::string::npos);
    text.insert(at + method.size(), " takes input");
    const auto path = std::filesystem::temp_directory_path() /
                      (std::to_string(GetCurrentProcessId()) + ".machine");
    std::ofstream{path, std::ios::binary} << text;
    const std::string recorded = RecordOf(sim::WholeMachine{path.wstring()}, false);
    std::filesystem::remove(path);
    EXPECT_NE(recorded.find(method), std::string::npos) << recorded;
}

TEST(RedactedMachine, KeepsNothingThatIdentifiesAndReportsTheRest)
{
    std::string text;
    {
        const sim::WholeMachine machine{MachineFile("workstation")};
        text = RecordOf(machine, true);
    }
    std::ifstream secrets{kData / "redacted" / "workstation.secrets"};
    ASSERT_TRUE(secrets);
    for (std::string secret; std::getline(secrets, secret);)
        EXPECT_EQ(text.find(secret), std::string::npos) << secret;

    // What is replaced, and by what. All else is as it was.
    std::wstring expected = L'\n' + ExpectedReport("workstation");
    std::wistringstream replaced{
        sim::LoadScenario((kData / "redacted" / "workstation.tsv").c_str())};
    for (std::wstring line; std::getline(replaced, line);) {
        const auto at = expected.find(L'\n' + line.substr(0, line.rfind(L'\t') + 1)) + 1;
        ASSERT_NE(at, 0U) << line;
        expected.replace(at, expected.find(L'\n', at) - at, line);
    }
    EXPECT_EQ(L'\n' + ReportOfText(text), expected) << text;
}

}  // namespace
}  // namespace orrery
