#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "store/inv_map.h"
#include "wmi/class_descriptors.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// A path as an instance's text shows it, with each pair of backslashes made one again.
std::wstring UnescapedPath(std::wstring_view escaped);

/// Writes the "DiskDrive" facts of one Win32_DiskDrive, as an InstanceWriter: "Caption" and "Size"
/// always, "MediaType" and "DiskType" when they are known. Wants the drive tables prepared.
void WriteDiskDrive(CHardwareCollector* collector, PropertyList properties,
                    const WideString& objectText, CInvMap* map, std::int32_t index,
                    const WideString& section);

/// Writes the "DiskDrive" facts of the drives that identify themselves, for machines whose WMI
/// lists none.
/// @return the number of drives written, at most maxDrives
std::int32_t CollectNativeDrives(CHardwareCollector* collector, std::uint32_t maxDrives,
                                 CInvMap* map);

}  // namespace orrery
