#pragma once

#include <windows.h>

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <vector>

#include "sim/detour.h"

namespace orrery::sim {

struct Volume {
    UINT type = DRIVE_FIXED;
    std::uint64_t total = 0, free = 0;    ///< bytes
    const wchar_t* fileSystem = nullptr;  ///< null: the volume cannot be asked
    const wchar_t* label = L"";
    DWORD serial = 0;
};

struct Display {
    const wchar_t *name, *id, *key;
    DWORD flags = DISPLAY_DEVICE_ATTACHED_TO_DESKTOP;
};

/// What Windows itself tells of a machine. A call without an answer here fails.
struct PlatformFacts {
    DWORD processors = 2;
    WORD architecture = PROCESSOR_ARCHITECTURE_INTEL;
    std::optional<OSVERSIONINFOEXW> version{};
    DWORD edition = PRODUCT_UNDEFINED;
    const wchar_t* hostName = nullptr;
    const wchar_t* userName = nullptr;
    std::uint64_t memory = 0;  ///< bytes
    DWORD zoneResult = TIME_ZONE_ID_INVALID;
    TIME_ZONE_INFORMATION zone{};
    std::map<wchar_t, Volume> volumes{};  ///< by letter
    std::vector<Display> displays{};
};

/// While it lives, the functions of Windows that a report depends on answer for a made machine, on
/// which nobody has a window. What has a simulation of its own, such as devices, is left to that.
/// One at a time.
class Platform {
public:
    explicit Platform(PlatformFacts facts);
    ~Platform();
    Platform(const Platform&) = delete;
    Platform& operator=(const Platform&) = delete;

private:
    std::list<Detour> detours_;
};

}  // namespace orrery::sim
