#pragma once

#include <cstdint>

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// Writes the "LogicalDisk" facts of every local drive letter from C to Z, then the lists of
/// volumes of the physical drives, see WriteVolumeLists.
/// @return the number of drive letters written, at most maxDisks
std::int32_t CollectLogicalDisks(CHardwareCollector* collector, std::uint32_t maxDisks,
                                 CInvMap* map);

/// Writes "LogicalDisks" of the "DiskDrive" section, such as "C:|D:|", for the drives in the map
/// whose captions the collector's table of volumes names. Of drives with one caption, the first
/// gets the volumes of all.
void WriteVolumeLists(CHardwareCollector* collector, CInvMap* map);

}  // namespace orrery
