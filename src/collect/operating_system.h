#pragma once

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"
#include "wmi/section_writer.h"

namespace orrery {

/// Writes the one instance of "OperatingSystem" from native probes: "Caption", "Version",
/// "TimeZone", "LoggedOnUser", "Is64x" and "Windows10Version", empty where a fact is missing.
void CollectOperatingSystem(CHardwareCollector* collector, CInvMap* map);

/// The account that the calling thread runs as.
/// @return empty when the system does not tell
WideString CurrentUserName();

/// The writer of "OperatingSystem" for a class collection, an InstanceWriter. Writes
/// "LastBootUpTime" as a local time with offset, the present time when the value is no date, and
/// "Caption", in place of the caption of instance 0 when that is there. Other properties are left
/// out.
void WriteOperatingSystemInstance(CHardwareCollector* collector, PropertyList properties,
                                  const WideString& objectText, CInvMap* map, std::int32_t index,
                                  const WideString& section);

}  // namespace orrery
