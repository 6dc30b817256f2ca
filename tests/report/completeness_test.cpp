#include "client/report/completeness.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "client/report/completeness_json.h"
#include "client/report/diff_text.h"
#include "client/report/reader.h"
#include "client/report/writer.h"
#include "client/text/utf8.h"
#include "made_report.h"

namespace orrery::report {
namespace {

using State = Completeness::State;

/// A report of UTF-16LE bytes.
Report Read(const std::string& bytes)
{
    CReportBuilder builder;
    CReportParser parser{builder};
    parser.Add(std::as_bytes(std::span{bytes}));
    parser.Finish();
    return builder.Take();
}

std::string Wide(const std::string& utf8)
{
    std::string bytes;
    AppendUtf16(utf8, &bytes);
    return bytes;
}

/// The lines of the whole reports that there are, by file.
std::map<std::string, std::vector<std::string>> GoldenReports()
{
    std::map<std::string, std::vector<std::string>> reports;
    for (const auto& entry : std::filesystem::directory_iterator{ORRERY_TEST_DATA "/reports"}) {
        std::ifstream file{entry.path()};
        for (std::string line; std::getline(file, line);)
            reports[entry.path().filename().string()].push_back(line + '\n');
    }
    return reports;
}

std::string Joined(std::span<const std::string> lines)
{
    std::string text;
    for (const std::string& line : lines)
        text += line;
    return text;
}

std::string CategoryOf(const std::string& line)
{
    const std::size_t index = line.find('\t'), property = line.find('\t', index + 1) + 1;
    const Term* const term = FindTerm(line.substr(0, index),
                                      line.substr(property, line.find('\t', property) - property));
    return term != nullptr ? std::string{term->category} : std::string{};
}

TEST(Completeness, SeesACutAtEveryPlace)
{
    for (const auto& [name, lines] : GoldenReports()) {
        const std::string whole = Wide(Joined(lines));
        EXPECT_EQ(Read(whole).completeness.state, State::kWhole) << name;
        for (std::size_t count = 0; count < lines.size(); ++count) {
            const std::string bytes = Wide(Joined(std::span{lines}.first(count)));
            EXPECT_TRUE(Read(bytes).completeness.isCut()) << name << " after line " << count;
        }
        for (const std::size_t missing : {1U, 2U, 3U, 9U})
            EXPECT_TRUE(Read(whole.substr(0, whole.size() - missing)).completeness.isCut())
                << name << " without " << missing << " bytes";
    }
}

TEST(Completeness, TakesNoForeignTableForACancelledRun)
{
    const Completeness found = Read(Wide("Parts\t1\tName\tBolt\n")).completeness;
    EXPECT_TRUE(found.isCut()) << Describe(found);
}

TEST(Completeness, NamesTheCategoriesThatACancelledRunLeftOut)
{
    for (const auto& [name, lines] : GoldenReports())
        for (const std::string_view first : kCategories)
            for (const std::string_view second : kCategories) {
                std::string text;
                std::size_t times = 0;
                for (const std::string& line : lines) {
                    const std::string category = CategoryOf(line);
                    const bool isTime = line.starts_with("ET\t");
                    const bool isLeftOut = isTime ? times++ < (first == second ? 1U : 2U)
                                                  : category == first || category == second;
                    text += isLeftOut ? "" : line;
                }
                const Completeness found = Read(Wide(text)).completeness;
                ASSERT_EQ(found.state, State::kLacksCategories) << name << first << second;
                EXPECT_EQ(found.missing, first == second ? 1U : 2U);
                for (const std::string_view category : {first, second})
                    EXPECT_EQ(std::count(found.lacking.begin(), found.lacking.end(), category) +
                                  std::count(found.perhaps.begin(), found.perhaps.end(), category),
                              1)
                        << name << ": " << category << ": " << Describe(found);
            }
}

TEST(Completeness, IsToldInWordsAndToPrograms)
{
    std::string text = "ComputerSystem\t0\tName\t\nET\t0\t\t1\nET\t0\t\t1\nProcessor\t0\tName\t\n";
    EXPECT_EQ(Describe(Read(Wide(text)).completeness),
              "the report lacks 11 categories, since the run was cancelled: BIOS, BaseBoard, "
              "Enclosure, Memory, Network, OS, PhysicalDrive, SystemOverview, SystemSlot, USB and "
              "Video");
    text += "ET\t0\t\t1\n";
    const Completeness doubtful = Read(Wide(text)).completeness;
    EXPECT_EQ(Describe(doubtful),
              "the report lacks 10 categories, since the run was cancelled: BIOS, Memory, OS, "
              "SystemOverview and Video; and 5 of BaseBoard, Enclosure, Network, PhysicalDrive, "
              "SystemSlot and USB");
    EXPECT_EQ(
        Dump(ToJson(doubtful), -1),
        R"({"state":"lacksCategories","missing":10,)"
        R"("lacking":["BIOS","Memory","OS","SystemOverview","Video"],)"
        R"("perhaps":["BaseBoard","Enclosure","Network","PhysicalDrive","SystemSlot","USB"]})");
    EXPECT_EQ(Read(Wide(text + "BIOS\t0\tMode\tUEFI\n")).completeness.state, State::kCut);
    EXPECT_EQ(Read("").completeness.state, State::kCut);
}

/// A report cut anywhere must not seem to have lost, or changed, anything.
TEST(CompareReports, GoesNoFurtherThanACut)
{
    for (const auto& [name, lines] : GoldenReports()) {
        const std::string bytes = Wide(Joined(lines));
        const Report whole = Read(bytes);
        for (std::size_t size = 0; size < bytes.size(); size += 61) {
            const Report cut = Read(bytes.substr(0, size));
            for (const auto& changes :
                 {CompareReports(whole, cut, true), CompareReports(cut, whole, true)})
                EXPECT_EQ(FormatDiff(changes, {"old", "new"}, 0, Charset::kUnicode), "")
                    << name << " after " << size << " bytes";
            EXPECT_FALSE(whole.completeness.IsCutLike(cut.completeness));
        }
    }
    const Report cut = Read(Wide("BIOS\t0\tAssetTag\t1\nBIOS\t0\tMode\tUE"));
    const Report other = MadeReport("BIOS/0/AssetTag/2/Mode/Legacy/Version/1\nOther/0/A/1\n");
    EXPECT_EQ(FormatDiff(CompareReports(other, cut, true), {"old", "new"}, 0, Charset::kUnicode),
              "BIOS\n  AssetTag  2 -> 1\n");
}

TEST(WriteReport, LeavesACutReportCut)
{
    for (const std::string text : {"BIOS\t0\tMode\tUE", "BIOS\t0\tMode\tUEFI\nBIO"}) {
        const std::string copy = Written(WriteReport, Read(Wide(text)));
        EXPECT_EQ(copy, Wide(text.substr(0, text.find('\n'))));
    }
}

}  // namespace
}  // namespace orrery::report
