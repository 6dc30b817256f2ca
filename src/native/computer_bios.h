#pragma once

#include <windows.h>

#include <cstdint>
#include <vector>

#include "store/wide_string.h"

namespace orrery {

/// The settings of the library itself, under HKEY_LOCAL_MACHINE.
constexpr const wchar_t* kClientKey = L"SOFTWARE\\Veltrane Ltd\\Veltrane Orrery\\Client";

/// What the firmware itself tells of the machine: the fallback for each BIOS fact that WMI lacks.
///
/// No firmware reader stands behind the record yet, so it is empty; one can fill the fields without
/// a change to the collector. Accessors drop the placeholder texts that vendors leave in fields
/// they do not configure: such a field is cleared in the record itself.
class CComputerBios {
public:
    /// Evaluates IsXBiosDisabled, which nothing acts on as long as there is no firmware reader.
    CComputerBios();
    CComputerBios(const CComputerBios&) = delete;
    CComputerBios& operator=(const CComputerBios&) = delete;
    virtual ~CComputerBios() = default;

    WideString BiosManufacturer();
    WideString BiosVersion();
    WideString ReleaseDate();
    WideString AssetTag();
    WideString SerialNumber();        ///< empty for "System Serial Number"
    WideString SystemManufacturer();  ///< empty for "System Manufacturer", "System manufacturer"
    WideString SystemModel();         ///< empty for "System Name", "System Product Name"

    std::int32_t DeviceCount() const noexcept;

    // Facts of the i-th memory device; empty when there is no such device.
    WideString DeviceLocator(std::int32_t i) const;
    WideString MemoryType(std::int32_t i) const;
    WideString Capacity(std::int32_t i) const;  ///< MiB; "0" for a size that is not given in MiB
    WideString Speed(std::int32_t i) const;

    WideString biosManufacturer;
    WideString biosVersion;
    WideString biosReleaseDate;
    WideString systemManufacturer;
    WideString systemModel;
    WideString assetTag;
    WideString serialNumber;

    // One entry per memory device in each.
    std::vector<WideString> deviceLocators;
    std::vector<WideString> memoryTypes;
    std::vector<std::int16_t> capacities;  ///< bit 15 set: not in MiB
    std::vector<std::uint16_t> speeds;
};

/// Whether reading legacy firmware is switched off: always from Windows version 6.1 on, on older
/// ones by the REG_DWORD "DisableXBios" of kClientKey.
bool IsXBiosDisabled();

/// The decision of IsXBiosDisabled for a given Windows version.
bool IsXBiosDisabled(std::uint32_t major, std::uint32_t minor);

/// Sets "DisableXBios" to 1, creating its key when it is missing. Stands on purpose though nothing
/// calls it: the library writes nothing to the registry.
/// @return 1 when it is set, else 0
std::int32_t DisableXBios();

}  // namespace orrery
