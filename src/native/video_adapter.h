#pragma once

#include <windows.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "native/platform_version.h"

namespace orrery {

/// What the report tells of a display adapter; a fact that the registry lacks is empty.
struct VideoAdapter {
    std::wstring name;
    std::wstring memory;  ///< whole MiB, in decimal
    std::wstring dacType;
};

/// Where a generation of Windows keeps its display adapters.
enum class VideoSource {
    kDisplayDevices,        ///< EnumDisplayDevicesW: the NT family from version 5
    kDeviceMap,             ///< HARDWARE\DEVICEMAP\VIDEO: earlier NT versions
    kConfigurationManager,  ///< HKEY_DYN_DATA: the 9x family
};
VideoSource ChooseVideoSource(const PlatformVersion& platform) noexcept;

/// One answer of EnumDisplayDevicesW.
struct DisplayDevice {
    std::wstring deviceString, deviceId, deviceKey;
    std::uint32_t stateFlags = 0;
};

/// The path of a driver's settings under HKEY_LOCAL_MACHINE.
/// @param registryPath the kernel's path of the key, as displays and the device map tell it
/// @return in lower case; empty when the path leads elsewhere
std::wstring DriverKeyPath(std::wstring_view registryPath);

using EnumDisplayDevicesFunction = decltype(&EnumDisplayDevicesW);

/// Asks for every display device of the session.
/// @param enumerate null when the system lacks the function; then there are none
std::vector<DisplayDevice> EnumerateDisplayDevices(EnumDisplayDevicesFunction enumerate);

// Each reader below counts the adapters of its source and reads the facts of one of them.
// @param index    zero-based; an index without an adapter leaves *adapter as it was
// @return the number of adapters; 0 also when the source cannot be opened

/// Display devices that show the desktop, mirroring drivers left out. A device counts only when its
/// registry key names its installed drivers, and several heads in a row of one card, which share
/// a device identifier, count once. Memory comes from "HardwareInformation.qwMemorySize", else from
/// "HardwareInformation.MemorySize".
std::int32_t ReadDisplayDevices(const std::vector<DisplayDevice>& devices, std::int32_t index,
                                VideoAdapter* adapter);

/// Drivers listed as "\Device\Video0", "\Device\Video1" and so on, up to the first number that is
/// missing; the fallback VGA driver and mirror drivers are left out.
std::int32_t ReadDeviceMap(std::int32_t index, VideoAdapter* adapter);

/// Devices of the class "Display" among those that the configuration manager has running.
std::int32_t ReadConfigurationManager(std::int32_t index, VideoAdapter* adapter);

}  // namespace orrery
