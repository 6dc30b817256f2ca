#pragma once

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// The "CompSys" category: writes the host name as (ComputerSystem, 0, Name). The section is
/// limited to the name on purpose.
void CollectComputerSystem(CHardwareCollector* collector, CInvMap* map);

}  // namespace orrery
