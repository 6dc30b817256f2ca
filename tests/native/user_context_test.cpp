#include "native/user_context.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <map>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "native/well_known_accounts.h"
#include "sim/detour.h"

namespace orrery {
namespace {

using Bytes = std::vector<std::byte>;
using TokenFacts = std::map<TOKEN_INFORMATION_CLASS, Bytes>;
using Rights = std::vector<DWORD>;
using sim::Detour;
using enum TokenClass;

template <class T>
Bytes BytesOf(const T& value)
{
    Bytes bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

HWND WindowOf(int number)
{
    return reinterpret_cast<HWND>(INT_PTR{number});
}

/// What the replaced functions answer and what they were asked.
struct Machine {
    Rights tokenAccess, processAccess;  // as asked for
    DWORD tokenAccessGranted = 0;       // only this access opens a token
    TokenFacts tokenFacts;
    std::vector<DWORD> groupBuffers;  // sizes offered for the groups
    DWORD groupBytesNeeded = 0;
    bool isAccountKnown = true;

    std::map<HWND, RECT> windows;  // odd ones are visible; each has its own process, 99 this one
    std::string walk;              // of the windows
    bool desktopOpens = false, processesOpen = false;
    DWORD faultyProcess = 0;  // opening it throws

    const wchar_t* systemName = nullptr;
    int reverts = 0;
    HWND shellWindow = nullptr;
};
Machine machine;

struct CleanMachine : testing::Test {
    CleanMachine() { machine = {}; }
};
using TokenClassTest = CleanMachine;
using UserWindow = CleanMachine;
using UserContext = CleanMachine;
using WellKnownAccounts = CleanMachine;

TEST_F(TokenClassTest, IsDecidedBySourceThenUserThenGroups)
{
    using Groups = std::vector<TokenGroup>;
    const TokenGroup local{.attributes = 7, .isLocal = true};
    const TokenGroup session{.attributes = 7, .isLogonSession = true};
    const TokenGroup interactive{.attributes = 7, .isInteractive = true};
    const TokenGroup logonId{.attributes = 0xC0000007, .isLogonSession = true};
    const Groups all{local, session, interactive};
    const struct {
        const char* about;
        std::optional<std::string> source;
        std::optional<std::uint32_t> user;
        std::optional<Groups> groups;
        TokenClass expected;
        const char* asked;
    } rows[] = {
        {"service", "Advapi  ", 21, all, kNone, ""},
        {"shorter source", "advap", 21, Groups{}, kAccount, "user groups "},
        {"other source", "User32 ", 21, Groups{logonId}, kLogon, "user groups "},
        {"not at the start", " advapi", 21, Groups{}, kAccount, "user groups "},
        {"no source", {}, 21, all, kInteractive, "user groups "},
        {"unknown user", "User32", {}, all, kNone, "user "},
        {"LocalSystem", {}, 18, all, kAccount, "user "},
        {"NetworkService", {}, 20, all, kAccount, "user "},
        {"anonymous", {}, 7, all, kInteractive, "user groups "},
        {"no groups to be had", {}, 21, {}, kAccount, "user groups "},
        {"all in one group", {}, 21, Groups{{7, true, true, true}}, kInteractive, "user groups "},
        {"logon id stays", {}, 21, Groups{logonId, local, local}, kLogon, "user groups "},
        {"logon id last", {}, 21, {{interactive, local, logonId}}, kInteractive, "user groups "},
        {"without LOCAL", {}, 21, Groups{session, interactive}, kAccount, "user groups "},
        {"without session", {}, 21, Groups{local, interactive}, kAccount, "user groups "},
        {"without INTERACTIVE", {}, 21, Groups{local, session}, kAccount, "user groups "},
        {"one top bit", {}, 21, Groups{{0x80000007}, {0x40000007}}, kAccount, "user groups "},
        {"both top bits", {}, 21, Groups{{0xC0000000}}, kLogon, "user groups "},
    };
    for (const auto& row : rows) {
        std::string asked;
        const auto user = [&] { return asked += "user ", row.user; };
        const auto groups = [&] { return asked += "groups ", row.groups; };
        EXPECT_EQ(ClassOfToken(row.source, user, groups), row.expected) << row.about;
        EXPECT_EQ(asked, row.asked) << row.about;
    }
}

BOOL WINAPI OpenGrantedToken(HANDLE, DWORD access, PHANDLE token)
{
    machine.tokenAccess.push_back(access);
    if (access != machine.tokenAccessGranted)
        return FALSE;
    *token = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return TRUE;
}

BOOL WINAPI ReadTokenFact(HANDLE, TOKEN_INFORMATION_CLASS fact, void* to, DWORD size, DWORD* used)
{
    if (fact == TokenGroups) {
        machine.groupBuffers.push_back(size);
        *used = machine.groupBytesNeeded;
        if (size < *used)
            return FALSE;
    }
    const auto found = machine.tokenFacts.find(fact);
    if (found == machine.tokenFacts.end())
        return FALSE;
    std::memcpy(to, found->second.data(), found->second.size());
    return TRUE;
}

struct Sid {
    UniqueSid sid;
    Sid(BYTE authority, BYTE count, DWORD first, DWORD second = 0, DWORD third = 0)
    {
        SID_IDENTIFIER_AUTHORITY value{{0, 0, 0, 0, 0, authority}};
        AllocateAndInitializeSid(&value, count, first, second, third, 0, 0, 0, 0, 0, sid.put());
    }
};

/// Knows anyone, or only the system and by its own name.
BOOL WINAPI LookUp(const wchar_t*, PSID sid, wchar_t* name, DWORD* nameSize, wchar_t*, DWORD*,
                   SID_NAME_USE*)
{
    if (machine.systemName == nullptr)
        return machine.isAccountKnown && *nameSize == 256;
    std::wcscpy(name, machine.systemName);
    return EqualSid(sid, Sid(5, 1, 18).sid.get()) && *nameSize == 100;
}

TEST_F(TokenClassTest, IsReadFromTheProcessWithTheRightsToBeHad)
{
    const Detour open{L"advapi32.dll", "OpenProcessToken", OpenGrantedToken};
    const Detour read{L"advapi32.dll", "GetTokenInformation", ReadTokenFact};
    const Detour lookUp{L"advapi32.dll", "LookupAccountSidW", LookUp};
    const Sid user{5, 3, 21, 1, 2}, local{2, 1, 0}, session{5, 3, 5, 0, 77}, interactive{5, 1, 4};
    const struct {
        DWORD count;
        SID_AND_ATTRIBUTES groups[3];
    } groups{3,
             {{session.sid.get(), 0xC0000007}, {local.sid.get(), 7}, {interactive.sid.get(), 7}}};
    const Bytes source = BytesOf(TOKEN_SOURCE{{'a', 'd', 'v', 'A', 'P', 'I', '3', '2'}, {}});
    const Bytes person = BytesOf(TOKEN_USER{{user.sid.get(), 0}});
    const TokenFacts service{{TokenSource, source}, {TokenUser, person}};
    const TokenFacts nobody{{TokenGroups, BytesOf(groups)}}, lonely{{TokenUser, person}};
    const TokenFacts member{{TokenUser, person}, {TokenGroups, BytesOf(groups)}};
    const struct {
        const char* about;
        DWORD granted;
        TokenFacts facts;
        DWORD groupBytes;
        TokenClass expected;
        std::vector<DWORD> access, groupBuffers;
        bool isAccountKnown = true;
    } rows[] = {
        {"no token", 1, {}, 0, kNone, {24, 8}, {}},
        {"service", 24, service, 0, kNone, {24}, {}},
        {"no user", 8, nobody, 0, kNone, {24, 8}, {}},
        {"no known account", 8, member, 8192, kNone, {24, 8}, {}, false},
        {"no groups", 8, lonely, 8192, kAccount, {24, 8}, {8192}},
        {"groups fit", 8, member, 8192, kInteractive, {24, 8}, {8192}},
        {"many groups", 24, member, 8193, kInteractive, {24}, {8192, 12289}},
    };
    for (const auto& row : rows) {
        machine = {};
        machine.tokenAccessGranted = row.granted;
        machine.tokenFacts = row.facts;
        machine.groupBytesNeeded = row.groupBytes;
        machine.isAccountKnown = row.isAccountKnown;
        EXPECT_EQ(ProcessTokenClass(GetCurrentProcess()), row.expected) << row.about;
        EXPECT_EQ(machine.tokenAccess, row.access) << row.about;
        EXPECT_EQ(machine.groupBuffers, row.groupBuffers) << row.about;
    }
}

TEST_F(UserWindow, IsTheOneClosestInSizeToTheScreen)
{
    struct Window {
        std::int32_t width, height;
        std::optional<TokenClass> owner = kInteractive;
        bool isVisible = true, isOwn = false;
    };
    constexpr int kNobody = -1, kFar = 2147483647;
    const struct {
        const char* about;
        std::vector<Window> windows;  // on a screen of 1024 by 768
        int chosen;
        std::int32_t distance;
        int visited, ownersAsked;
        bool anyOwner = false;
    } rows[] = {
        {"exact size ends it", {{1000, 768}, {1024, 768}, {1024, 768}}, 1, 0, 2, 2},
        {"first of equals", {{1014, 768}, {1034, 768}, {1024, 758}}, 0, 100, 3, 1},
        {"closer comes later", {{800, 600}, {640, 480}, {1020, 765}}, 2, 25, 3, 2},
        {"hidden", {{1024, 768, kInteractive, false}, {1023, 768}}, 1, 1, 2, 1},
        {"no extent", {{0, 768}, {1024, 0}, {-1, 768}, {1024, -1}}, kNobody, kFar, 4, 0},
        {"smallest extent", {{1, 1}}, 0, 1634818, 1, 1},  // 1023 and 767 squared
        {"own", {{1024, 768, kInteractive, true, true}, {1000, 768}}, 1, 576, 2, 1},
        {"owners", {{999, 768, kNone}, {999, 768, kLogon}, {900, 768}}, 2, 15376, 3, 3},
        {"system account", {{1024, 768, kAccount}}, kNobody, kFar, 1, 1},
        {"owner out of reach", {{1000, 768, {}}, {1000, 768}}, 0, 576, 2, 1},
        {"owner of no matter", {{1000, 768, kNone}}, 0, 576, 1, 0, true},
        // 46341 more squared is 2147488281, which 32 bits hold as a negative number.
        {"wrap", {{1023, 768}, {47365, 768}, {1024, 768}}, 1, -2147479015, 3, 2},
        {"wrap to exact", {{66560, 768}, {1024, 768}}, 0, 0, 1, 1},  // 65536 more
        {"widest", {{2147483647, 768}}, 0, 1050625, 1, 1},           // 1025 short of 2 to the 31st
    };
    for (const auto& row : rows) {
        UserWindowSearch search{.targetWidth = 1024, .targetHeight = 768};
        search.requireInteractiveOwner = !row.anyOwner;
        int visited = 0, asked = 0;
        for (bool goOn = true; goOn && visited < std::ssize(row.windows); ++visited) {
            const Window& window = row.windows.at(static_cast<std::size_t>(visited));
            goOn = ConsiderWindow(search,
                                  {WindowOf(visited + 1),
                                   window.width,
                                   window.height,
                                   window.isVisible,
                                   window.isOwn,
                                   {}},
                                  [&] { return ++asked, window.owner; });
        }
        EXPECT_EQ(search.window, WindowOf(row.chosen + 1)) << row.about;
        EXPECT_EQ(search.bestDistance, row.distance) << row.about;
        EXPECT_EQ(visited, row.visited) << row.about;
        EXPECT_EQ(asked, row.ownersAsked) << row.about;
    }
}

TEST_F(UserWindow, KeepsSizeAndClassNameOfTheBest)
{
    UserWindowSearch search{.targetWidth = 100, .targetHeight = 100};
    const std::wstring longest(32, L'c');
    for (std::int32_t width = 50;
         const auto& name : {longest, longest + L"d", std::wstring{L"x"}}) {
        ConsiderWindow(search, {nullptr, ++width, 99, true, false, name},
                       [] { return std::nullopt; });
        std::wstring expected = name;
        expected.resize(32);
        EXPECT_EQ(std::wstring(search.windowClass.begin(), search.windowClass.end()), expected);
        EXPECT_EQ(search.bestWidth, width);
        EXPECT_EQ(search.bestHeight, 99);
    }
}

HWND WINAPI GetSimulatedShell()
{
    return machine.shellWindow;
}
HDESK WINAPI OpenSimulatedDesktop(const wchar_t* name, DWORD flags, BOOL inherit, DWORD access)
{
    const bool asExpected =
        name == std::wstring{L"Default"} && flags == 0 && !inherit && access == 1;
    return asExpected && machine.desktopOpens
               ? CreateDesktopW(L"Scratch", nullptr, nullptr, 0, 1, nullptr)
               : nullptr;
}
BOOL WINAPI WalkWindows(WNDENUMPROC callback, LPARAM parameter)
{
    machine.walk += "all";
    for (const auto& entry : machine.windows)
        if (!callback(entry.first, parameter))
            return FALSE;
    return TRUE;
}
BOOL WINAPI WalkDesktop(HDESK, WNDENUMPROC callback, LPARAM parameter)
{
    machine.walk += "desktop ";
    return WalkWindows(callback, parameter);
}
DWORD WINAPI GetSimulatedOwner(HWND window, DWORD* processId)
{
    *processId = window == WindowOf(99) ? GetCurrentProcessId() : HandleToULong(window);
    return 1;
}
HANDLE WINAPI OpenSimulatedProcess(DWORD access, BOOL, DWORD processId)
{
    if (processId == machine.faultyProcess)
        throw std::bad_alloc{};
    machine.processAccess.push_back(access);
    return machine.processesOpen ? CreateEventW(nullptr, FALSE, FALSE, nullptr) : nullptr;
}

TEST_F(UserWindow, IsLookedForOnTheDefaultDesktopOrAmongAllWindows)
{
    const Detour shell{L"user32.dll", "GetShellWindow", GetSimulatedShell};
    const Detour open{L"user32.dll", "OpenDesktopW", OpenSimulatedDesktop};
    const Detour all{L"user32.dll", "EnumWindows", WalkWindows};
    const Detour desktop{L"user32.dll", "EnumDesktopWindows", WalkDesktop};
    const Detour rect{L"user32.dll", "GetWindowRect", [](HWND window, RECT* bounds) -> BOOL {
                          machine.walk += ' ' + std::to_string(HandleToULong(window));
                          *bounds = machine.windows.at(window);
                          return TRUE;
                      }};
    const Detour style{L"user32.dll", sim::kGetWindowLongPtr, [](HWND window, int index) {
                           const bool isShown =
                               index == GWL_STYLE && HandleToULong(window) % 2 != 0;
                           return LONG_PTR{isShown ? WS_VISIBLE : ~WS_VISIBLE};
                       }};
    const Detour owner{L"user32.dll", "GetWindowThreadProcessId", GetSimulatedOwner};
    const Detour process{L"kernel32.dll", "OpenProcess", OpenSimulatedProcess};
    const Detour token{L"advapi32.dll", "OpenProcessToken", OpenGrantedToken};
    // The virtual screen has no width here, and the primary one none of its own height.
    const Detour metrics{
        L"user32.dll", "GetSystemMetrics", [](int index) {
            return index == SM_CXSCREEN ? 800 : index == SM_CYVIRTUALSCREEN ? 600 : 0;
        }};
    const RECT exact{100, 50, 900, 650}, close{0, 0, 800, 599}, inverted{0, 600, 800, 0};
    const HWND first = WindowOf(13), second = WindowOf(15), third = WindowOf(17), none = nullptr;
    using Windows = std::map<HWND, RECT>;
    const Windows unfit{{WindowOf(12), exact}, {first, inverted}, {WindowOf(99), exact}};
    const Windows several{{first, close}, {second, exact}, {third, exact}};
    const struct {
        const char* about;
        bool desktopOpens;
        HWND shell;
        DWORD faulty;
        Windows windows;
        HWND expected;
        const char* walk;
        Rights processAccess;
        bool processesOpen = false;  // and have no token to be had
    } rows[] = {
        {"shell", true, third, 0, several, third, "", {}},
        {"no window", true, none, 0, {}, none, "desktop all", {}},
        {"none that fits", false, none, 0, unfit, none, "all 12 13 99", {}},
        {"an exact one", true, none, 0, several, second, "desktop all 13 15", {0x440, 0x440}},
        {"no tokens",
         true,
         none,
         0,
         several,
         none,
         "desktop all 13 15 17",
         {0x440, 0x440, 0x440},
         true},
        {"a fault", false, none, 15, several, third, "all 13 15 17", {0x440, 0x440}},
    };
    UserWindowSearch search;
    for (const auto& row : rows) {
        machine = {};
        machine.desktopOpens = row.desktopOpens;
        machine.shellWindow = row.shell;
        machine.faultyProcess = row.faulty;
        machine.windows = row.windows;
        machine.processesOpen = row.processesOpen;
        EXPECT_EQ(FindUserWindow(search), row.expected) << row.about;
        EXPECT_EQ(search.window, row.expected) << row.about;
        EXPECT_EQ(machine.walk, row.walk) << row.about;
        EXPECT_EQ(machine.processAccess, row.processAccess) << row.about;
    }
    EXPECT_EQ(search.targetWidth, 800);
    EXPECT_EQ(search.targetHeight, 600);
}

bool HasThreadToken()
{
    UniqueHandle token;
    return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.put()) != FALSE;
}

TEST_F(UserContext, LastsFromBeginToEndOrToTheEndOfTheScope)
{
    machine.shellWindow =
        CreateWindowExW(0, L"STATIC", L"", 0, 0, 0, 1, 1, HWND_MESSAGE, nullptr, nullptr, nullptr);
    ASSERT_NE(machine.shellWindow, nullptr);
    const Detour shell{L"user32.dll", "GetShellWindow", GetSimulatedShell};
    CUserContext user;
    user.BeginImpersonation();
    EXPECT_TRUE(HasThreadToken());
    EXPECT_TRUE(user.token);
    user.EndImpersonation();
    EXPECT_FALSE(HasThreadToken());
    EXPECT_FALSE(user.token);
    try {
        CUserContext other;
        other.BeginImpersonation();
        EXPECT_TRUE(HasThreadToken());
        throw std::runtime_error{"in the middle of the work"};
    } catch (const std::runtime_error&) {
        EXPECT_FALSE(HasThreadToken());
    }
    DestroyWindow(machine.shellWindow);
}

TEST_F(UserContext, RevertsOnceThoughNobodyWasImpersonated)
{
    const Detour shell{L"user32.dll", "GetShellWindow", GetSimulatedShell};
    const Detour owner{L"user32.dll", "GetWindowThreadProcessId", GetSimulatedOwner};
    const Detour process{L"kernel32.dll", "OpenProcess", OpenSimulatedProcess};
    const Detour open{L"advapi32.dll", "OpenProcessToken", OpenGrantedToken};
    const Detour revert{L"advapi32.dll", "RevertToSelf",
                        []() -> BOOL { return ++machine.reverts; }};
    machine.shellWindow = WindowOf(21);
    {
        const CUserContext idle;
    }
    EXPECT_EQ(machine.reverts, 0);
    {
        CUserContext user;
        user.BeginImpersonation();
        EXPECT_FALSE(user.token);
        EXPECT_EQ(machine.reverts, 0);
    }
    EXPECT_EQ(machine.reverts, 1);
    machine.processesOpen = true;
    {
        CUserContext user;
        user.BeginImpersonation();
        user.EndImpersonation();
        EXPECT_EQ(machine.reverts, 2);
    }
    EXPECT_EQ(machine.reverts, 2);
    EXPECT_EQ(machine.processAccess, (Rights{0x1000, 0x1000}));
    EXPECT_EQ(machine.tokenAccess, (Rights{0x2000B}));
}

TEST_F(WellKnownAccounts, AreTheSystemsOwn)
{
    EXPECT_TRUE(EqualSid(LocalSid(), Sid(2, 1, 0).sid.get()));
    EXPECT_TRUE(EqualSid(InteractiveSid(), Sid(5, 1, 4).sid.get()));
    EXPECT_EQ(LocalSid(), LocalSid());
    const struct {
        BYTE authority, count;
        DWORD first;
        bool isLogonSession;
    } rows[] = {
        {5, 3, 5, true}, {2, 3, 5, false}, {5, 2, 5, false}, {5, 4, 5, false}, {5, 3, 21, false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(IsLogonSessionSid(Sid(row.authority, row.count, row.first, 0, 9).sid.get()),
                  row.isLogonSession)
            << int{row.authority} << ' ' << int{row.count} << ' ' << row.first;
}

TEST_F(WellKnownAccounts, KeepTheNameOfTheSystemOnceItIsKnown)
{
    // In a process of its own, where nobody has asked for the name yet.
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const auto ask = [] {
        const Detour lookUp{L"advapi32.dll", "LookupAccountSidW", LookUp};
        bool asExpected = LocalSystemName() == L"SYSTEM";  // not known yet
        for (const auto* name : {L"SYST\u00C8ME", L"other"}) {
            machine.systemName = name;
            asExpected &= LocalSystemName() == L"SYST\u00C8ME";
        }
        return asExpected ? 0 : 1;
    };
    EXPECT_EXIT(std::_Exit(ask()), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orrery
