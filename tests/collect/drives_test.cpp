#include "collect/drives.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "collect/drive_tables.h"
#include "collect/logical_disks.h"
#include "entry/categories.h"
#include "sim/devices.h"
#include "sim/platform.h"
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

/// A property of the first instances, "?" for one that has none: "value/value/?/".
std::wstring Values(CInvMap& map, const wchar_t* section, const wchar_t* property, int instances)
{
    std::wstring values;
    for (int at = 0; at < instances; ++at) {
        CHardwareObject* fact = nullptr;
        map.Lookup(FactKey(section, property, at).c_str(), &fact);
        values.append(fact == nullptr ? L"?" : fact->value.view()).append(L"/");
    }
    return values;
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

TEST(DriveTables, KeepWhatWasFoundBeforeACallFails)
{
    const std::string query = "IWbemServices::ExecQuery(WQL, ";
    const std::string drive =
        query + "Associators of {Win32_DiskDrive.DeviceID='\\\\.\\PHYSICALDRIVE";
    const std::string toPartition = "'} where AssocClass=Win32_DiskDriveToDiskPartition, 0x30)";
    const auto allVolumes = L"C:=Twin,D:=Twin,E:=Twin,F:=Bare,G:=Twin,X:=,";
    const auto allMedia = L"Odd=Odd media,Twin=Removable,";
    const struct {
        std::string call;
        int nth;
        const wchar_t *types, *volumes, *media;
    } rows[] = {
        // clang-format off
        {"none", 0, L"S1=SSD,", allVolumes, allMedia},
        {"IClientSecurity::SetBlanket", 0, L"S1=SSD,", allVolumes, allMedia},  // worth a try only
        {"CoCreateInstance", 1, L"", allVolumes, allMedia},
        {"IWbemLocator::ConnectServer(\\\\.\\ROOT\\microsoft\\windows\\storage, null, null, null, "
         "0x0, null)", 0, L"", allVolumes, allMedia},
        {query + "SELECT SerialNumber, MediaType FROM MSFT_PhysicalDisk, 0x30)", 0, L"", allVolumes,
         allMedia},
        {"CoCreateInstance", 2, L"S1=SSD,", L"", L""},
        {"IWbemLocator::ConnectServer(ROOT\\CIMV2, null, null, null, 0x0, null)", 0, L"S1=SSD,", L"",
         L""},
        {query + "SELECT DeviceID, Caption, MediaType FROM Win32_DiskDrive, 0x30)", 0, L"S1=SSD,",
         L"", L""},
        {drive + "0" + toPartition, 0, L"S1=SSD,", L"", L"Twin=Fixed,"},
        {drive + "3" + toPartition, 0, L"S1=SSD,", L"C:=Twin,D:=Twin,E:=Twin,G:=Twin,", allMedia},
        {query + "Associators of {Win32_DiskPartition.DeviceID='b'} where "
         "AssocClass=Win32_LogicalDiskToPartition, 0x30)", 0, L"S1=SSD,", L"D:=Twin,",
         L"Twin=Fixed,"},
        {"IWbemClassObject::Get(DeviceID, 0x0)", 0, L"S1=SSD,", L"", allMedia},
        {"IWbemClassObject::Get(Caption, 0x0)", 0, L"S1=SSD,", L"C:=,D:=,E:=,F:=,G:=,X:=,", L""},
        {"IWbemClassObject::Get(MediaType, 0x0)", 0, L"", allVolumes, L""},
        {"IEnumWbemClassObject::Next", 0, L"", L"", L""},
        // clang-format on
    };
    const ComApartment apartment;
    for (const auto& row : rows) {
        sim::Simulation simulation{Machine()};
        simulation.FailCall(row.call, row.nth, E_FAIL);
        CHardwareCollector collector;
        PrepareDriveTables(&collector);
        EXPECT_EQ(Shown(collector.diskTypeBySerial), row.types) << row.call;
        EXPECT_EQ(Shown(collector.driveCaptionByVolume), row.volumes) << row.call;
        EXPECT_EQ(Shown(collector.mediaTypeByCaption), row.media) << row.call;
        EXPECT_EQ(simulation.LiveObjects(), 0) << row.call;
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

DWORD WINAPI NoDrives()
{
    return 0;
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
    const Detour drivesDetour{L"kernel32.dll", "GetLogicalDrives", NoDrives};
    CInvMap map;
};

sim::Devices::Answer Flag(std::uint8_t flag)
{
    return [flag](const sim::DeviceCall& call) { return call.output[8] = flag, true; };
}

TEST_F(DriveCategory, WritesWhatIsKnownOfEachDrive)
{
    const auto machine = Machine();  // while files can still be opened
    const sim::Devices devices{
        {{L"\\\\.\\PHYSICALDRIVE1", Flag(1)}, {L"\\\\.\\PHYSICALDRIVE4", Flag(0)}}};
    Collect(machine);
    EXPECT_EQ(Values(map, L"DiskDrive", L"Caption", 7), L"Twin/Twin/Odd//Bare/None/?/");
    EXPECT_EQ(Values(map, L"DiskDrive", L"MediaType", 6), L"Removable/Removable/Odd media/?/?/?/");
    EXPECT_EQ(Values(map, L"DiskDrive", L"Size", 6), L"476940/476940/476940/476940//476940/");
    EXPECT_EQ(Values(map, L"DiskDrive", L"DiskType", 6), L"SSD/SSD/?/?/HDD/?/");
    EXPECT_EQ(Values(map, L"DiskDrive", L"LogicalDisks", 6), L"C:|D:|E:|G:|/?/?/X:|/F:|/?/");
    EXPECT_EQ(map.entries().size(), 21U);
    EXPECT_EQ(devices.asked,
              (std::vector<std::wstring>{L"\\\\.\\PHYSICALDRIVE1", L"\\\\.",
                                         L"\\\\.\\PHYSICALDRIVE3", L"\\\\.\\PHYSICALDRIVE4", L""}));
}

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
    EXPECT_EQ(Values(map, L"DiskDrive", L"Caption", 3), L"MODEL/MODEL/?/");
    EXPECT_EQ(Values(map, L"DiskDrive", L"Size", 3), L"2048/2048/?/");
    EXPECT_EQ(Values(map, L"DiskDrive", L"DiskType", 3), L"SCM/SCM/?/");
    EXPECT_EQ(Values(map, L"DiskDrive", L"MediaType", 3), L"Fixed/Fixed/?/");
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

TEST(LogicalDisks, WriteEveryFactOfEachListedLetter)
{
    const ComApartment apartment;
    const sim::Simulation simulation{
        sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/desktop.machine")};
    const sim::Volume volume{DRIVE_FIXED, 3 << 20, 2 << 20, L"NTFS", L"Label", 0xAB};
    const sim::Platform platform{
        {.volumes = {{L'C', volume}, {L'D', {DRIVE_CDROM}}, {L'E', volume}}}};
    CHardwareCollector collector;
    CInvMap first, all;
    EXPECT_EQ(CollectLogicalDisks(&collector, 1, &first), 1);
    EXPECT_EQ(first.entries().size(), 7U);
    RunCategory(10, &collector, &all);
    EXPECT_EQ(all.entries().size(), 14U);
    const wchar_t* const rows[][2] = {
        {L"DeviceID", L"C:/E:/"},          {L"Size", L"3/3/"},
        {L"FreeSpace", L"2/2/"},           {L"FileSystem", L"NTFS/NTFS/"},
        {L"Description", L"Label/Label/"}, {L"VolumeSerialNumber", L"AB/AB/"},
        {L"BitLockerStatus", L"7/0/"},
    };
    for (const auto& [property, values] : rows)
        EXPECT_EQ(Values(all, L"LogicalDisk", property, 2), values) << property;
}

}  // namespace
}  // namespace orrery
