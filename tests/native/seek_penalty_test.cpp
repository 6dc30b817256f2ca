#include "native/seek_penalty.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <cstring>

#include "sim/detour.h"

namespace orrery {
namespace {

struct Drive {
    bool opens = true;
    bool answers = true;
    DWORD returned = 12;
    unsigned char flag = 0;
    HANDLE handle = nullptr;
    int properCalls = 0;
};
Drive drive;

HANDLE WINAPI OpenDrive(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES*,
                        DWORD creation, DWORD flags, HANDLE)
{
    if (std::wstring_view{path} == L"\\\\.\\PHYSICALDRIVE7" && access == 0xC0000000 && share == 3 &&
        creation == 3 && flags == 0)
        ++drive.properCalls;
    if (!drive.opens)
        return INVALID_HANDLE_VALUE;
    return drive.handle = CreateEventW(nullptr, FALSE, FALSE, nullptr);
}

BOOL WINAPI AnswerQuery(HANDLE, DWORD code, void* input, DWORD inputBytes, void* output,
                        DWORD outputBytes, DWORD* returned, OVERLAPPED*)
{
    if (code == 0x2D1400 && inputBytes == 12 && outputBytes == 12 &&
        std::memcmp(input, "\x08\0\0\0\0\0\0\0", 8) == 0)
        ++drive.properCalls;
    static_cast<unsigned char*>(output)[8] = drive.flag;
    *returned = drive.returned;
    return drive.answers ? TRUE : FALSE;
}

TEST(SeekPenalty, ReadsASetFlagAsSolidState)
{
    const struct {
        Drive drive;
        const wchar_t* type;
        int calls;
    } rows[] = {
        {{.flag = 1}, L"SSD", 2},
        {{.flag = 0xFF}, L"SSD", 2},
        {{.flag = 0}, L"HDD", 2},
        {{.returned = 8, .flag = 1}, L"", 2},
        {{.returned = 13, .flag = 1}, L"", 2},
        {{.answers = false, .flag = 1}, L"", 2},
        {{.opens = false}, L"", 1},
    };
    for (const auto& row : rows) {
        drive = row.drive;
        const sim::Detour open{L"kernel32.dll", "CreateFileW", OpenDrive};
        const sim::Detour answer{L"kernel32.dll", "DeviceIoControl", AnswerQuery};
        EXPECT_EQ(ProbeDiskType(L"\\\\.\\PHYSICALDRIVE7"), row.type);
        EXPECT_EQ(drive.properCalls, row.calls);
        EXPECT_FALSE(drive.handle != nullptr && SetEvent(drive.handle)) << "the drive stays open";
    }
}

}  // namespace
}  // namespace orrery
