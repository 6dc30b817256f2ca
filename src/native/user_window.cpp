#include "native/user_window.h"

#include <algorithm>

#include "support/unique.h"

namespace orrery {
namespace {

/// Difference in 32 bits that wraps, as sizes of odd windows may lie anywhere.
std::uint32_t Difference(std::int32_t left, std::int32_t right)
{
    return static_cast<std::uint32_t>(left) - static_cast<std::uint32_t>(right);
}

std::int32_t DistanceFromTarget(const UserWindowSearch& search, const WindowFacts& facts)
{
    const std::uint32_t across = Difference(facts.width, search.targetWidth);
    const std::uint32_t down = Difference(facts.height, search.targetHeight);
    return static_cast<std::int32_t>(across * across + down * down);
}

/// Class of the process's token; nothing when the process cannot be opened.
std::optional<TokenClass> ReadOwnerClass(DWORD processId)
{
    const UniqueHandle process{
        OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_DUP_HANDLE, FALSE, processId)};
    if (!process)
        return std::nullopt;
    return ProcessTokenClass(process.get());
}

bool VisitWindow(UserWindowSearch& search, HWND window)
{
    RECT bounds{};
    GetWindowRect(window, &bounds);  // a window that is gone by now stays empty
    DWORD processId = 0;
    GetWindowThreadProcessId(window, &processId);
    // One more than the field holds, for the terminator.
    std::array<wchar_t, std::tuple_size_v<decltype(search.windowClass)> + 1> className{};
    GetClassNameW(window, className.data(), static_cast<int>(className.size()));

    const WindowFacts facts{
        .window = window,
        .width = static_cast<std::int32_t>(Difference(bounds.right, bounds.left)),
        .height = static_cast<std::int32_t>(Difference(bounds.bottom, bounds.top)),
        .isVisible = (GetWindowLongPtrW(window, GWL_STYLE) & WS_VISIBLE) != 0,
        .isOwn = processId == GetCurrentProcessId(),
        .className = className.data(),
    };
    return ConsiderWindow(search, facts, [processId] { return ReadOwnerClass(processId); });
}

BOOL CALLBACK OnWindow(HWND window, LPARAM search) noexcept
{
    try {
        return VisitWindow(*reinterpret_cast<UserWindowSearch*>(search), window) ? TRUE : FALSE;
    } catch (...) {
        return TRUE;  // the system is our caller; a window that cannot be examined is passed over
    }
}

std::int32_t ReadScreenSize(int virtualScreen, int primaryScreen)
{
    const int size = GetSystemMetrics(virtualScreen);
    return size != 0 ? size : GetSystemMetrics(primaryScreen);
}

}  // namespace

bool ConsiderWindow(UserWindowSearch& search, const WindowFacts& facts,
                    const std::function<std::optional<TokenClass>()>& readOwnerClass)
{
    if (facts.width < 1 || facts.height < 1 || !facts.isVisible)
        return true;
    const std::int32_t distance = DistanceFromTarget(search, facts);
    if (distance >= search.bestDistance || facts.isOwn)
        return true;
    // A process that cannot be opened is given the benefit of the doubt.
    if (search.requireInteractiveOwner &&
        readOwnerClass().value_or(TokenClass::kInteractive) != TokenClass::kInteractive)
        return true;

    search.bestDistance = distance;
    search.bestWidth = facts.width;
    search.bestHeight = facts.height;
    search.window = facts.window;
    search.windowClass.fill(L'\0');
    std::copy_n(facts.className.begin(),
                std::min(facts.className.size(), search.windowClass.size()),
                search.windowClass.begin());
    return distance != 0;
}

HWND FindUserWindow(UserWindowSearch& search)
{
    search = UserWindowSearch{};
    search.window = GetShellWindow();
    if (search.window != nullptr)
        return search.window;

    search.targetWidth = ReadScreenSize(SM_CXVIRTUALSCREEN, SM_CXSCREEN);
    search.targetHeight = ReadScreenSize(SM_CYVIRTUALSCREEN, SM_CYSCREEN);
    const auto parameter = reinterpret_cast<LPARAM>(&search);
    if (const UniqueDesktop desktop{OpenDesktopW(L"Default", 0, FALSE, DESKTOP_READOBJECTS)})
        EnumDesktopWindows(desktop.get(), OnWindow, parameter);
    else
        EnumWindows(OnWindow, parameter);
    return search.window;
}

}  // namespace orrery
