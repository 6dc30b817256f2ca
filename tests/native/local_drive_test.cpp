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
    if (!volume.answers)
        return FALSE;
    if (label != nullptr)
        wcscpy(label, labelSize == 1024 ? L"Volume \xC9" : L"wrong size");
    if (fileSystem != nullptr)
        wcscpy(fileSystem, fileSystemSize == 1024 ? L"NTFS" : L"wrong size");
    if (serial != nullptr)
        *serial = volume.serial;
    return TRUE;
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

TEST(LocalDriveTypes, AreLocalOrRemoteOnly)
{
    const std::wstring_view local = L"0011001", remote = L"0000100";  // by type, 0 to 6
    for (UINT type = 0; type <= 6; ++type) {
        EXPECT_EQ(IsListedDrive(type, false), local[type] == L'1') << type;
        EXPECT_EQ(IsListedDrive(type, true), remote[type] == L'1') << type;
    }
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
    const struct {
        Volume volume;
        const wchar_t *size, *free, *fileSystem, *label, *serial;
    } rows[] = {
        {{.serial = 0x0A1B2C3D, .total = 68719476736, .free = 10737418240},
         L"65536",
         L"10240",
         L"NTFS",
         L"Volume \xC9",
         L"A1B2C3D"},
        {{.serial = 0xFFFFFFFF, .total = 1048575, .free = 1048576},
         L"0",
         L"1",
         L"NTFS",
         L"Volume \xC9",
         L"FFFFFFFF"},
        {{.total = 1ULL << 52, .free = (1ULL << 52) - 1},  // what 32 bits hold of it
         L"0",
         L"4294967295",
         L"NTFS",
         L"Volume \xC9",
         L"0"},
        {{.answers = false, .serial = 7, .total = 1ULL << 30, .free = 1ULL << 30},
         L"0",
         L"0",
         L"",
         L"",
         L"0"},
    };
    drives.Enumerate(false);
    SetThreadErrorMode(SEM_NOOPENFILEERRORBOX, nullptr);
    for (const auto& row : rows) {
        volume = row.volume;
        EXPECT_EQ(drives.Size(1), row.size);
        EXPECT_EQ(drives.FreeSpace(1), row.free);
        EXPECT_EQ(drives.FileSystem(1), row.fileSystem);
        EXPECT_EQ(drives.Label(1), row.label);
        EXPECT_EQ(drives.SerialNumber(1), row.serial);
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
