#include "collect/drives.h"

#include <algorithm>

#include "collect/drive_tables.h"
#include "native/drive_trim.h"
#include "native/physical_drive.h"
#include "support/text.h"
#include "wmi/property_text.h"

namespace orrery {
namespace {

/// Where the facts of one drive go.
struct DriveFacts {
    CHardwareCollector* collector;
    CInvMap* map;
    std::int32_t index;
    const WideString& section;

    void Store(const wchar_t* property, const WideString& value) const
    {
        StoreValue(collector, property, value, map, index, section);
    }
    void StoreIfKnown(const wchar_t* property, const WideString& value) const
    {
        if (!value.empty())
            Store(property, value);
    }
};

WideString DiskTypeOf(const CHardwareCollector* collector, const WideString& serial,
                      const std::wstring& devicePath)
{
    const WideString type = FindDiskType(collector, WideString{TrimBlanks(serial)});
    return type.empty() ? ReadDiskType(devicePath.c_str()) : type;
}

}  // namespace

std::wstring UnescapedPath(std::wstring_view escaped)
{
    constexpr std::wstring_view kPair = L"\\\\";
    std::wstring path;
    while (!escaped.empty()) {
        path += escaped.front();
        escaped.remove_prefix(escaped.starts_with(kPair) ? 2 : 1);
    }
    return path;
}

void WriteDiskDrive(CHardwareCollector* collector, PropertyList properties,
                    const WideString& objectText, CInvMap* map, std::int32_t index,
                    const WideString& section)
{
    const DriveFacts facts{collector, map, index, section};
    std::wstring devicePath;  // "DeviceID" comes before "SerialNumber" in the descriptor
    for (; *properties != nullptr; ++properties) {
        const std::wstring_view property = *properties;
        const WideString value = GetPropertyFromText(collector, property, objectText);
        if (property == L"DeviceID") {
            devicePath = UnescapedPath(value);
        } else if (property == L"Caption") {
            facts.Store(L"Caption", value);
            facts.StoreIfKnown(L"MediaType", FindMediaType(collector, value));
        } else if (property == L"Size") {
            facts.Store(L"Size", value);
        } else if (property == L"SerialNumber") {
            facts.StoreIfKnown(L"DiskType", DiskTypeOf(collector, value, devicePath));
        }
    }
}

std::int32_t CollectNativeDrives(CHardwareCollector* collector, std::uint32_t maxDrives,
                                 CInvMap* map)
{
    const CPhysicalDrive drives;
    const WideString section = SectionOf(descriptors::kDiskDrive);
    const std::size_t count = std::min<std::size_t>(drives.Count(), maxDrives);
    for (std::size_t at = 0; at < count; ++at) {
        const DriveFacts facts{collector, map, static_cast<std::int32_t>(at), section};
        const WideString model = drives.Model(at);
        facts.Store(L"Caption", model);
        // By the model on purpose, as the report has always had it, although the table is of
        // serials.
        facts.StoreIfKnown(L"DiskType", FindDiskType(collector, model));
        facts.StoreIfKnown(L"MediaType", FindMediaType(collector, model));
        facts.Store(L"Size", drives.SizeInMebibytes(at));
    }
    return static_cast<std::int32_t>(count);
}

}  // namespace orrery
