#include "collect/devices.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "native/user_context.h"
#include "wmi/class_collector.h"

namespace orrery {
namespace {

struct VideoFacts {
    WideString name;
    WideString memory;
    WideString dacType;
};

/// The facts of every adapter up to a maximum; one without facts where the machine has none.
std::vector<VideoFacts> ReadVideoAdapters(const CDevices* devices, std::uint32_t maxInstances)
{
    std::vector<VideoFacts> adapters;
    std::int32_t count = 1;
    for (std::int32_t i = 0; i < count && static_cast<std::uint32_t>(i) < maxInstances; ++i) {
        auto& adapter = adapters.emplace_back();
        if (devices != nullptr)
            count = devices->GetVideoAdapter(i, &adapter.name, &adapter.memory, &adapter.dacType);
    }
    return adapters;
}

WideString VideoValue(const VideoFacts& adapter, std::wstring_view property)
{
    if (property == L"Name")
        return adapter.name;
    return property == L"AdapterRAM" ? adapter.memory : adapter.dacType;
}

/// Writes the devices of the native list when WMI has no controllers.
void WriteNativeUsbDevices(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map)
{
    constexpr std::wstring_view kClass = L"USB";
    if (!collector->devices)
        return;
    const auto count = std::min<std::size_t>(collector->devices->Count(kClass), maxInstances);
    for (std::size_t i = 0; i < count; ++i)
        StoreValue(collector, L"Name", collector->devices->Find(i, kClass)->friendlyName.view(),
                   map, static_cast<std::int32_t>(i), SectionOf(descriptors::kUsbController));
}

}  // namespace

void CollectProcessor(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map)
{
    CollectClass(collector, maxInstances, map, descriptors::kProcessor);
}

void CollectUsb(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map)
{
    if (CollectClass(collector, maxInstances, map, descriptors::kUsbController) == 0)
        WriteNativeUsbDevices(collector, maxInstances, map);
}

void CollectVideo(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map)
{
    CUserContext user;
    user.BeginImpersonation();
    const auto adapters = ReadVideoAdapters(collector->devices.get(), maxInstances);
    const auto descriptor = descriptors::kVideoController;
    for (auto property = PropertiesOf(descriptor); *property != nullptr; ++property)
        for (std::size_t i = 0; i < adapters.size(); ++i)
            StoreValue(collector, *property, VideoValue(adapters[i], *property), map,
                       static_cast<std::int32_t>(i), SectionOf(descriptor));
}

}  // namespace orrery
