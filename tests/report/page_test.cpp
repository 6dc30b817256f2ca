#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "client/page/blocks.h"
#include "client/page/markup.h"
#include "client/page/page.h"
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
    const auto drives = ReadDriveUse(report);
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
    const auto report = MadeReport(
        "ComputerSystem/0/Name/DESK\n"
        "LogicalDisk/0/BitLockerStatus/7/DeviceID/C:/FreeSpace/1024/Size/51200\n"
        "LogicalDisk/1/DeviceID/D:/FreeSpace/1/Size/51200\n"
        "NetworkAdapter/2/IPAddress/192.0.2.8\n"
        "NetworkAdapter/0/DHCPEnabled/true/DHCPLeaseExpires/2024-02-06T07:08:09Z/DHCPServer/"
        "192.0.2.1/NetConnectionStatus/Connected/Speed/1000000000\n"
        "NetworkAdapter/3/IPAddress/192.0.2.9/NetConnectionStatus/Connected\n"
        "NetworkAdapter/1/DHCPEnabled/true/DHCPLeaseExpires/1970-01-01T00:00:00Z/Speed/"
        "9223372036854775807\n"
        "Processor/0/Name/P/NumberOfCores/2\nProcessor/1/NumberOfCores/3\n"
        "Processor/0/NumberOfLogicalProcessors/4\n"
        "PhysicalMemoryLocation/0/Capacity/16384/MemorySlots/2\n"
        "SystemOverview/0/SecureBoot/0/TpmChip/2.0/TpmEnabled/0\nAdded/0/Later/kept\n"
        "ET/0//40\nET/0//80\n");
    const std::string html = Written(report::WriteHtml, report);
    for (const char* part : {
             "<title>DESK \u00B7 inventory report</title>",
             "fill bad\" style=\"width:98.00%\"",  // nearly nothing is free
             "1 GiB free of 50 GiB",
             "BitLocker on 1 of 1 volume<",
             "Secure Boot off",
             "TPM 2.0, off",
             "2 of 4 adapters connected",
             "<strong>192.0.2.9</strong>",
             "<p class=\"muted\">2 processors \u00B7 5 cores</p>",
             "99 %",
             "DHCP from 192.0.2.1, lease until 2024-02-06 07:08:09 UTC",
             "<dd>DHCP</dd>",
             "1 Gbit/s",
             "<b>16 GiB</b>",
             "Empty slot",
             "<td>kept</td>",
             "line 2</span><div class=\"track\"><span class=\"fill\" style=\"width:100.00%\"",
             "line 1</span><div class=\"track\"><span class=\"fill\" style=\"width:50.00%\"",
         })
        EXPECT_NE(html.find(part), std::string::npos) << part;
    EXPECT_EQ(html.find("bit/s"), html.rfind("bit/s")) << "a disconnected adapter has no speed";
}

TEST(Page, IsThereForReportsThatSayNothingOrNonsense)
{
    EXPECT_NE(Written(report::WriteHtml, report::Report{}).find("Computer without a name"),
              std::string::npos);
    auto report = MadeReport(
        "DiskDrive/0/Size/9223372036854775807/LogicalDisks/|||\n"
        "PhysicalMemoryLocation/0/MemorySlots/9223372036854775807\n"
        "PhysicalMemory/5/Capacity/-9223372036854775808\n"
        "SystemOverview/0/AverageBootTime/-1\nET/0//-9223372036854775808\n");
    report.warnings.push_back({3, "<cut>"});
    const std::string html = Written(report::WriteHtml, report);
    EXPECT_NE(html.find("Line 3: &lt;cut&gt;"), std::string::npos);
    EXPECT_LT(html.size(), 60'000U);
}

}  // namespace
}  // namespace orrery
