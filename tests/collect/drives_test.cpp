#include "collect/drives.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "collect/drive_tables.h"
#include "collect/logical_disks.h"
#include "entry/categories.h"
#include "sim/devices.h"
#include "sim/facts.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

using sim::Detour;

std::wstring Disk(const wchar_t* serial, const wchar_t* mediaType)
{
    return std::wstring{L"instance of MSFT_PhysicalDisk {\nSerialNumber = "} + serial +
           L";\nMediaType = " + mediaType + L";\n};\n";
}

std::wstring Machine()
{
    return sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/drives.machine");
}

/// A table as "key=value,key=value,".
std::wstring Shown(const CHardwareCollector::TextTable& table)
{
    std::wstring shown;
    for (const auto& [key, value] : table)
        shown.append(key).append(L"=").append(value).append(L",");
    return shown;
}

TEST(DriveTables, TakeDiskTypesOfDisksThatHaveASerialAndAKnownMediaType)
{
    const struct {
        std::wstring disks;
        const wchar_t* types;
    } rows[] = {
        {Disk(L"\" \t1 a \x1F \"", L"4") + Disk(L"\"h\"", L"3") + Disk(L"\"c\"", L"5"),
         L"1 a=SSD,c=SCM,h=HDD,"},
        {Disk(L"\"0\"", L"0") + Disk(L"\"6\"", L"6") + Disk(L"\"2\"", L"2"), L""},
        {Disk(L"\"n\"", L"NULL") + Disk(L"\"e\"", L"EMPTY") + Disk(L"\"w\"", L"\"word\""), L""},
        {Disk(L"\"a\"", L"{4}") + Disk(L"\"t\"", L"\"4\""), L"t=SSD,"},
        {Disk(L"NULL", L"4") + Disk(L"\" \"", L"4") + Disk(L"7", L"4"), L""},
        {Disk(L"\"s\"", L"3") + Disk(L"\"s \"", L"4") + Disk(L"\"S\"", L"5") + Disk(L"\"s\"", L"0"),
         L"S=SCM,s=SSD,"},
        {Disk(L"\"1\"", L"4") + L"empty slot of MSFT_PhysicalDisk\n" + Disk(L"\"2\"", L"4"),
         L"1=SSD,"},
    };
    const ComApartment apartment;
    for (const auto& row : rows) {
        const sim::Simulation simulation{L"namespace root\\microsoft\\windows\\storage\n" +
                                         row.disks};
        CHardwareCollector collector;
        PrepareDriveTables(&collector);
        EXPECT_EQ(Shown(collector.diskTypeBySerial), row.types);
        EXPECT_EQ(simulation.LiveObjects(), 0);
    }
}

TEST(DriveTables, AreFilledOnlyWhileEmpty)
{
    const ComApartment apartment;
    const sim::Simulation simulation{Machine()};
    CHardwareCollector collector;
    PrepareDriveTables(&collector);
    const int calls = simulation.CallCount();
    PrepareDriveTables(&collector);
    EXPECT_EQ(simulation.CallCount(), calls);
    collector.driveCaptionByVolume.clear();
    collector.diskTypeBySerial[L"S1"] = L"own";
    PrepareDriveTables(&collector);
    EXPECT_EQ(collector.driveCaptionByVolume.size(), 6U);
    EXPECT_EQ(FindDiskType(&collector, L"S1"), L"own");
}

TEST(DiskDrivePath, LosesOneOfEachPairOfBackslashes)
{
    EXPECT_EQ(UnescapedPath(L"\\\\\\\\.\\\\PHYSICALDRIVE0"), L"\\\\.\\PHYSICALDRIVE0");
    EXPECT_EQ(UnescapedPath(L"\\\\\\a\\"), L"\\\\a\\");  // what has no partner stays
    EXPECT_EQ(UnescapedPath(L""), L"");
}

