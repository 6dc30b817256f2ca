#pragma once

#include <cstdint>
#include <vector>

#include "store/inv_map.h"
#include "wmi/class_descriptors.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// Writes the facts of one WMI instance.
/// @param objectText the instance's text
/// @param index      number of the instance within its section, from 0
using InstanceWriter = void (*)(CHardwareCollector* collector, PropertyList properties,
                                const WideString& objectText, CInvMap* map, std::int32_t index,
                                const WideString& section);

/// The plain InstanceWriter: writes every listed property, empty values included.
void WriteInstance(CHardwareCollector* collector, PropertyList properties,
                   const WideString& objectText, CInvMap* map, std::int32_t index,
                   const WideString& section);

/// Writes the facts of every instance of a WMI class.
///
/// Takes what the provider delivers in one batch within a second. An instance whose text cannot be
/// read is passed over without using up an index, so that indexes stay dense.
/// @param maxInstances upper bound on the instances written, 1 to 1024
/// @param write        for a section whose facts need more than one property's text each
/// @return instances written; 0 also when WMI is out of reach, the caller's cue to read natively
std::int32_t CollectClass(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map,
                          ClassDescriptor descriptor, InstanceWriter write = WriteInstance);

/// Appends one property of every instance of a class to a list, in enumeration order: strings as
/// they stand, values of other types as GetPropertyFromText gives them. At most 100 instances,
/// those that arrive within a second; one whose value cannot be had either way is left out.
/// @return the number of values appended; 0 also when WMI is out of reach
std::int32_t GetClassPropertyValues(CHardwareCollector* collector, const wchar_t* className,
                                    const wchar_t* propertyName, std::vector<WideString>* values);

}  // namespace orrery
