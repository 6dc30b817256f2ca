#pragma once

#include "store/inv_map.h"
#include "wmi/class_descriptors.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// Writes the one instance of "OperatingSystem" from Windows itself: "Caption", "Version",
/// "TimeZone", "LoggedOnUser", "Is64x" and "Windows10Version", empty where a fact is missing.
void CollectOperatingSystem(CHardwareCollector* collector, CInvMap* map);

/// The account that the calling thread runs as.
/// @return empty when the system does not tell
WideString CurrentUserName();

/// The InstanceWriter of "OperatingSystem". Writes "LastBootUpTime" as a local time with offset, the
/// present time when the value is no date, and "Caption", in place of the caption of instance 0 when
/// that is there. Other properties are left out.
/// Stands for a class collection of the section; no category does one.
void WriteOperatingSystemInstance(CHardwareCollector* collector, PropertyList properties,
                                  const WideString& objectText, CInvMap* map, std::int32_t index,
                                  const WideString& section);

}  // namespace orrery
