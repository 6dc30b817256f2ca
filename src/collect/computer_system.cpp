#include "collect/computer_system.h"

#include <string_view>

#include "native/computer_system.h"
#include "wmi/class_descriptors.h"

namespace orrery {

void CollectComputerSystem(CHardwareCollector* collector, CInvMap* map)
{
    const CComputerSystem native;
    const auto descriptor = descriptors::kComputerSystem;
    for (auto property = PropertiesOf(descriptor); *property != nullptr; ++property)
        if (std::wstring_view{*property} == L"Name")
            StoreValue(collector, *property, GetPhysicalHostName(), map, 0, SectionOf(descriptor));
}

}  // namespace orrery
