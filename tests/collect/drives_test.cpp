#include "collect/drives.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "collect/drive_tables.h"
#include "collect/logical_disks.h"
#include "entry/categories.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

using Facts = std::map<std::wstring, std::wstring>;
using sim::Detour;

constexpr const wchar_t* kStorage = L"namespace root\\microsoft\\windows\\storage\n";
constexpr const wchar_t* kCimv2 = L"namespace root\\cimv2\n";

using Properties = std::vector<std::pair<std::wstring, std::wstring>>;
std::wstring Instance(const wchar_t* className, const Properties& properties)
{
    std::wstring text = std::wstring{L"instance of "} + className + L"\n{\n";
    for (const auto& [name, value] : properties)
        text += L"\t" + name + L" = " + value + L";\n";
    return text + L"};\n";
}

std::wstring Disk(const wchar_t* serial, const wchar_t* mediaType)
{
    return Instance(L"MSFT_PhysicalDisk", {{L"SerialNumber", serial}, {L"MediaType", mediaType}});
}

std::wstring Drive(const std::wstring& number, const std::wstring& caption,
                   const wchar_t* mediaType, const wchar_t* serial = L"NULL")
{
    return Instance(L"Win32_DiskDrive",
                    {{L"Caption", caption},
                     {L"DeviceID", L"\"\\\\\\\\.\\\\PHYSICALDRIVE" + number + L"\""},
                     {L"MediaType", mediaType},
                     {L"SerialNumber", serial},
                     {L"Size", L"\"500107862016\""}});
}

std::wstring Answers(const std::wstring& query, const wchar_t* className,
                     std::initializer_list<const wchar_t*> ids)
{
    std::wstring text = L"query " + query + L"\n";
    for (const wchar_t* const id : ids)
        text += Instance(className, {{L"DeviceID", L"\"" + std::wstring{id} + L"\""}});
    return text;
}

std::wstring Partitions(const std::wstring& drive, std::initializer_list<const wchar_t*> ids)
{
    return Answers(L"Associators of {Win32_DiskDrive.DeviceID='\\\\.\\PHYSICALDRIVE" + drive +
                       L"'} where AssocClass=Win32_DiskDriveToDiskPartition",
                   L"Win32_DiskPartition", ids);
}

std::wstring Volumes(const std::wstring& partition, std::initializer_list<const wchar_t*> ids)
{
    return Answers(L"Associators of {Win32_DiskPartition.DeviceID='" + partition +
                       L"'} where AssocClass=Win32_LogicalDiskToPartition",
                   L"Win32_LogicalDisk", ids);
}

Facts FactsOf(const CHardwareCollector::TextTable& table)
{
    Facts facts;
    for (const auto& [key, value] : table)
        facts[key.c_str()] = value.view();
    return facts;
}

Facts FactsOf(const CInvMap& map)
{
    Facts facts;
    for (const auto& [key, object] : map.entries())
        facts[key] = object->value.view();
    return facts;
}

TEST(DriveTables, TakeDiskTypesOfDisksThatHaveASerialAndAKnownMediaType)
{
    const struct {
        std::wstring disks;
        Facts types;
    } rows[] = {
        {Disk(L"\" \t1 a \x1F \"", L"4") + Disk(L"\"h\"", L"3") + Disk(L"\"c\"", L"5"),
         {{L"1 a", L"SSD"}, {L"h", L"HDD"}, {L"c", L"SCM"}}},
        {Disk(L"\"0\"", L"0") + Disk(L"\"6\"", L"6") + Disk(L"\"2\"", L"2") + Disk(L"\"-\"", L"-1"),
         {}},
        {Disk(L"\"n\"", L"NULL") + Disk(L"\"e\"", L"EMPTY") + Disk(L"\"w\"", L"\"word\"") +
             Disk(L"\"a\"", L"{4}"),
         {}},
        {Disk(L"NULL", L"4") + Disk(L"\" \"", L"4") + Disk(L"7", L"4"), {}},
        {Disk(L"\"t\"", L"\"4\""), {{L"t", L"SSD"}}},
        {Disk(L"\"s\"", L"3") + Disk(L"\"s \"", L"4") + Disk(L"\"S\"", L"5") + Disk(L"\"s\"", L"0"),
         {{L"s", L"SSD"}, {L"S", L"SCM"}}},
        {Disk(L"\"1\"", L"4") + L"empty slot of MSFT_PhysicalDisk\n" + Disk(L"\"2\"", L"4"),
         {{L"1", L"SSD"}}},
    };
    const ComApartment apartment;
    for (const auto& row : rows) {
        const sim::Simulation simulation{kStorage + row.disks};
        CHardwareCollector collector;
        PrepareDriveTables(&collector);
        EXPECT_EQ(FactsOf(collector.diskTypeBySerial), row.types);
        EXPECT_EQ(FindDiskType(&collector, L"no such"), L"");
        EXPECT_EQ(simulation.LiveObjects(), 0);
    }
}

