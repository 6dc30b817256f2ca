#include "collect/logical_disks.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

#include "collect/bitlocker.h"
#include "native/local_drive.h"
#include "wmi/class_descriptors.h"

namespace orrery {
namespace {

struct VolumeFact {
    std::wstring_view property;
    WideString (*read)(const CLocalDrive& drives, std::size_t index);
};

using Drives = const CLocalDrive&;
constexpr auto kVolumeFacts = std::to_array<VolumeFact>({
    {L"DeviceID", [](Drives drives, std::size_t index) { return drives.DeviceId(index); }},
    {L"Size", [](Drives drives, std::size_t index) { return drives.Size(index); }},
    {L"FreeSpace", [](Drives drives, std::size_t index) { return drives.FreeSpace(index); }},
    {L"FileSystem", [](Drives drives, std::size_t index) { return drives.FileSystem(index); }},
    {L"Description", [](Drives drives, std::size_t index) { return drives.Label(index); }},
    {L"VolumeSerialNumber",
     [](Drives drives, std::size_t index) { return drives.SerialNumber(index); }},
    {L"BitLockerStatus",
     [](Drives drives, std::size_t index) {
         return WideString{BitLockerStatusText(ReadBitLockerState(drives.DeviceId(index)))};
     }},
});

/// The index of the first drive with each caption.
std::map<WideString, std::int32_t> DrivesByCaption(CInvMap* map, const WideString& section)
{
    constexpr std::int32_t kMaxDrives = 100;
    std::map<WideString, std::int32_t> drives;
    for (std::int32_t index = 0; index < kMaxDrives; ++index) {
        CHardwareObject* found = nullptr;
        if (map->Lookup(FactKey(section, L"Caption", index).c_str(), &found) == 0)
            break;  // the indexes are dense
        drives.emplace(found->value, index);
    }
    return drives;
}

}  // namespace

std::int32_t CollectLogicalDisks(CHardwareCollector* collector, std::uint32_t maxDisks,
                                 CInvMap* map)
{
    CLocalDrive drives;
    const std::size_t count = std::min<std::size_t>(drives.Enumerate(false), maxDisks);
    const WideString section = SectionOf(descriptors::kLogicalDisk);
    for (const auto& fact : kVolumeFacts)
        for (std::size_t index = 0; index < count; ++index)
            StoreValue(collector, fact.property, fact.read(drives, index), map,
                       static_cast<std::int32_t>(index), section);
    WriteVolumeLists(collector, map);
    return static_cast<std::int32_t>(count);
}

void WriteVolumeLists(CHardwareCollector* collector, CInvMap* map)
{
    CHardwareCollector::TextTable volumesByCaption;
    for (const auto& [volume, caption] : collector->driveCaptionByVolume)
        (volumesByCaption[caption] += volume) += L"|";

    const WideString section = SectionOf(descriptors::kDiskDrive);
    const auto drives = DrivesByCaption(map, section);
    for (const auto& [caption, volumes] : volumesByCaption)
        if (const auto drive = drives.find(caption); drive != drives.end())
            StoreValue(collector, L"LogicalDisks", volumes, map, drive->second, section);
}

}  // namespace orrery
