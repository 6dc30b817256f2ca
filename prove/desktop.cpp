#include "prove/desktop.h"

#include <windows.h>

#include <cstdint>
#include <cwchar>

#include "prove/faults.h"
#include "sim/detour.h"

namespace orrery::prove {
namespace {

constexpr DWORD kUsersProcess = 0x7FFFFFF0;
constexpr std::uintptr_t kDesktop = 0x44;
constexpr std::uintptr_t kWindows = 3;  // one is hidden, one is small, one fills the screen

BOOL WINAPI WalkWindows(WNDENUMPROC visit, LPARAM parameter)
{
    for (std::uintptr_t window = 1; window <= kWindows; ++window)
        if (!visit(reinterpret_cast<HWND>(window), parameter))
            return FALSE;
    return TRUE;
}

/// Opens to one of the two categories that look for the user, so that a run goes both ways: through
/// the desktop and, where it stays shut, through all windows.
HDESK WINAPI OpenUsersDesktop(const wchar_t*, DWORD, BOOL, ACCESS_MASK)
{
    static const auto video = CallerOf("Video");
    return Faults::Caller() == video ? reinterpret_cast<HDESK>(kDesktop) : nullptr;
}

BOOL WINAPI WalkDesktop(HDESK desktop, WNDENUMPROC visit, LPARAM parameter)
{
    return desktop == reinterpret_cast<HDESK>(kDesktop) && WalkWindows(visit, parameter);
}

BOOL WINAPI CloseUsersDesktop(HDESK desktop)
{
    return desktop == reinterpret_cast<HDESK>(kDesktop);
}

BOOL WINAPI TellBounds(HWND window, RECT* bounds)
{
    *bounds = window == reinterpret_cast<HWND>(kWindows) ? RECT{0, 0, 1920, 1080}
                                                         : RECT{10, 10, 650, 490};
    return TRUE;
}

DWORD WINAPI TellProcess(HWND, DWORD* process)
{
    *process = kUsersProcess;
    return 1;
}

LONG_PTR WINAPI TellStyle(HWND window, int)
{
    return window == reinterpret_cast<HWND>(std::uintptr_t{1}) ? 0 : WS_VISIBLE;
}

int WINAPI TellClass(HWND, wchar_t* text, int size)
{
    if (size > 5)
        std::wcscpy(text, L"Shelf");
    return 5;
}

int WINAPI TellMetric(int index)
{
    return index == SM_CXVIRTUALSCREEN ? 1920 : index == SM_CYVIRTUALSCREEN ? 1080 : 0;
}

/// This process stands in for the user's.
HANDLE WINAPI OpenUsersProcess(DWORD access, BOOL inherited, DWORD process)
{
    return OpenProcess(access, inherited,
                       process == kUsersProcess ? GetCurrentProcessId() : process);
}

/// Knows everybody but the system's own account, whose name would be kept and not asked for again.
BOOL WINAPI KnowUser(const wchar_t*, PSID sid, wchar_t* name, DWORD* size, wchar_t*, DWORD*,
                     SID_NAME_USE* use)
{
    if (*GetSidSubAuthority(sid, 0) == SECURITY_LOCAL_SYSTEM_RID || *size < 5)
        return FALSE;
    std::wcscpy(name, L"kari");
    *size = 4;
    *use = SidTypeUser;
    return TRUE;
}

}  // namespace

std::span<const MadeAnswer> MadeAnswers()
{
    static const MadeAnswer answers[] = {
        {"OpenDesktopW", reinterpret_cast<void*>(&OpenUsersDesktop)},
        {"EnumDesktopWindows", reinterpret_cast<void*>(&WalkDesktop)},
        {"CloseDesktop", reinterpret_cast<void*>(&CloseUsersDesktop)},
        {"EnumWindows", reinterpret_cast<void*>(&WalkWindows)},
        {"GetWindowRect", reinterpret_cast<void*>(&TellBounds)},
        {"GetWindowThreadProcessId", reinterpret_cast<void*>(&TellProcess)},
        {sim::kGetWindowLongPtr, reinterpret_cast<void*>(&TellStyle)},
        {"GetClassNameW", reinterpret_cast<void*>(&TellClass)},
        {"GetSystemMetrics", reinterpret_cast<void*>(&TellMetric)},
        {"OpenProcess", reinterpret_cast<void*>(&OpenUsersProcess)},
        {"LookupAccountSidW", reinterpret_cast<void*>(&KnowUser)},
    };
    return answers;
}

}  // namespace orrery::prove
