#include "collect/operating_system.h"

#include <windows.h>
#include <gtest/gtest.h>

#include "native/well_known_accounts.h"
#include "sim/facts.h"
#include "sim/simulation.h"
#include "wmi/class_collector.h"

namespace orrery {
namespace {

using sim::Detour;
using sim::Facts;
using sim::FactsOf;

const wchar_t* userName = nullptr;
DWORD userNameRoom = 0;
bool shellAsked = false;  // as the first step into the user's context does
int reverts = 0;
bool shellAskedBefore = false;
int revertsBefore = -1;  // both as they stood when the name was read

HWND WINAPI NoteShell()
{
    shellAsked = true;
    return nullptr;
}
BOOL WINAPI TellUser(wchar_t* name, DWORD* size)
{
    userNameRoom = *size;
    shellAskedBefore = shellAsked;
    revertsBefore = reverts;
    if (userName == nullptr)
        return FALSE;
    std::wcscpy(name, userName);
    return TRUE;
}
BOOL WINAPI CountRevert()
{
    ++reverts;
    return TRUE;
}
BOOL WINAPI TellVersion(OSVERSIONINFOW* info)
{
    info->dwPlatformId = 1;
    info->dwMajorVersion = 4;
    info->dwMinorVersion = 10;
    info->dwBuildNumber = 0x040A08AE;
    return TRUE;
}
DWORD WINAPI TellZone(TIME_ZONE_INFORMATION* zone)
{
    *zone = {};
    zone->Bias = -330;
    std::wcscpy(zone->StandardName, L"India");
    return TIME_ZONE_ID_UNKNOWN;
}

TEST(OperatingSystemCategory, WritesSixFactsAndNoUserForTheSystemItself)
{
    const Detour version{L"kernel32.dll", "GetVersionExW", TellVersion};
    const Detour zone{L"kernel32.dll", "GetTimeZoneInformation", TellZone};
    const Detour user{L"advapi32.dll", "GetUserNameW", TellUser};
    const Detour shell{L"user32.dll", "GetShellWindow", NoteShell};
    const std::wstring system = LocalSystemName();
    const std::wstring lowerCase = L"system";
    const struct {
        const wchar_t *name, *expected;
    } rows[] = {
        {L"jane", L"jane"}, {system.c_str(), L""}, {lowerCase.c_str(), L"system"}, {nullptr, L""}};
    for (const auto& row : rows) {
        userName = row.name;
        shellAsked = shellAskedBefore = false;
        reverts = 0;
        revertsBefore = -1;
        const Detour revert{L"advapi32.dll", "RevertToSelf", CountRevert};
        CInvMap map;
        CollectOperatingSystem(nullptr, &map);
        EXPECT_EQ(FactsOf(map), (Facts{{L"OperatingSystem\\Caption\\0", L"Windows 98"},
                                       {L"OperatingSystem\\Version\\0", L"4.10.2222"},
                                       {L"OperatingSystem\\TimeZone\\0", L"(GMT +05:30) India"},
                                       {L"OperatingSystem\\LoggedOnUser\\0", row.expected},
                                       {L"OperatingSystem\\Is64x\\0", L""},
                                       {L"OperatingSystem\\Windows10Version\\0", L""}}));
        EXPECT_EQ(userNameRoom, 1024U);
        EXPECT_TRUE(shellAskedBefore);
        EXPECT_EQ(revertsBefore, 0);
        EXPECT_EQ(reverts, 1);
    }
}

TEST(OperatingSystemInstances, TellBootTimeAndCaptionOnly)
{
    constexpr const wchar_t* kDescriptor[] = {L"Win32_OperatingSystem",
                                              L"OperatingSystem",
                                              L"LastBootUpTime",
                                              L"Caption",
                                              L"Version",
                                              nullptr};
    const ComApartment apartment;
    const sim::Simulation simulation{
        LR"(
namespace root\cimv2
instance of Win32_OperatingSystem
{
	Caption = "First";
	LastBootUpTime = "20240205070809.500000+060";
	Version = "10.0.22631";
};
instance of Win32_OperatingSystem
{
	Caption = "Second";
	LastBootUpTime = "1969123123595";
};
)"};
    const Detour zone{L"kernel32.dll", "GetTimeZoneInformation", TellZone};
    CHardwareCollector collector;
    CInvMap map;
    EXPECT_EQ(CollectClass(&collector, 100, &map, kDescriptor, WriteOperatingSystemInstance), 2);
    EXPECT_EQ(FactsOf(map),
              (Facts{{L"OperatingSystem\\Caption\\0", L"Second"},  // takes the first one's place
                     {L"OperatingSystem\\LastBootUpTime\\0", L"2024-02-05T07:08:09+05:30"},
                     {L"OperatingSystem\\LastBootUpTime\\1", L"1970-12-31T23:59:05+05:30"}}));
}

void WINAPI TellTime(SYSTEMTIME* time)
{
    *time = {2030, 4, 5, 5, 6, 7, 8, 0};
}

TEST(OperatingSystemInstances, TellThePresentTimeForABootTimeThatIsNoDate)
{
    constexpr const wchar_t* kProperties[] = {L"LastBootUpTime", nullptr};
    const Detour zone{L"kernel32.dll", "GetTimeZoneInformation", TellZone};
    const Detour clock{L"kernel32.dll", "GetSystemTime", TellTime};
    for (const auto* value : {L"", L"2024", L"202402050708", L"**************.000000+000"}) {
        CInvMap map;
        WriteOperatingSystemInstance(nullptr, kProperties,
                                     std::wstring{L"\tLastBootUpTime = \""} + value + L"\";", &map,
                                     3, L"OperatingSystem");
        EXPECT_EQ(FactsOf(map),
                  (Facts{{L"OperatingSystem\\LastBootUpTime\\3", L"2030-04-05T06:07:08+05:30"}}));
    }
}

}  // namespace
}  // namespace orrery