/// Two drives, the first with two partitions, and one whose path is no path.
std::wstring Associations()
{
    return kCimv2 + Drive(L"0", L"\"One \"", L"\"Fixed\"") +
           Instance(L"Win32_DiskDrive", {{L"DeviceID", L"\"\\\\\\\\.\""},
                                         {L"Caption", L"\"Odd\""},
                                         {L"MediaType", L"\"Odd media\""}}) +
           Instance(L"Win32_DiskDrive", {{L"DeviceID", L"NULL"}, {L"Caption", L"\"None\""}}) +
           Drive(L"1", L"NULL", L"\"Fixed\"") + Drive(L"2", L"\"One \"", L"\"Removable\"") +
           Drive(L"3", L"\"Bare\"", L"NULL") + Partitions(L"0", {L"D0 P0", L"D0 P1"}) +
           Volumes(L"D0 P0", {L"C:", L"E:"}) + Volumes(L"D0 P1", {L"D:"}) +
           Partitions(L"1", {L"D1 P0"}) + Volumes(L"D1 P0", {L"X:"}) +
           Partitions(L"2", {L"D2 P0", L"D2 P1"}) + Volumes(L"D2 P0", {}) +
           Volumes(L"D2 P1", {L"F:"}) + Partitions(L"3", {});
}

TEST(DriveTables, KeepWhatWasFoundBeforeAnAssociationFails)
{
    const std::string associators = "IWbemServices::ExecQuery(WQL, Associators of {";
    const Facts allMedia{{L"One ", L"Removable"}, {L"Odd", L"Odd media"}};
    const Facts firstMedia{{L"One ", L"Fixed"}};
    const struct {
        std::string call;
        int nth;
        Facts volumes, media;
    } rows[] = {
        {"none",
         0,
         {{L"C:", L"One "}, {L"D:", L"One "}, {L"E:", L"One "}, {L"F:", L"One "}, {L"X:", L""}},
         allMedia},
        {"CoCreateInstance", 2, {}, {}},
        {"IWbemLocator::ConnectServer(ROOT\\CIMV2, null, null, null, 0x0, null)", 0, {}, {}},
        {"IWbemServices::ExecQuery(WQL, SELECT DeviceID, Caption, MediaType FROM Win32_DiskDrive, "
         "0x30)",
         0,
         {},
         {}},
        {associators + "Win32_DiskDrive.DeviceID='\\\\.\\PHYSICALDRIVE0'} where "
                       "AssocClass=Win32_DiskDriveToDiskPartition, 0x30)",
         0,
         {},
         firstMedia},
        {associators + "Win32_DiskPartition.DeviceID='D0 P1'} where "
                       "AssocClass=Win32_LogicalDiskToPartition, 0x30)",
         0,
         {{L"C:", L"One "}, {L"E:", L"One "}},
         firstMedia},
        {associators + "Win32_DiskDrive.DeviceID='\\\\.\\PHYSICALDRIVE2'} where "
                       "AssocClass=Win32_DiskDriveToDiskPartition, 0x30)",
         0,
         {{L"C:", L"One "}, {L"D:", L"One "}, {L"E:", L"One "}, {L"X:", L""}},
         allMedia},
        {"IWbemClassObject::Get(DeviceID, 0x0)", 0, {}, allMedia},
        {"IWbemClassObject::Get(Caption, 0x0)",
         0,
         {{L"C:", L""}, {L"D:", L""}, {L"E:", L""}, {L"F:", L""}, {L"X:", L""}},
         {}},
        {"IEnumWbemClassObject::Next", 0, {}, {}},
        {"IClientSecurity::SetBlanket",  // worth no more than a try
         0,
         {{L"C:", L"One "}, {L"D:", L"One "}, {L"E:", L"One "}, {L"F:", L"One "}, {L"X:", L""}},
         allMedia},
    };
    const ComApartment apartment;
    for (const auto& row : rows) {
        sim::Simulation simulation{Associations()};
        simulation.FailCall(row.call, row.nth, E_FAIL);
        CHardwareCollector collector;
        PrepareDriveTables(&collector);
        EXPECT_EQ(FactsOf(collector.driveCaptionByVolume), row.volumes) << row.call;
        EXPECT_EQ(FactsOf(collector.mediaTypeByCaption), row.media) << row.call;
        EXPECT_EQ(simulation.LiveObjects(), 0) << row.call;
    }
}