struct DriveCategory : testing::Test {
    void Collect(const std::wstring& scenario)
    {
        const sim::Simulation simulation{scenario};
        {
            CHardwareCollector collector;
            RunCategory(9, &collector, &map);
        }
        EXPECT_EQ(simulation.LiveObjects(), 0);
    }

    const ComApartment apartment;
    const Detour drivesDetour{L"kernel32.dll", "GetLogicalDrives", [] { return DWORD{0}; }};
    CInvMap map;
};

TEST_F(DriveCategory, FallsBackToTheDrivesThemselves)
{
    const sim::Devices devices{{{L"\\\\.\\Scsi1:", [](const sim::DeviceCall& call) {
                                     std::copy_n("OMED L", 6, call.output.begin() + 44 + 54);
                                     call.output[44 + 122] = 0x40;  // 0x400000 sectors
                                     return true;
                                 }}}};
    // The drive's properties can be queried, but it cannot be read whole.
    Collect(L"namespace root\\microsoft\\windows\\storage\n" + Disk(L"\"MODEL\"", L"5") +
            L"namespace root\\cimv2\nunreadable instance of Win32_DiskDrive {\n"
            L"Caption = \"MODEL\";\nMediaType = \"Fixed\";\n};\n");
    EXPECT_EQ(sim::FactsOf(map), (sim::Facts{{L"DiskDrive\\Caption\\0", L"MODEL"},
                                             {L"DiskDrive\\Size\\0", L"2048"},
                                             {L"DiskDrive\\DiskType\\0", L"SCM"},
                                             {L"DiskDrive\\MediaType\\0", L"Fixed"},
                                             {L"DiskDrive\\Caption\\1", L"MODEL"},
                                             {L"DiskDrive\\Size\\1", L"2048"},
                                             {L"DiskDrive\\DiskType\\1", L"SCM"},
                                             {L"DiskDrive\\MediaType\\1", L"Fixed"}}));
    CHardwareCollector collector;
    CInvMap one;
    EXPECT_EQ(CollectNativeDrives(&collector, 1, &one), 1);
    EXPECT_EQ(one.entries().size(), 2U);  // the tables are empty here
}

TEST_F(DriveCategory, WritesAHundredDrivesAtMost)
{
    std::wstring scenario = L"namespace root\\cimv2\n";
    for (int at = 0; at < 103; ++at)
        scenario +=
            L"instance of Win32_DiskDrive {\nCaption = \"" + std::to_wstring(at) + L"\";\n};\n";
    Collect(scenario);
    EXPECT_EQ(map.entries().size(), 200U);
    EXPECT_EQ(map.entries().at(L"DiskDrive\\Caption\\99")->value, L"99");
}

TEST(VolumeLists, GoToTheFirstDriveWithTheCaption)
{
    const struct {
        std::vector<std::int32_t> drives;  // the indexes at which "Disk" stands
        std::int32_t others;               // further captions, from index 0
        std::int32_t expected;             // -1: nowhere
    } rows[] = {{{0}, 0, 0}, {{3, 5}, 7, 3}, {{99}, 99, 99}, {{100}, 100, -1}, {{3}, 2, -1}};
    for (const auto& row : rows) {
        CHardwareCollector collector;
        collector.driveCaptionByVolume = {{L"D:", L"Disk"}, {L"C:", L"Disk"}, {L"Q:", L"disk"}};
        CInvMap map;
        for (std::int32_t at = 0; at < row.others; ++at)
            StoreValue(&collector, L"Caption", L"Disk ", &map, at, L"DiskDrive");
        for (const std::int32_t at : row.drives)
            StoreValue(&collector, L"Caption", L"Disk", &map, at, L"DiskDrive");
        const std::size_t before = map.entries().size();
        WriteVolumeLists(&collector, &map);
        EXPECT_EQ(map.entries().size(), before + (row.expected < 0 ? 0 : 1)) << row.expected;
        EXPECT_EQ(map.entries().contains(FactKey(L"DiskDrive", L"LogicalDisks", row.expected)),
                  row.expected >= 0);
    }
}

}  // namespace
}  // namespace orrery
