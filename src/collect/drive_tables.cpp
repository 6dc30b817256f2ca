#include "collect/drive_tables.h"

#include <array>

#include "support/code_name.h"
#include "support/text.h"

namespace orrery {
namespace {

using TextTable = CHardwareCollector::TextTable;

// Source: the "MediaType" values of MSFT_PhysicalDisk.
constexpr auto kDiskTypes = std::to_array<CodeName>({
    {3, L"HDD"},
    {4, L"SSD"},
    {5, L"SCM"},
});
static_assert(IsAscending(kDiskTypes));

WideString Find(const TextTable& table, const WideString& key)
{
    const auto entry = table.find(key);
    return entry == table.end() ? WideString{} : entry->second;
}

void ScanStorageNamespace(TextTable* diskTypeBySerial)
{
    const auto services = OpenSession(kPhysicalDiskQuery);
    if (!services)
        return;
    QueryRows disks = Query(services.get(), kPhysicalDiskQuery.text);
    while (const auto disk = disks.Next()) {
        const auto text = ReadTextProperty(disk.get(), L"SerialNumber").value_or(WideString{});
        const WideString serial = TrimBlanks(text);
        const WideString type =
            NameOf(kDiskTypes, ReadIntegerProperty(disk.get(), L"MediaType").value_or(0), L"");
        if (!serial.empty() && !type.empty())
            diskTypeBySerial->insert_or_assign(serial, type);
    }
}

/// Enters the volumes of one partition.
/// @return false when the query failed
bool ScanPartition(IWbemServices* services, const WideString& partition, const WideString& caption,
                   TextTable* driveCaptionByVolume)
{
    QueryRows volumes = Query(services, TextAbout(kPartitionVolumeQuery.text, partition));
    while (const auto volume = volumes.Next())
        if (const auto id = ReadTextProperty(volume.get(), L"DeviceID"))
            driveCaptionByVolume->insert_or_assign(*id, caption);
    return volumes.succeeded();
}

/// Enters the volumes on all partitions of one drive.
/// @param deviceId the drive's path
/// @return false when a query failed
bool ScanDrive(IWbemServices* services, const WideString& deviceId, const WideString& caption,
               TextTable* driveCaptionByVolume)
{
    const auto path = DrivePathInQuery(deviceId);
    if (!path)
        return true;
    QueryRows partitions = Query(services, TextAbout(kPartitionQuery.text, *path));
    while (const auto partition = partitions.Next()) {
        const auto id = ReadTextProperty(partition.get(), L"DeviceID");
        if (id && !ScanPartition(services, *id, caption, driveCaptionByVolume))
            return false;
    }
    return partitions.succeeded();
}

void ScanPartitionAssociations(TextTable* driveCaptionByVolume, TextTable* mediaTypeByCaption)
{
    const auto services = OpenSession(kDriveQuery);
    if (!services)
        return;
    QueryRows drives = Query(services.get(), kDriveQuery.text);
    while (const auto drive = drives.Next()) {
        const auto deviceId = ReadTextProperty(drive.get(), L"DeviceID");
        const auto caption = ReadTextProperty(drive.get(), L"Caption");
        const auto mediaType = ReadTextProperty(drive.get(), L"MediaType");
        if (caption && mediaType)
            mediaTypeByCaption->insert_or_assign(*caption, *mediaType);
        if (!ScanDrive(services.get(), deviceId.value_or(WideString{}),
                       caption.value_or(WideString{}), driveCaptionByVolume))
            return;  // a failed query ends the scan; what it has found so far stays
    }
}

}  // namespace

std::optional<std::wstring> DrivePathInQuery(std::wstring_view deviceId)
{
    constexpr std::wstring_view kDevicePrefix = L"\\\\.\\";
    if (deviceId.size() < kDevicePrefix.size())
        return std::nullopt;
    return std::wstring{kDevicePrefix}.append(deviceId.substr(kDevicePrefix.size()));
}

void PrepareDriveTables(CHardwareCollector* collector)
{
    if (collector->diskTypeBySerial.empty())
        ScanStorageNamespace(&collector->diskTypeBySerial);
    if (collector->driveCaptionByVolume.empty())
        ScanPartitionAssociations(&collector->driveCaptionByVolume, &collector->mediaTypeByCaption);
}

WideString FindDiskType(const CHardwareCollector* collector, const WideString& serial)
{
    return Find(collector->diskTypeBySerial, serial);
}

WideString FindMediaType(const CHardwareCollector* collector, const WideString& caption)
{
    return Find(collector->mediaTypeByCaption, caption);
}

}  // namespace orrery