TEST(DriveTables, AreFilledOnce)
{
    const ComApartment apartment;
    const sim::Simulation simulation{kStorage + Disk(L"\"1\"", L"4") + Associations()};
    CHardwareCollector collector;
    PrepareDriveTables(&collector);
    const int calls = simulation.CallCount();
    PrepareDriveTables(&collector);
    EXPECT_EQ(simulation.CallCount(), calls);
    collector.driveCaptionByVolume.clear();
    collector.diskTypeBySerial[L"own"] = L"SCM";
    PrepareDriveTables(&collector);
    EXPECT_EQ(collector.driveCaptionByVolume.size(), 5U);
    EXPECT_EQ(FindDiskType(&collector, L"own"), L"SCM");
}

TEST(DiskDrivePath, LosesOneOfEachPairOfBackslashes)
{
    const struct {
        const wchar_t *escaped, *path;
    } rows[] = {
        {L"\\\\\\\\.\\\\PHYSICALDRIVE0", L"\\\\.\\PHYSICALDRIVE0"},
        {L"\\\\\\a\\", L"\\\\a\\"},  // what has no partner stays
        {L"", L""},
    };
    for (const auto& row : rows)
        EXPECT_EQ(UnescapedPath(row.escaped), row.path);
}

/// The devices that the replaced functions open: drives by path, with the flag they answer.
struct Devices {
    std::map<std::wstring, char> flags;
    std::map<HANDLE, std::wstring> open;
    std::vector<std::wstring> asked;
};
Devices devices;

HANDLE WINAPI OpenDevice(const wchar_t* path, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD,
                         HANDLE)
{
    devices.asked.push_back(path);
    if (!devices.flags.contains(path))
        return INVALID_HANDLE_VALUE;
    const HANDLE device = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    devices.open[device] = path;
    return device;
}

/// Answers the seek penalty, or the identification of a drive "MODEL" with 2 GiB.
BOOL WINAPI AnswerDevice(HANDLE device, DWORD code, void*, DWORD, void* output, DWORD outputBytes,
                         DWORD* returned, OVERLAPPED*)
{
    const char flag = devices.flags[devices.open[device]];
    auto* const bytes = static_cast<char*>(output);
    if (code == 0x2D1400) {
        bytes[8] = flag;
    } else {
        std::copy_n("OMED L", 6, bytes + 44 + 54);
        bytes[44 + 122] = 0x40;  // 0x400000 sectors
    }
    *returned = outputBytes;
    return TRUE;
}

DWORD WINAPI NoDrives()
{
    return 0;
}

class DriveCategory : public testing::Test {
protected:
    DriveCategory() { devices = {}; }

    Facts Collect(const std::wstring& scenario)
    {
        const sim::Simulation simulation{scenario};
        CInvMap map;
        {
            CHardwareCollector collector;
            RunCategory(9, &collector, &map);
        }
        EXPECT_EQ(simulation.LiveObjects(), 0);
        return FactsOf(map);
    }

    const ComApartment apartment;
    const Detour openDetour{L"kernel32.dll", "CreateFileW", OpenDevice};
    const Detour answerDetour{L"kernel32.dll", "DeviceIoControl", AnswerDevice};
    const Detour drivesDetour{L"kernel32.dll", "GetLogicalDrives", NoDrives};
};

