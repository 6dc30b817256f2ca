#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "wmi/hardware_collector.h"
#include "wmi/wql_query.h"

namespace orrery {

constexpr WqlQuery kPhysicalDiskQuery{L"\\\\.\\ROOT\\microsoft\\windows\\storage",
                                      RefusedBlanket::kKeepsSession, L"MSFT_PhysicalDisk",
                                      L"SELECT SerialNumber, MediaType FROM MSFT_PhysicalDisk"};
constexpr WqlQuery kDriveQuery{L"ROOT\\CIMV2", RefusedBlanket::kKeepsSession, L"Win32_DiskDrive",
                               L"SELECT DeviceID, Caption, MediaType FROM Win32_DiskDrive"};
/// About a drive, by DrivePathInQuery; in the session of kDriveQuery.
constexpr WqlQuery kPartitionQuery{kDriveQuery.wmiNamespace, kDriveQuery.refused,
                                   L"Win32_DiskPartition",
                                   L"Associators of {Win32_DiskDrive.DeviceID='%'} where "
                                   L"AssocClass=Win32_DiskDriveToDiskPartition"};
/// About a partition, by its "DeviceID"; in the session of kDriveQuery.
constexpr WqlQuery kPartitionVolumeQuery{kDriveQuery.wmiNamespace, kDriveQuery.refused,
                                         L"Win32_LogicalDisk",
                                         L"Associators of {Win32_DiskPartition.DeviceID='%'} where "
                                         L"AssocClass=Win32_LogicalDiskToPartition"};

/// What a drive is called in kPartitionQuery: its "DeviceID" with the prefix of devices written
/// anew, whatever the first four characters are.
/// @return nothing for an id that is no path of a drive, about which nothing is asked
std::optional<std::wstring> DrivePathInQuery(std::wstring_view deviceId);

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
