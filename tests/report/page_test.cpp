#include <limits>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "case_file.h"
#include "client/page/blocks.h"
#include "client/page/markup.h"
#include "client/page/page.h"
#include "client/report/drive_use.h"
#include "made_report.h"

namespace orrery {
namespace {

using namespace page;

TEST(PageText, IsEscapedWhateverItHolds)
{
    const struct {
        std::string_view text;
        const char* expected;
    } rows[] = {
        {"", ""},
        {"<a href=\"x\">'&amp;'</a>", "&lt;a href=&quot;x&quot;&gt;&#39;&amp;amp;&#39;&lt;/a&gt;"},
        {"a\tb\nc", "a\tb\nc"},
        {{"\0\r\x1B[1m\x7F", 7}, "[U+0000][U+000D][U+001B][1m[U+007F]"},
        {"\u0085\u202Ed\u2066\u200B\uFEFF", "[U+0085][U+202E]d[U+2066][U+200B][U+FEFF]"},
        {"\u00E9\u4E2D\U0001F600\uFFFD\u200D", "\u00E9\u4E2D\U0001F600\uFFFD\u200D"},
        {"\xC3", "\xC3"},  // broken texts are no reason to read past their end
        {"\xE4\xB8", "\xE4\xB8"},
        {"\xE2<", "\xE2&lt;"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Text(row.text).html(), row.expected) << row.text;
}

TEST(PageBar, StaysInItsBox)
{
    constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();
    const struct {
        double share;
        const char* expected;
    } rows[] = {{0.4267, "width:42.67%"},
                {1.5, "width:100.00%"},
                {-1, "width:0.00%"},
                {kNotANumber, "0.00%"}};
    for (const auto& row : rows)
        EXPECT_NE(Bar("fill", row.share).html().find(row.expected), std::string::npos)
            << Bar("fill", row.share).html();
}

TEST(DriveUse, GivesEachVolumeToTheFirstDriveThatNamesIt)
{
    const auto report = MadeReport(
        "DiskDrive/0/LogicalDisks/C:|D:|Q:|/Size/1000\nDiskDrive/1/LogicalDisks/D:|/Size/9\n"
        "DiskDrive/2/Caption/none\nLogicalDisk/0/DeviceID/C:/Size/600/FreeSpace/150\n"
        "LogicalDisk/1/DeviceID/D:/Size/700/FreeSpace/701\n"
        "LogicalDisk/2/DeviceID/E:/Size/-5\n");
    const auto drives = report::ReadDriveUse(report);
    ASSERT_EQ(drives.size(), 4U);
    ASSERT_EQ(drives[0].volumes.size(), 2U);
    EXPECT_EQ(drives[0].sizeMebibytes, 1300);  // its volumes need that much
    EXPECT_EQ(drives[0].volumes[0].usedShare(), 0.75);
    EXPECT_EQ(drives[0].volumes[1].usedMebibytes(), 0);  // no more can be free than there is
    EXPECT_TRUE(drives[1].volumes.empty());
    EXPECT_TRUE(drives[2].volumes.empty());
    EXPECT_EQ(drives[3].drive, nullptr);
    ASSERT_EQ(drives[3].volumes.size(), 1U);
    EXPECT_EQ(drives[3].volumes[0].sizeMebibytes, 0);
    EXPECT_EQ(drives[3].volumes[0].usedShare(), 0);
}

TEST(Page, ShowsWhatAPersonLooksFor)
{
    for (const Case& row : Cases("page", {"report", "shows", "does not show"})) {
        const std::string html = Written(report::WriteHtml, MadeReport(row["report"]));
        EXPECT_LT(html.size(), 60'000U) << row.what;
        for (const bool isShown : {true, false}) {
            std::istringstream parts{row[isShown ? "shows" : "does not show"]};
            for (std::string part; std::getline(parts, part);)
                EXPECT_EQ(html.find(part) != std::string::npos, isShown)
                    << row.what << ": " << part;
        }
    }
}

TEST(Page, ShowsWarnings)
{
    report::Report report;
    report.warnings.push_back({3, "<cut>"});
    EXPECT_NE(Written(report::WriteHtml, report).find("Line 3: &lt;cut&gt;"), std::string::npos);
}

}  // namespace
}  // namespace orrery