TEST_F(DriveCategory, WritesCaptionMediaSizeTypeAndVolumes)
{
    devices.flags = {{L"\\\\.\\PHYSICALDRIVE1", 1}, {L"\\\\.\\PHYSICALDRIVE2", 0}};
    const auto facts =
        Collect(kStorage + Disk(L"\"S1\"", L"4") + Disk(L"\"S2\"", L"0") + kCimv2 +
                Drive(L"0", L"\"Twin\"", L"\"Fixed\"", L"\"  S1 \"") +
                Drive(L"1", L"\"Twin\"", L"\"Removable\"", L"\"S2\"") +
                Drive(L"2", L"\"Other\"", L"NULL") + Drive(L"3", L"\"Shut\"", L"NULL", L"\"S4\"") +
                Instance(L"Win32_DiskDrive", {{L"Size", L"NULL"}}) +
                Partitions(L"0", {L"a", L"b"}) + Volumes(L"a", {L"D:"}) + Volumes(L"b", {L"C:"}) +
                Partitions(L"1", {L"c"}) + Volumes(L"c", {L"G:"}) + Partitions(L"2", {L"d"}) +
                Volumes(L"d", {L"H:"}) + Partitions(L"3", {}));
    EXPECT_EQ(facts, (Facts{
                         {L"DiskDrive\\Caption\\0", L"Twin"},
                         {L"DiskDrive\\Caption\\1", L"Twin"},
                         {L"DiskDrive\\Caption\\2", L"Other"},
                         {L"DiskDrive\\Caption\\3", L"Shut"},
                         {L"DiskDrive\\Caption\\4", L""},
                         {L"DiskDrive\\DiskType\\0", L"SSD"},
                         {L"DiskDrive\\DiskType\\1", L"SSD"},
                         {L"DiskDrive\\DiskType\\2", L"HDD"},
                         {L"DiskDrive\\LogicalDisks\\0", L"C:|D:|G:|"},
                         {L"DiskDrive\\LogicalDisks\\2", L"H:|"},
                         {L"DiskDrive\\MediaType\\0", L"Removable"},
                         {L"DiskDrive\\MediaType\\1", L"Removable"},
                         {L"DiskDrive\\Size\\0", L"476940"},
                         {L"DiskDrive\\Size\\1", L"476940"},
                         {L"DiskDrive\\Size\\2", L"476940"},
                         {L"DiskDrive\\Size\\3", L"476940"},
                         {L"DiskDrive\\Size\\4", L""},
                     }));
    EXPECT_EQ(devices.asked,
              (std::vector<std::wstring>{L"\\\\.\\PHYSICALDRIVE1", L"\\\\.\\PHYSICALDRIVE2",
                                         L"\\\\.\\PHYSICALDRIVE3", L""}));
}

TEST_F(DriveCategory, FallsBackToTheDrivesThemselves)
{
    const std::wstring disks = kStorage + Disk(L"\"MODEL\"", L"5");
    const std::wstring empty = kCimv2 + std::wstring{L"class Win32_DiskDrive\n"};
    // The instances can be queried, but none can be read whole.
    const std::wstring unreadable = kCimv2 + std::wstring{L"un"} +
                                    Drive(L"0", L"\"MODEL\"", L"\"Fixed\"").insert(0, L"readable ");
    devices.flags = {{L"\\\\.\\Scsi1:", 0}};
    Facts expected{{L"DiskDrive\\Caption\\0", L"MODEL"},
                   {L"DiskDrive\\Size\\0", L"2048"},
                   {L"DiskDrive\\Caption\\1", L"MODEL"},
                   {L"DiskDrive\\Size\\1", L"2048"}};
    EXPECT_EQ(Collect(L""), expected);
    expected[L"DiskDrive\\DiskType\\0"] = expected[L"DiskDrive\\DiskType\\1"] = L"SCM";
    EXPECT_EQ(Collect(disks + empty), expected);
    expected[L"DiskDrive\\MediaType\\0"] = expected[L"DiskDrive\\MediaType\\1"] = L"Fixed";
    EXPECT_EQ(Collect(disks + unreadable), expected);
    const sim::Simulation simulation{L""};
    CHardwareCollector collector;
    CInvMap map;
    EXPECT_EQ(CollectNativeDrives(&collector, 1, &map), 1);
    EXPECT_EQ(map.entries().size(), 2U);
}

TEST_F(DriveCategory, WritesAHundredDrivesAtMost)
{
    std::wstring scenario = kCimv2;
    for (int at = 0; at < 103; ++at) {
        const std::wstring number = std::to_wstring(at);
        scenario += Drive(number, L"\"Disk " + number + L"\"", L"NULL");
    }
    const auto facts = Collect(scenario);
    EXPECT_EQ(facts.size(), 200U);
    EXPECT_EQ(facts.at(L"DiskDrive\\Caption\\99"), L"Disk 99");
}

