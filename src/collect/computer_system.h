#pragma once

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// The "CompSys" category: writes the host name as (ComputerSystem, 0, Name). The section is
/// limited to the name on purpose.
void CollectComputerSystem(CHardwareCollector* collector, CInvMap* map);

/// The "Enclosure" category: writes the form factor of the first Win32_SystemEnclosure instance as
/// (SystemEnclosure, 0, ChassisTypes); nothing without an instance.
void CollectEnclosure(CHardwareCollector* collector, CInvMap* map);

}  // namespace orrery
