#pragma once

#include <cstdint>

namespace orrery {

/// The Windows version as GetVersionExW tells it to this process.
struct PlatformVersion {
    std::uint32_t platformId = 0;  ///< VER_PLATFORM_WIN32_NT (2), or 1 on the 9x family
    std::uint32_t major = 0;
    std::uint32_t minor = 0;

    bool IsNt() const noexcept { return platformId == 2; }
};

/// Asks the system for its version; all zero when it does not tell.
PlatformVersion ReadPlatformVersion() noexcept;

}  // namespace orrery
