#include <gtest/gtest.h>

#include <algorithm>
#include <cwctype>
#include <filesystem>
#include <string>
#include <vector>

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
            std::all_of(line.begin() + elapsed.size(), line.end(), std::iswdigit))
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
        if (left < expected.size() && right < got.size() && expected[left] == got[right])
            ++left, ++right;
        else if (left < expected.size() && !isBelow(got, right, expected[left]))
            tell(L" expected: ", expected, left++);
        else if (right < got.size())
            tell(L" got:      ", got, right++);
        else
            tell(L" expected: ", expected, left++);
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

class ReportOf : public testing::TestWithParam<std::string> {};

TEST_P(ReportOf, TheMachineIsTheExpectedOne)
{
    const auto golden = kData / "reports" / (GetParam() + ".tsv");
    const Lines expected = LinesOf(sim::LoadScenario(golden.c_str()));
    sim::WholeMachine machine{MachineFile(GetParam())};
    for (const DWORD processors : {24, 1}) {
        SCOPED_TRACE(processors);
        const std::wstring report = CollectFrom(&machine, processors);
        EXPECT_TRUE(report.ends_with(L'\n'));
        const auto differences = Differences(expected, LinesOf(report));
        EXPECT_TRUE(differences.empty()) << differences;
        EXPECT_EQ(machine.wmi().LiveObjects(), 0);
        EXPECT_TRUE(machine.wlan().blocks.empty());
    }
}

INSTANTIATE_TEST_SUITE_P(Machines, ReportOf, testing::ValuesIn(NamesOfMachines()),
                         [](const auto& row) {
                             std::string name = row.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace orrery
