#pragma once

#include <string_view>

#include "wmi/hardware_collector.h"

namespace orrery {

/// Fills the collector's drive tables, those that are still empty: the disk types from
/// MSFT_PhysicalDisk in the storage namespace, the captions and media types from Win32_DiskDrive
/// and its associations with partitions and logical disks. What cannot be asked stays empty.
void PrepareDriveTables(CHardwareCollector* collector);

/// "HDD", "SSD" or "SCM" of the drive with exactly this serial number.
/// @return empty when it is not known
WideString FindDiskType(const CHardwareCollector* collector, const WideString& serial);

/// The media type, in WMI's words, of the drive with exactly this caption; of several the last.
/// @return empty when it is not known
WideString FindMediaType(const CHardwareCollector* collector, const WideString& caption);

}  // namespace orrery
