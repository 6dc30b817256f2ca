#include "collect/operating_system.h"

#include <windows.h>
#include <gtest/gtest.h>

#include "native/well_known_accounts.h"
#include "sim/detour.h"
#include "sim/facts.h"

namespace orrery {
namespace {

using sim::Detour;
using sim::Facts;
using sim::FactsOf;

const wchar_t* userName = nullptr;
std::string steps;  // to the user's name and back

HWND WINAPI NoteShell()
{
    return steps += "shell ", nullptr;
}
BOOL WINAPI TellUser(wchar_t* name, DWORD* size)
{
    steps += "name in " + std::to_string(*size) + " ";
    if (userName != nullptr)
        std::wcscpy(name, userName);
    return userName != nullptr ? TRUE : FALSE;
}
BOOL WINAPI NoteRevert()
{
    return steps += "revert ", TRUE;
}
DWORD WINAPI TellZone(TIME_ZONE_INFORMATION* zone)
{
    *zone = {};
    zone->Bias = -330;
    return TIME_ZONE_ID_UNKNOWN;
}

TEST(OperatingSystemCategory, TellsNoUserForTheSystemItself)
{
    const Detour user{L"advapi32.dll", "GetUserNameW", TellUser};
    const Detour shell{L"user32.dll", "GetShellWindow", NoteShell};
    const std::wstring system = LocalSystemName();
    const struct {
        const wchar_t *name, *expected;
    } rows[] = {{L"jane", L"jane"}, {system.c_str(), L""}, {L"system", L"system"}, {nullptr, L""}};
    for (const auto& row : rows) {
        userName = row.name;
        steps.clear();
        const Detour revert{L"advapi32.dll", "RevertToSelf", NoteRevert};
        CInvMap map;
        CollectOperatingSystem(nullptr, &map);
        EXPECT_EQ(FactsOf(map).at(L"OperatingSystem\\LoggedOnUser\\0"), row.expected);
        EXPECT_EQ(steps, "shell name in 1024 revert ");
    }
}

TEST(OperatingSystemInstances, TellBootTimeAndCaptionOnly)
{
    constexpr const wchar_t* kProperties[] = {L"LastBootUpTime", L"Caption", L"Version", nullptr};
    const auto* const now = L"2030-04-05T06:07:08+05:30";  // for what is no date
    const wchar_t* const rows[][2] = {
        {L"20240205070809.500000+060", L"2024-02-05T07:08:09+05:30"},
        {L"1969123123595", L"1970-12-31T23:59:05+05:30"},
        {L"", now},
        {L"2024", now},
        {L"202402050708", now},
        {L"**************.000000+000", now},
    };
    const Detour zone{L"kernel32.dll", "GetTimeZoneInformation", TellZone};
    const Detour clock{L"kernel32.dll", "GetSystemTime",
                       [](SYSTEMTIME* time) { *time = {2030, 4, 5, 5, 6, 7, 8, 0}; }};
    for (const auto& [date, text] : rows) {
        CInvMap map;
        StoreValue(nullptr, L"Caption", L"Of the category", &map, 0, L"OperatingSystem");
        WriteOperatingSystemInstance(nullptr, kProperties,
                                     std::wstring{L"\tLastBootUpTime = \""} + date +
                                         L"\";\n\tCaption = \"Its own\";\n\tVersion = \"10\";",
                                     &map, 3, L"OperatingSystem");
        EXPECT_EQ(FactsOf(map), (Facts{{L"OperatingSystem\\Caption\\0", L"Its own"},
                                       {L"OperatingSystem\\LastBootUpTime\\3", text}}));
    }
}

}  // namespace
}  // namespace orrery
