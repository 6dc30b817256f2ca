#include "client/report/diff.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "client/report/diff_text.h"
#include "made_report.h"

namespace orrery::report {
namespace {

std::string Diff(const std::string& before, const std::string& after, bool withPassing = false)
{
    return FormatDiff(CompareReports(MadeReport(before), MadeReport(after), withPassing),
                      {"old", "new"}, 0, Charset::kUnicode);
}

TEST(CompareReports, MatchesInstancesByWhatIdentifiesThem)
{
    const struct {
        const char *what, *before, *after, *expected;
    } rows[] = {
        {"two empty reports", "", "", ""},
        {"a disk that moved", "DiskDrive/0/Caption/A\nDiskDrive/1/Caption/B/Size/9\n",
         "DiskDrive/0/Caption/B/Size/9\nDiskDrive/1/Caption/A\n", ""},
        {"a disk that went, the other one moved up",
         "DiskDrive/0/Caption/A/Size/7\nDiskDrive/1/Caption/B\n", "DiskDrive/0/Caption/B\n",
         "DiskDrive\n  - A\n      Caption  A\n      Size     7\n"},
        {"a disk that came first, another one for the last",
         "DiskDrive/0/Caption/A\nDiskDrive/1/Caption/B\n",
         "DiskDrive/0/Caption/C\nDiskDrive/1/Caption/A\n",
         "DiskDrive\n  - B\n      Caption  B\n  + C\n      Caption  C\n"},
        {"the same model in another size",
         "DiskDrive/0/Caption/A/Size/1\nDiskDrive/1/Caption/A/Size/2\n",
         "DiskDrive/0/Caption/A/Size/3\nDiskDrive/1/Caption/A/Size/1\n",
         "DiskDrive\n  ~ A\n      Size  2 -> 3\n"},
        {"two of a model that swapped places and got other volumes",
         "DiskDrive/0/Caption/A/LogicalDisks/C:/Size/1\nDiskDrive/1/Caption/A/Size/2\n",
         "DiskDrive/0/Caption/A/LogicalDisks/E:/Size/2\nDiskDrive/1/Caption/A/Size/1\n",
         "DiskDrive\n  ~ A, index 0\n      LogicalDisks  C: -> (not reported)\n"
         "  ~ A, index 1\n      LogicalDisks  (not reported) -> E:\n"},
        {"duplicates that swapped places, and one of three that went",
         "PhysicalMemoryLocation/0/DeviceLocator/D/Capacity/1\n"
         "PhysicalMemoryLocation/1/DeviceLocator/D/Capacity/2\n"
         "PhysicalMemoryLocation/2/DeviceLocator/D/Capacity/4\n",
         "PhysicalMemoryLocation/0/DeviceLocator/D/Capacity/4\n"
         "PhysicalMemoryLocation/1/DeviceLocator/D/Capacity/1\n",
         "PhysicalMemoryLocation\n  - D\n      DeviceLocator  D\n      Capacity       2\n"},
        {"duplicates that changed keep their order and show their index",
         "SystemSlot/0/SlotDesignation/J/CurrentUsage/Available\n"
         "SystemSlot/1/SlotDesignation/J/CurrentUsage/Unknown\n",
         "SystemSlot/0/SlotDesignation/J/CurrentUsage/In use\n"
         "SystemSlot/1/SlotDesignation/J/CurrentUsage/Other\n",
         "SystemSlot\n  ~ J, index 0\n      CurrentUsage  Available -> In use\n"
         "  ~ J, index 1\n      CurrentUsage  Unknown -> Other\n"},
        {"the number of slots belongs to no module",
         "PhysicalMemoryLocation/0/DeviceLocator/D1/MemorySlots/4\n"
         "PhysicalMemoryLocation/1/DeviceLocator/D2\n",
         "PhysicalMemoryLocation/0/DeviceLocator/D2/MemorySlots/2\n"
         "PhysicalMemoryLocation/1/DeviceLocator/D1\n",
         "PhysicalMemoryLocation\n  MemorySlots  4 -> 2\n"},
        {"two numbers of slots, of which one belongs to the section",
         "PhysicalMemoryLocation/0/MemorySlots/4\nPhysicalMemoryLocation/1/MemorySlots/4\n",
         "PhysicalMemoryLocation/0/MemorySlots/4\nPhysicalMemoryLocation/1/MemorySlots/2\n",
         "PhysicalMemoryLocation\n  ~ index 1\n      MemorySlots  4 -> 2\n"},
        {"an adapter in another letter case, under another name",
         "NetworkAdapter/0/MACAddress/00-1A/Name/A\n",
         "NetworkAdapter/3/MACAddress/00-1a/Name/A #2\n",
         "NetworkAdapter\n  ~ A #2 (00-1a)\n      MACAddress  00-1A -> 00-1a\n"
         "      Name        A -> A #2\n"},
        {"only letter case changed", "BIOS/0/Manufacturer/Wine\n", "BIOS/0/Manufacturer/WINE\n",
         "BIOS\n  Manufacturer  Wine -> WINE\n"},
        {"an adapter with a random address", "NetworkAdapter/0/MACAddress/02-01/Name/W\n",
         "NetworkAdapter/0/MACAddress/02-02/Name/W\n",
         "NetworkAdapter\n  ~ W (02-02)\n      MACAddress  02-01 -> 02-02\n"},
        {"adapters without an address are told apart by name",
         "NetworkAdapter/0/MACAddress/00-00/Name/A\nNetworkAdapter/1/MACAddress/00-00/Name/B\n",
         "NetworkAdapter/0/MACAddress/00-00/Name/C\nNetworkAdapter/1/MACAddress/00-00/Name/A\n",
         "NetworkAdapter\n  - B (00-00)\n      MACAddress  00-00\n      Name        B\n"
         "  + C (00-00)\n      MACAddress  00-00\n      Name        C\n"},
        {"a volume under another letter, and two of no known serial number",
         "LogicalDisk/0/DeviceID/D:/VolumeSerialNumber/1A\n"
         "LogicalDisk/1/DeviceID/E:/VolumeSerialNumber/0\n",
         "LogicalDisk/0/DeviceID/F:/VolumeSerialNumber/1A\n"
         "LogicalDisk/1/DeviceID/G:/VolumeSerialNumber/0\n",
         "LogicalDisk\n  ~ F:\n      DeviceID  D: -> F:\n"
         "  - E:\n      DeviceID            E:\n      VolumeSerialNumber  0\n"
         "  + G:\n      DeviceID            G:\n      VolumeSerialNumber  0\n"},
        {"something that became known", "VideoController/0/Name//AdapterRAM/\n",
         "VideoController/0/Name/V/AdapterRAM/\n",
         "VideoController\n  ~ V\n      Name  (empty) -> V\n"},
        {"nothing to tell instances apart", "USBDevice/0/Name/\nUSBDevice/1/Name/\n",
         "USBDevice/0/Name/\n", "USBDevice\n  - index 1\n"},
        {"a property that came and one that went, empty is not absent",
         "OperatingSystem/0/A//B/1\n", "OperatingSystem/0/C//B/\n",
         "OperatingSystem\n  A  (empty) -> (not reported)\n  B  1 -> (empty)\n"
         "  C  (not reported) -> (empty)\n"},
        {"a section that this program does not know", "Future/0/Name/A\nFuture/1/Name/B\n",
         "Future/0/Name/B\nFuture/1/Name/A\n", ""},
        {"sections that were not collected, in the order of a report",
         "USBDevice/0/Name/U\nBaseBoard/0/Product/P\n", "BIOS/0/Version/1\nBaseBoard/0/Product/P\n",
         "BIOS\n  not collected in old\n\nUSBDevice\n  not collected in new\n"},
        {"an empty report", "BIOS/0/Version/1\n", "", "BIOS\n  not collected in new\n"},
        {"what a terminal would act on", "BIOS/0/Version/\x1B[2J\n", "BIOS/0/Version/a\tb\n",
         "BIOS\n  Version  \\x1B[2J -> a\\tb\n"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Diff(row.before, row.after), row.expected) << row.what;
        EXPECT_EQ(Diff(row.after, row.after), "") << row.what << ", with itself";
    }
}

TEST(CompareReports, LeavesOutWhatPasses)
{
    const std::string before =
        "LogicalDisk/0/DeviceID/C:/FreeSpace/1\n"
        "NetworkAdapter/0/Name/N/DHCPLeaseExpires/1/DHCPLeaseObtained/1\n"
        "Processor/0/Name/P/CurrentClockSpeed/1\nSystemOverview/0/AverageBootTime/1\n"
        "ET/0//5\nET/0//6\n";
    const std::string after =
        "LogicalDisk/0/DeviceID/C:/FreeSpace/2\n"
        "NetworkAdapter/0/Name/N/DHCPLeaseExpires/2/DHCPLeaseObtained/2\n"
        "Processor/0/Name/P/CurrentClockSpeed/2\nSystemOverview/0/AverageBootTime/2\n"
        "ET/0//5\nET/0//7\n";
    EXPECT_EQ(Diff(before, after), "");
    EXPECT_EQ(Diff(before, after, true),
              "LogicalDisk\n  ~ C:\n      FreeSpace  1 -> 2\n\n"
              "NetworkAdapter\n  ~ N\n      DHCPLeaseExpires   1 -> 2\n"
              "      DHCPLeaseObtained  1 -> 2\n\n"
              "Processor\n  ~ P\n      CurrentClockSpeed  1 -> 2\n\n"
              "SystemOverview\n  AverageBootTime  1 -> 2\n\n"
              "ET\n  2  6 -> 7\n");

    std::string all;
    for (int category = 1; category <= 13; ++category)
        all += "ET/0//1\n";
    EXPECT_EQ(Diff(all, "ET/0//2\n" + all.substr(8), true), "ET\n  BIOS  1 -> 2\n");
    EXPECT_EQ(Diff(all, "", true), "ET\n  not collected in new\n");
}

TEST(FormatDiff, FoldsLinesThatAreTooLong)
{
    const auto changes = CompareReports(MadeReport("BIOS/0/Version/12345\n"),
                                        MadeReport("BIOS/0/Version/67890\n"), false);
    const auto folded = [&](int columns) {
        return FormatDiff(changes, {"old", "new"}, columns, Charset::kUnicode);
    };
    EXPECT_EQ(folded(25), "BIOS\n  Version  12345 -> 67890\n");
    EXPECT_EQ(folded(24), "BIOS\n  Version  12345\n        -> 67890\n");
}

TEST(FormatDiffJson, TellsWhatTheTextTells)
{
    const auto changes = CompareReports(
        MadeReport("BIOS/0/Version/1\nDiskDrive/0/Caption/A\nDiskDrive/1/Caption/B/Size/1\n"),
        MadeReport("DiskDrive/0/Caption/B\nDiskDrive/1/Caption/\"C\"\nUSBDevice/0/Name/U\n"), true);
    const auto expected = nlohmann::json::parse(R"({
        "format": "orrery-diff", "formatVersion": 1, "old": "a.tsv", "new": "b.tsv",
        "all": true, "same": false, "sections": [
            {"name": "BIOS", "change": "onlyInOld", "instances": []},
            {"name": "DiskDrive", "change": "changed", "instances": [
                {"change": "removed", "label": "A", "oldIndex": 0,
                 "properties": {"Caption": {"old": "A"}}},
                {"change": "changed", "label": "B", "oldIndex": 1, "newIndex": 0,
                 "properties": {"Size": {"old": "1"}}},
                {"change": "added", "label": "\"C\"", "newIndex": 1,
                 "properties": {"Caption": {"new": "\"C\""}}}]},
            {"name": "USBDevice", "change": "onlyInNew", "instances": []}]})");
    EXPECT_EQ(nlohmann::json::parse(FormatDiffJson(changes, {"a.tsv", "b.tsv"}, true)), expected);
    const auto same = nlohmann::json::parse(FormatDiffJson({}, {"a\xFF", "b"}, false));
    EXPECT_EQ(same["same"], true);
    EXPECT_EQ(same["sections"], nlohmann::json::array());
}

}  // namespace
}  // namespace orrery::report
