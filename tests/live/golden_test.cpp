#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "client/machine/record.h"
#include "sim/whole_machine.h"

namespace orrery {
namespace {

using Lines = std::vector<std::wstring>;

/// The lines of a report, of which the last may lack its end; times are replaced by a word.
Lines LinesOf(const std::wstring& report)
{
    const std::wstring elapsed = L"ET\t0\t\t";
    Lines lines;
    for (std::size_t at = 0, end = 0; at < report.size(); at = end + 1) {
        end = std::min(report.find(L'\n', at), report.size());
        auto& line = lines.emplace_back(report.substr(at, end - at));
        if (line.starts_with(elapsed) && line.size() > elapsed.size() &&
            std::all_of(line.begin() + static_cast<std::ptrdiff_t>(elapsed.size()), line.end(),
                        std::iswdigit))
            line.replace(elapsed.size(), line.npos, L"elapsed");
    }
    return lines;
}

/// One line for each that is missing, is too much or stands elsewhere, with its number; empty when
/// there is no difference.
std::wstring Differences(const Lines& expected, const Lines& got)
{
    std::wstring text;
    const auto tell = [&text](const wchar_t* what, const Lines& lines, std::size_t at) {
        text += std::to_wstring(at + 1) + what + lines[at] + L"\n";
    };
    const auto isBelow = [](const Lines& lines, std::size_t at, const std::wstring& line) {
        return std::find(lines.begin() + static_cast<std::ptrdiff_t>(at), lines.end(), line) !=
               lines.end();
    };
    std::size_t left = 0, right = 0;
    while (left < expected.size() || right < got.size()) {
        const bool isOver = left == expected.size(), isRightOver = right == got.size();
        if (!isOver && !isRightOver && expected[left] == got[right])
            ++left, ++right;
        else if (!isOver && (isRightOver || !isBelow(got, right, expected[left])))
            tell(L" expected: ", expected, left++);
        else
            tell(L" got:      ", got, right++);
    }
    return text;
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

Lines ExpectedReport(const std::string& name)
{
    return LinesOf(sim::LoadScenario((kData / "reports" / (name + ".tsv")).c_str()));
}

class ReportOf : public testing::TestWithParam<std::string> {};

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
Lines ReportOfText(const std::string& text)
{
    const auto path = std::filesystem::temp_directory_path() /
                      (std::to_string(GetCurrentProcessId()) + ".machine");
    std::ofstream{path, std::ios::binary} << text;
    const sim::WholeMachine machine{path.wstring()};
    std::filesystem::remove(path);
    return LinesOf(CollectFrom(machine, 24));
}

TEST_P(ReportOf, TheMachineIsTheExpectedOne)
{
    const sim::WholeMachine machine{MachineFile(GetParam())};
    for (const DWORD processors : {24, 1}) {
        SCOPED_TRACE(processors);
        const std::wstring report = CollectFrom(machine, processors);
        EXPECT_TRUE(report.ends_with(L'\n'));
        EXPECT_EQ(Differences(ExpectedReport(GetParam()), LinesOf(report)), L"");
        EXPECT_EQ(machine.wmi().LiveObjects(), 0);
        EXPECT_TRUE(machine.wlan().blocks.empty());
    }
}

TEST_P(ReportOf, TheRecordedMachineIsTheSame)
{
    std::string text;
    {
        const sim::WholeMachine machine{MachineFile(GetParam())};
        text = RecordOf(machine, false);
        EXPECT_EQ(machine.wmi().LiveObjects(), 0);
        EXPECT_TRUE(machine.wlan().blocks.empty());
    }
    EXPECT_EQ(Differences(ExpectedReport(GetParam()), ReportOfText(text)), L"") << text;
}

INSTANTIATE_TEST_SUITE_P(Machines, ReportOf, testing::ValuesIn(NamesOfMachines()),
                         [](const auto& row) {
                             std::string name = row.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

TEST(RecordedMachine, KeepsTypesObjectTextsAndDelays)
{
    // In the order and in the spelling of the recorder.
    const std::string answers =
        R"(class Win32_SystemEnclosure
instance of Win32_SystemEnclosure
{
	SMBIOSAssetTag = "a\"b\\c\td\ne\x0007";
	text SMBIOSAssetTag = "a";
	VT_UI1 ChassisTypes = {3, 10};
};
unreadable instance of Win32_SystemEnclosure
{
	SMBIOSAssetTag = {"x, y", "}"};
	VT_I4 ChassisTypes = {};
};
empty slot of Win32_SystemEnclosure
class Win32_PhysicalMemory
instance of Win32_PhysicalMemory
{
	VT_UI8 Capacity = 17179869184;
	DeviceLocator = NULL;
	MemoryType = TRUE;
	VT_R8 Speed = 2933.5;
};
instance of Win32_PhysicalMemory
{
	Capacity = 4294967295;
	DeviceLocator = EMPTY;
	VT_UI2 MemoryType = 65535;
	text
	Speed = -1;
};
class Win32_PhysicalMemoryArray
)";
    const auto path = std::filesystem::temp_directory_path() /
                      (std::to_string(GetCurrentProcessId()) + ".machine");
    std::ofstream{path, std::ios::binary} << "namespace root\\cimv2\n"
                                          << answers << "after 1100 ms\n"
                                          << "instance of Win32_PhysicalMemoryArray\n{\n};\n";
    const sim::WholeMachine machine{path.wstring()};
    std::filesystem::remove(path);
    const std::string text = RecordOf(machine, false);
    const std::size_t found = text.find(answers);
    ASSERT_NE(found, std::string::npos) << text;
    const std::string rest = text.substr(found + answers.size());
    ASSERT_TRUE(rest.starts_with("after ")) << text;
    EXPECT_GE(std::stoi(rest.substr(6)), 1090);  // a wait may end a little early
    EXPECT_NE(rest.find(" ms\ninstance of Win32_PhysicalMemoryArray\n{\n};\n"), std::string::npos)
        << text;
}

TEST(RedactedMachine, KeepsNothingThatIdentifiesAndReportsTheRest)
{
    std::string text;
    {
        const sim::WholeMachine machine{MachineFile("workstation")};
        text = RecordOf(machine, true);
    }
    for (const char* const secret :
         {"PF-000017", "HE-230914", "WX41-0077",    "S5NV0042", "PM-1",         "USB-1",
          "CR-9",      "nk 7",      "0A1B2C3D",     "BADC0DE",  "vaerksted-07", "kari.nordmann",
          "1B-21-0A",  "1B:21:0A",  "7C-55-00",     "7C:55:00", "0A:0A:0A",     "192.168.10",
          "10.20.30",  "fd00::",    "2001:db8::20", "Fjord",    "HOST"})
        EXPECT_EQ(text.find(secret), std::string::npos) << secret;

    // What is replaced, and by what. All else is as it was.
    const std::map<std::wstring, std::wstring> replaced{
        {L"BIOS\t0\tAssetTag", L"serial-7"},
        {L"BIOS\t0\tSerialNumber", L"serial-5"},
        {L"ComputerSystem\t0\tName", L"host-1"},
        {L"OperatingSystem\t0\tLoggedOnUser", L"user-1"},
        {L"LogicalDisk\t0\tVolumeSerialNumber", L"1"},
        {L"LogicalDisk\t1\tVolumeSerialNumber", L"2"},
        {L"LogicalDisk\t2\tVolumeSerialNumber", L"3"},
        {L"LogicalDisk\t3\tVolumeSerialNumber", L"0"},
        {L"LogicalDisk\t4\tVolumeSerialNumber", L"4"},
        {L"LogicalDisk\t5\tVolumeSerialNumber", L"0"},
        {L"NetworkAdapter\t0\tMACAddress", L"02-00-00-00-00-02"},
        {L"NetworkAdapter\t1\tMACAddress", L"02-00-00-00-00-03"},
        {L"NetworkAdapter\t2\tMACAddress", L"02-00-00-00-00-04"},
        {L"NetworkAdapter\t3\tMACAddress", L"02-00-00-00-00-05"},
        {L"NetworkAdapter\t0\tIPAddress", L"198.18.0.1"},
        {L"NetworkAdapter\t0\tDefaultIPGateway", L"198.18.0.2"},
        {L"NetworkAdapter\t0\tDHCPServer", L"198.18.0.3"},
        {L"NetworkAdapter\t0\tDNSServer", L"198.18.0.4"},
        {L"NetworkAdapter\t1\tIPAddress", L"198.18.0.5"},
        {L"NetworkAdapter\t1\tWINSPrimaryServer", L"198.18.0.6"},
        {L"NetworkAdapter\t1\tDNSServer", L"198.18.0.7"},
        {L"NetworkAdapter\t0\tIPV6Address", L"2001:db8::8,2001:db8::9"},
        {L"NetworkAdapter\t2\tIPV6Address", L"2001:db8::a"},
        {L"NetworkAdapter\t1\tSSID", L"ssid-1"},
    };
    Lines expected = ExpectedReport("workstation");
    for (auto& line : expected)
        if (const auto by = replaced.find(line.substr(0, line.rfind(L'\t'))); by != replaced.end())
            line.replace(line.rfind(L'\t') + 1, line.npos, by->second);
    EXPECT_EQ(Differences(expected, ReportOfText(text)), L"") << text;
}

}  // namespace
}  // namespace orrery
