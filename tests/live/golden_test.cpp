#include <winsock2.h>
#include <windows.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <iterator>
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

TEST_P(RecordingOf, TheMachineGivesTheSameReport)
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
    Lines expected = ExpectedReport("workstation");
    for (const auto& by :
         LinesOf(sim::LoadScenario((kData / "redacted" / "workstation.tsv").c_str()))) {
        const auto key = by.substr(0, by.rfind(L'\t') + 1);
        const auto line = std::find_if(expected.begin(), expected.end(),
                                       [&](const auto& each) { return each.starts_with(key); });
        ASSERT_NE(line, expected.end()) << by;
        *line = by;
    }
    EXPECT_EQ(Differences(expected, ReportOfText(text)), L"") << text;
}

}  // namespace
}  // namespace orrery
