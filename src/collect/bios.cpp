#include "collect/bios.h"

#include <algorithm>
#include <array>
#include <cwchar>
#include <string_view>
#include <vector>

#include "support/text.h"
#include "wmi/class_collector.h"
#include "wmi/property_text.h"

namespace orrery {
namespace {

enum class Instance { kPrimary, kFirst };

/// Where a fact of section "BIOS" comes from.
struct BiosFact {
    std::wstring_view property;
    const ClassDescriptor* from;  ///< names the class
    const wchar_t* wmiProperty;
    Instance instance;
    WideString (*convert)(std::wstring_view value);  ///< null: the value as it stands
    WideString (CComputerBios::*fallback)();
};

// The serial number is the first instance's on purpose, even where another one is primary.
constexpr auto kFacts = std::to_array<BiosFact>({
    {L"Manufacturer", &descriptors::kBios, L"Manufacturer", Instance::kPrimary, nullptr,
     &CComputerBios::BiosManufacturer},
    {L"InstallDate", &descriptors::kBios, L"ReleaseDate", Instance::kPrimary, FormatReleaseDate,
     &CComputerBios::ReleaseDate},
    {L"Version", &descriptors::kBios, L"SMBIOSBIOSVersion", Instance::kPrimary, nullptr,
     &CComputerBios::BiosVersion},
    {L"AssetTag", &descriptors::kSystemEnclosure, L"SMBIOSAssetTag", Instance::kFirst, nullptr,
     &CComputerBios::AssetTag},
    {L"SystemMan", &descriptors::kComputerSystem, L"Manufacturer", Instance::kFirst, nullptr,
     &CComputerBios::SystemManufacturer},
    {L"SystemMod", &descriptors::kComputerSystem, L"Model", Instance::kFirst, nullptr,
     &CComputerBios::SystemModel},
    {L"SerialNumber", &descriptors::kBios, L"SerialNumber", Instance::kFirst, nullptr,
     &CComputerBios::SerialNumber},
});

std::size_t PrimaryInstance(CHardwareCollector* collector)
{
    std::vector<WideString> values;
    GetClassPropertyValues(collector, ClassOf(descriptors::kBios).c_str(), L"PrimaryBIOS", &values);
    const auto primary = std::find_if(values.begin(), values.end(), [](const WideString& value) {
        return EqualsIgnoringCase(value, L"true");
    });
    return primary == values.end() ? 0 : static_cast<std::size_t>(primary - values.begin());
}

WideString WmiValue(CHardwareCollector* collector, const BiosFact& fact, std::size_t primary)
{
    std::vector<WideString> values;
    GetClassPropertyValues(collector, ClassOf(*fact.from).c_str(), fact.wmiProperty, &values);
    const std::size_t at = fact.instance == Instance::kPrimary ? primary : 0;
    if (at >= values.size() || values[at].empty())
        return {};
    return fact.convert != nullptr ? fact.convert(values[at]) : values[at];
}

/// One fact of the i-th memory device of the firmware record, as the report shows it.
WideString ModuleValue(CHardwareCollector* collector, const CComputerBios& firmware,
                       std::wstring_view property, std::int32_t i)
{
    if (property == L"Capacity")
        return firmware.Capacity(i);
    if (property == L"DeviceLocator")
        return firmware.DeviceLocator(i);
    if (property == L"Speed")
        return firmware.Speed(i);
    // The record holds the type as a line of object text, to be named like a WMI module's.
    return GetPropertyFromText(collector, property, firmware.MemoryType(i));
}

}  // namespace

WideString FormatReleaseDate(std::wstring_view cimDateTime)
{
    const auto number = [cimDateTime](std::size_t from, std::size_t count) {
        return from < cimDateTime.size() ? ParseInt32(cimDateTime.substr(from, count)) : 0;
    };
    const int year = std::max(number(0, 4), 1970);
    std::array<wchar_t, 40> text{};
    std::swprintf(text.data(), text.size(), L"%02u/%02u/%02u", static_cast<unsigned>(number(4, 2)),
                  static_cast<unsigned>(number(6, 2)), static_cast<unsigned>(year % 100));
    return text.data();
}

void WriteBiosFacts(CHardwareCollector* collector, CInvMap* map, CComputerBios* firmware)
{
    const std::size_t primary = PrimaryInstance(collector);
    const WideString section = SectionOf(descriptors::kBios);
    for (const auto& fact : kFacts) {
        WideString value = WmiValue(collector, fact, primary);
        if (value.empty())
            value = (firmware->*fact.fallback)();
        StoreValue(collector, fact.property, value, map, 0, section);
    }
}

void WriteMemoryModules(CHardwareCollector* collector, CInvMap* map, const CComputerBios& firmware)
{
    constexpr std::uint32_t kMaxModules = 100;
    const auto descriptor = descriptors::kPhysicalMemoryLocation;
    if (firmware.DeviceCount() == 0) {
        CollectClass(collector, kMaxModules, map, descriptor);
        return;
    }
    for (auto property = PropertiesOf(descriptor); *property != nullptr; ++property)
        for (std::int32_t i = 0; i < firmware.DeviceCount(); ++i)
            StoreValue(collector, *property, ModuleValue(collector, firmware, *property, i), map, i,
                       SectionOf(descriptor));
}

void CollectBios(CHardwareCollector* collector, CInvMap* map)
{
    CComputerBios firmware;
    WriteBiosFacts(collector, map, &firmware);
    WriteMemoryModules(collector, map, firmware);
}

}  // namespace orrery
