#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string_view>

#include "native/platform_version.h"
#include "native/video_adapter.h"
#include "store/wide_string.h"
#include "support/fixed_text.h"
#include "support/unique.h"

namespace orrery {

// Where the NT family keeps its devices, under HKEY_LOCAL_MACHINE.
constexpr const wchar_t* kDevicesKey = L"SYSTEM\\CurrentControlSet\\Enum";
/// The start of a class's path, which its GUID ends.
constexpr const wchar_t* kDeviceClassesKey = L"SYSTEM\\CurrentControlSet\\Control\\Class\\";
/// A subkey of a device's instance, made when the device starts and gone when it leaves.
constexpr const wchar_t* kPresenceKey = L"Control";

/// A present device, as its instance key of the enumeration tree describes it. Longer texts are
/// cut, missing ones are empty. Collectors use the class and the name; the rest stands on purpose.
struct DeviceRecord {
    using Text = FixedText<255>;

    Text deviceClass;   ///< "Class", else the class name registered under "ClassGUID"
    Text friendlyName;  ///< "FriendlyName", else the first 127 characters of "DeviceDesc"
    Text deviceDesc;
    Text classGuid;
    Text mfg;
    Text service;
    FixedText<254> path;  ///< of the instance key, under HKEY_LOCAL_MACHINE
    std::uint32_t statusFlags = 0;
};

/// The present devices of the machine, read from the registry when the list is first asked for, and
/// its display adapters. Belongs to one thread.
class CDevices {
public:
    CDevices();
    /// Reads the registry in the layout of the given platform.
    explicit CDevices(const PlatformVersion& platform);
    virtual ~CDevices();
    CDevices(const CDevices&) = delete;
    CDevices& operator=(const CDevices&) = delete;

    /// The number of devices of a class, compared without regard to case; an empty class means all.
    /// 0 also when memory was too short for the list.
    std::size_t Count(std::wstring_view deviceClass) const;

    /// The n-th device of a class, from 0, in the registry's order; null when there are not as
    /// many.
    const DeviceRecord* Find(std::size_t n, std::wstring_view deviceClass) const;

    /// Tells of one display adapter. None of the outputs may be null; for an index without an
    /// adapter they stay as they are, and a fact that is not known becomes empty.
    /// @param index  zero-based
    /// @param memory in whole MiB, in decimal
    /// @return the number of adapters, 1 even when there is none
    std::int32_t GetVideoAdapter(std::int32_t index, WideString* name, WideString* memory,
                                 WideString* dacType) const;

private:
    using Records = std::deque<DeviceRecord>;  // grows without copying records of 3.6 KB

    const Records* List() const;

    PlatformVersion platform_;
    mutable bool isListRead_ = false;
    mutable std::unique_ptr<const Records> list_;
    UniqueModule user32_;
    EnumDisplayDevicesFunction enumDisplayDevices_ = nullptr;
};

}  // namespace orrery
