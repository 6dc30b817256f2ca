#pragma once

#include <cstdint>

#include "store/wide_string.h"

namespace orrery {

/// The form factor that a chassis code stands for: "Desktop", "Laptop", "Tablet", "Unknown", or the
/// library's own "Terminal Server" (998) and "Remote Session" (999). Empty for any other code.
/// Source of the codes: Win32_SystemEnclosure.ChassisTypes, the SMBIOS chassis types.
WideString ChassisTypeName(std::int32_t code);

/// What a system slot is used for; empty for codes above 4 and negative ones.
/// Source of the codes: Win32_SystemSlot.CurrentUsage.
WideString SlotUsageName(std::int32_t code);

/// The kind of a memory module, such as "DDR4"; "Unknown" for any code without a name.
/// Source of the codes: Win32_PhysicalMemory.MemoryType, mixed with the SMBIOS memory device types.
WideString MemoryTypeName(std::uint16_t code);

}  // namespace orrery
