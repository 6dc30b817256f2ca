#include "native/local_drive.h"

#include <gtest/gtest.h>

#include <string>

#include "sim/detour.h"

namespace orrery {
namespace {

using sim::Detour;

/// What the replaced volume functions answer for every root.
struct Volume {
    bool answers = true;
    DWORD serial = 0;
    std::uint64_t total = 0, free = 0;
    std::wstring typesAsked{};  // the roots, in order
    int loudCalls = 0;          // with dialogs allowed
};
Volume volume;

void NoteErrorMode()
{
    volume.loudCalls += (GetThreadErrorMode() & SEM_FAILCRITICALERRORS) != 0 ? 0 : 1;
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
    return volume.answers;  // what a failed call wrote does not count
}

class LocalDrive : public testing::Test {
protected:
    LocalDrive() { volume = {}; }

    // A to G, K and Z, each of another type
    const Detour drivesDetour{L"kernel32.dll", "GetLogicalDrives",
                              []() -> DWORD { return 0x0200047F; }};
    const Detour typeDetour{L"kernel32.dll", "GetDriveTypeW", [](const wchar_t* root) -> UINT {
                                volume.typesAsked += root;
                                constexpr UINT types[] = {3, 5, 2, 6, 1, 0, 4};
                                return types[std::wstring_view{L"CDEFGKZ"}.find(root[0])];
                            }};
    const Detour volumeDetour{L"kernel32.dll", "GetVolumeInformationW", TellVolume};
    const Detour spaceDetour{L"kernel32.dll", "GetDiskFreeSpaceExW",
                             [](const wchar_t*, ULARGE_INTEGER* callersFree, ULARGE_INTEGER* total,
                                ULARGE_INTEGER* free) -> BOOL {
                                 NoteErrorMode();
                                 callersFree->QuadPart = 1;
                                 total->QuadPart = volume.total;
                                 free->QuadPart = volume.free;
                                 return volume.answers;
                             }};
    const Detour clustersDetour{L"kernel32.dll", "GetDiskFreeSpaceW",
                                [](const wchar_t*, DWORD* sectors, DWORD* bytes,
                                   DWORD* freeClusters, DWORD* clusters) -> BOOL {
                                    *sectors = 128;
                                    *bytes = 4096;
                                    *freeClusters = 20480;
                                    *clusters = 0xFFFFFFFF;
                                    return volume.answers;
                                }};
    CLocalDrive drives;
};

TEST_F(LocalDrive, ListsTheLettersFromCToZ)
{
    EXPECT_EQ(drives.Enumerate(false), 3U);
    EXPECT_EQ(drives.DeviceId(0) + drives.DeviceId(1) + drives.DeviceId(2) + drives.DeviceId(3),
              L"C:E:F:");
    EXPECT_EQ(volume.typesAsked, L"C:\\D:\\E:\\F:\\G:\\K:\\Z:\\");
    EXPECT_EQ(drives.Enumerate(true), 1U);  // anew, not in addition
    EXPECT_EQ(drives.DeviceId(0) + drives.DeviceId(1), L"Z:");
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
        {true, 0x0A1B2C3D, kPast, kPast - 1, L"0|4294967295|NTFS|Volume \xC9|A1B2C3D"},
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
