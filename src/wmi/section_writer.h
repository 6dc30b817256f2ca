#pragma once

#include <cstdint>
#include <string_view>

#include "store/inv_map.h"
#include "wmi/class_descriptors.h"

namespace orrery {

class CHardwareCollector;

/// Writes the facts of one WMI instance.
/// @param objectText the instance's text
/// @param index      number of the instance within its section, from 0
using InstanceWriter = void (*)(CHardwareCollector* collector, PropertyList properties,
                                const WideString& objectText, CInvMap* map, std::int32_t index,
                                const WideString& section);

/// The writer of a section whose facts need more than one property's text each. It is defined in
/// collect/: the one place where the class collector calls upward, and the reason for this header.
/// @return null for the sections that are written property by property
InstanceWriter FindSectionWriter(std::wstring_view section) noexcept;

}  // namespace orrery
