#pragma once

#include <windows.h>

#include <array>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string_view>

#include "native/token_class.h"

namespace orrery {

/// The search for the window that shows who sits at the console: of all visible top-level windows
/// of other processes the one closest in size to the whole virtual screen, so usually the desktop
/// or something that fills the screen. Sizes are in pixels.
struct UserWindowSearch {
    std::int32_t targetWidth = 0;   ///< of the virtual screen
    std::int32_t targetHeight = 0;  ///< of the virtual screen
    std::int32_t bestWidth = 0;     ///< of the best window so far
    std::int32_t bestHeight = 0;    ///< of the best window so far
    /// Squared distance in size of the best window so far; 32 bits wide, so it wraps.
    std::int32_t bestDistance = std::numeric_limits<std::int32_t>::max();
    HWND window = nullptr;  ///< the window chosen, or none
    /// Class name of the best window so far, cut to the field; no terminator follows when it is
    /// full.
    std::array<wchar_t, 32> windowClass{};
    bool requireInteractiveOwner = true;  ///< take windows of interactive users' processes only
};

/// A top-level window as the choice sees it.
struct WindowFacts {
    HWND window = nullptr;
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool isVisible = false;  ///< has the style WS_VISIBLE
    bool isOwn = false;      ///< belongs to this process
    std::wstring_view className{};
};

/// Records a window in the search when it is a better choice than the best so far.
/// @param readOwnerClass gives the token class of the window's process, nothing when the process
///        cannot be opened; asked only for a window that would be the best
/// @return whether to go on: false once a window of exactly the target size is taken
bool ConsiderWindow(UserWindowSearch& search, const WindowFacts& facts,
                    const std::function<std::optional<TokenClass>()>& readOwnerClass);

/// Finds the user's window: the shell's when there is one, or else the best of the default desktop,
/// for which the whole search starts afresh.
/// @return the window, also left in the search; null when there is none
HWND FindUserWindow(UserWindowSearch& search);

}  // namespace orrery