TEST(VolumeLists, GoToTheFirstDriveWithTheCaption)
{
    const struct {
        const char* about;
        std::vector<std::int32_t> drives;  // the indexes at which "Disk" stands
        std::int32_t others;               // further captions, from index 0
        std::int32_t expected;             // -1: nowhere
    } rows[] = {
        {"the only one", {0}, 0, 0},      {"the first of two", {3, 5}, 7, 3},
        {"the last place", {99}, 99, 99}, {"past the last place", {100}, 100, -1},
        {"past a gap", {3}, 2, -1},       {"none", {}, 2, -1},
    };
    for (const auto& row : rows) {
        const ComApartment apartment;
        CHardwareCollector collector;
        collector.driveCaptionByVolume = {{L"D:", L"Disk"}, {L"C:", L"Disk"}, {L"Q:", L"disk"}};
        CInvMap map;
        for (std::int32_t at = 0; at < row.others; ++at)
            StoreValue(&collector, L"Caption", L"Disk ", &map, at, L"DiskDrive");
        for (const std::int32_t at : row.drives)
            StoreValue(&collector, L"Caption", L"Disk", &map, at, L"DiskDrive");
        auto expected = FactsOf(map);
        if (row.expected >= 0)
            expected[L"DiskDrive\\LogicalDisks\\" + std::to_wstring(row.expected)] = L"C:|D:|";
        WriteVolumeLists(&collector, &map);
        EXPECT_EQ(FactsOf(map), expected) << row.about;
    }
}

DWORD WINAPI TwoDrives()
{
    return 0x0000001C;  // C, D and E
}

UINT WINAPI DriveType(const wchar_t* root)
{
    return root[0] == L'D' ? DRIVE_CDROM : DRIVE_FIXED;
}

BOOL WINAPI NoVolume(const wchar_t*, wchar_t*, DWORD, DWORD*, DWORD*, DWORD*, wchar_t*, DWORD)
{
    return FALSE;
}

BOOL WINAPI Space(const wchar_t* root, ULARGE_INTEGER*, ULARGE_INTEGER* total, ULARGE_INTEGER* free)
{
    total->QuadPart = root[0] == L'C' ? 68719476736 : 1048576;
    free->QuadPart = root[0] == L'C' ? 10737418240 : 0;
    return TRUE;
}

TEST(LogicalDisks, WriteEveryFactOfEachListedLetter)
{
    const ComApartment apartment;
    const sim::Simulation simulation{L""};
    const Detour drives{L"kernel32.dll", "GetLogicalDrives", TwoDrives};
    const Detour type{L"kernel32.dll", "GetDriveTypeW", DriveType};
    const Detour volume{L"kernel32.dll", "GetVolumeInformationW", NoVolume};
    const Detour space{L"kernel32.dll", "GetDiskFreeSpaceExW", Space};
    Facts expected{
        {L"LogicalDisk\\BitLockerStatus\\0", L"0"},    {L"LogicalDisk\\Description\\0", L""},
        {L"LogicalDisk\\DeviceID\\0", L"C:"},          {L"LogicalDisk\\FileSystem\\0", L""},
        {L"LogicalDisk\\FreeSpace\\0", L"10240"},      {L"LogicalDisk\\Size\\0", L"65536"},
        {L"LogicalDisk\\VolumeSerialNumber\\0", L"0"},
    };
    CHardwareCollector collector;
    CInvMap first, all;
    EXPECT_EQ(CollectLogicalDisks(&collector, 1, &first), 1);
    EXPECT_EQ(FactsOf(first), expected);
    expected.merge(Facts{
        {L"LogicalDisk\\BitLockerStatus\\1", L"0"},
        {L"LogicalDisk\\Description\\1", L""},
        {L"LogicalDisk\\DeviceID\\1", L"E:"},
        {L"LogicalDisk\\FileSystem\\1", L""},
        {L"LogicalDisk\\FreeSpace\\1", L"0"},
        {L"LogicalDisk\\Size\\1", L"1"},
        {L"LogicalDisk\\VolumeSerialNumber\\1", L"0"},
    });
    RunCategory(10, &collector, &all);
    EXPECT_EQ(FactsOf(all), expected);
}

}  // namespace
}  // namespace orrery
