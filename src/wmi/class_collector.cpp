#include "wmi/class_collector.h"

#include "wmi/property_text.h"
#include "wmi/session.h"

namespace orrery {
namespace {

/// The value as text, without conversion when it is a string already.
std::optional<WideString> PropertyValue(CHardwareCollector* collector, IWbemClassObject* object,
                                        const wchar_t* propertyName)
{
    if (auto text = ReadTextProperty(object, propertyName))
        return text;
    const auto objectText = ObjectText(object);
    if (!objectText)
        return std::nullopt;
    return GetPropertyFromText(collector, propertyName, *objectText);
}

}  // namespace

std::int32_t CollectClass(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map,
                          ClassDescriptor descriptor, InstanceWriter write)
{
    collector->ConnectWmi();
    if (!collector->services)
        return 0;

    const WideString section = SectionOf(descriptor);
    std::int32_t index = 0;
    for (const auto& object :
         FirstBatch(collector->services.get(), ClassOf(descriptor), maxInstances)) {
        const auto text = ObjectText(object.get());
        if (!text)
            continue;  // an unreadable instance takes no index, so the indexes stay dense
        write(collector, PropertiesOf(descriptor), *text, map, index++, section);
    }
    return index;
}

void WriteInstance(CHardwareCollector* collector, PropertyList properties,
                   const WideString& objectText, CInvMap* map, std::int32_t index,
                   const WideString& section)
{
    for (; *properties != nullptr; ++properties)
        StoreValue(collector, *properties, GetPropertyFromText(collector, *properties, objectText),
                   map, index, section);
}

std::int32_t GetClassPropertyValues(CHardwareCollector* collector, const wchar_t* className,
                                    const wchar_t* propertyName, std::vector<WideString>* values)
{
    constexpr std::uint32_t kMaxInstances = 100;
    collector->ConnectWmi();
    if (!collector->services)
        return 0;

    std::int32_t count = 0;
    for (const auto& object : FirstBatch(collector->services.get(), className, kMaxInstances)) {
        auto value = PropertyValue(collector, object.get(), propertyName);
        if (!value)
            continue;
        values->push_back(std::move(*value));
        ++count;
    }
    return count;
}

}  // namespace orrery
