#include "native/local_drive.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sim/detour.h"

namespace orrery {
namespace {

using sim::Detour;

/// What the replaced volume functions answer for every root.
struct Volume {
    bool answers = true;
    DWORD serial = 0;
    std::uint64_t total = 0, free = 0;
    std::wstring typesAsked{};  // the letters, in order
    int loudCalls = 0;          // with dialogs allowed
};
Volume volume;

void NoteErrorMode()
{
    volume.loudCalls += (GetThreadErrorMode() & SEM_FAILCRITICALERRORS) != 0 ? 0 : 1;
}

DWORD WINAPI SomeDrives()
{
    return 0x0200047F;  // A to G, K, Z
}

UINT WINAPI TypeByLetter(const wchar_t* root)
{
    volume.typesAsked +=
        std::wstring_view{root} == std::wstring{root[0], L':', L'\\'} ? root[0] : L'?';
    const std::wstring_view letters = L"CDEFGKZ";
    constexpr UINT types[] = {3, 5, 2, 6, 1, 0, 4};
    return types[letters.find(root[0])];
}

BOOL WINAPI TellVolume(const wchar_t*, wchar_t* label, DWORD labelSize, DWORD* serial, DWORD*,
                       DWORD*, wchar_t* fileSystem, DWORD fileSystemSize)
{
    NoteErrorMode();
    if (label != nullptr)
        wcscpy(label, labelSize == 1024 ? L"Volume \xC9" : L"wrong size");
    if (fileSystem != nullptr)
        wcscpy(fileSystem, fileSystemSize == 1024 ? L"NTFS" : L"wrong size");
    if (serial != nullptr)
        *serial = volume.serial;
    return volume.answers ? TRUE : FALSE;  // what a failed call wrote does not count
}

BOOL WINAPI TellSpace(const wchar_t*, ULARGE_INTEGER* callersFree, ULARGE_INTEGER* total,
                      ULARGE_INTEGER* free)
{
    NoteErrorMode();
    callersFree->QuadPart = 1;
    total->QuadPart = volume.total;
    free->QuadPart = volume.free;
    return volume.answers ? TRUE : FALSE;
}

BOOL WINAPI TellClusters(const wchar_t*, DWORD* sectors, DWORD* bytes, DWORD* freeClusters,
                         DWORD* clusters)
{
    *sectors = 128;
    *bytes = 4096;
    *freeClusters = 20480;
    *clusters = 0xFFFFFFFF;
    return volume.answers ? TRUE : FALSE;
}

class LocalDrive : public testing::Test {
protected:
    LocalDrive() { volume = {}; }

    const Detour drivesDetour{L"kernel32.dll", "GetLogicalDrives", SomeDrives};
    const Detour typeDetour{L"kernel32.dll", "GetDriveTypeW", TypeByLetter};
    const Detour volumeDetour{L"kernel32.dll", "GetVolumeInformationW", TellVolume};
    const Detour spaceDetour{L"kernel32.dll", "GetDiskFreeSpaceExW", TellSpace};
    const Detour clustersDetour{L"kernel32.dll", "GetDiskFreeSpaceW", TellClusters};
    CLocalDrive drives;
};

std::vector<WideString> Ids(const CLocalDrive& drives)
{
    std::vector<WideString> ids;
    while (!drives.DeviceId(ids.size()).empty())
        ids.push_back(drives.DeviceId(ids.size()));
    return ids;
}

TEST_F(LocalDrive, ListsTheLettersFromCToZ)
{
    EXPECT_EQ(drives.Enumerate(false), 3U);
    EXPECT_EQ(Ids(drives), (std::vector<WideString>{L"C:", L"E:", L"F:"}));
    EXPECT_EQ(volume.typesAsked, L"CDEFGKZ");
    EXPECT_EQ(drives.Enumerate(true), 1U);  // anew, not in addition
    EXPECT_EQ(Ids(drives), std::vector<WideString>{L"Z:"});
}

TEST_F(LocalDrive, TellsOfAVolumeWithoutRaisingDialogs)
{
    constexpr std::uint64_t kGib = 1 << 30, kPast = 1ULL << 52;  // more mebibytes than 32 bits hold
    const struct {
        bool answers;
        DWORD serial;
        std::uint64_t total, free;
        const wchar_t* facts;  // size, free space, file system, label, serial number
    } rows[] = {
        {true, 0x0A1B2C3D, 64 * kGib, 10 * kGib, L"65536|10240|NTFS|Volume \xC9|A1B2C3D"},
        {true, 0xFFFFFFFF, 1048575, 1048576, L"0|1|NTFS|Volume \xC9|FFFFFFFF"},
        {true, 0, kPast, kPast - 1, L"0|4294967295|NTFS|Volume \xC9|0"},
        {false, 7, kGib, kGib, L"0|0|||0"},
    };
    drives.Enumerate(false);
    SetThreadErrorMode(SEM_NOOPENFILEERRORBOX, nullptr);
    for (const auto& row : rows) {
        volume = {
            .answers = row.answers, .serial = row.serial, .total = row.total, .free = row.free};
        EXPECT_EQ(drives.Size(1) + L"|" + drives.FreeSpace(1) + L"|" + drives.FileSystem(1) + L"|" +
                      drives.Label(1) + L"|" + drives.SerialNumber(1),
                  row.facts);
        EXPECT_EQ(volume.loudCalls, 0);
    }
    EXPECT_EQ(GetThreadErrorMode(), DWORD{SEM_NOOPENFILEERRORBOX});
    SetThreadErrorMode(0, nullptr);
    for (const auto accessor :
         {&CLocalDrive::Size, &CLocalDrive::FreeSpace, &CLocalDrive::FileSystem,
          &CLocalDrive::Label, &CLocalDrive::SerialNumber})
        EXPECT_EQ((drives.*accessor)(3), L"");
}

TEST_F(LocalDrive, CountsClustersOnOlderSystems)
{
    const auto space = ReadVolumeSpace(L"C:\\", nullptr);
    EXPECT_EQ(space.total, 2251799813160960U);  // 512 KiB times 4294967295
    EXPECT_EQ(space.free, 10737418240U);
    volume.answers = false;
    EXPECT_EQ(ReadVolumeSpace(L"C:\\", nullptr).total, 0U);
}

}  // namespace
}  // namespace orrery
