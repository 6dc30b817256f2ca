#include "collect/network.h"

#include <algorithm>
#include <array>
#include <span>
#include <utility>

#include "collect/wireless.h"
#include "native/network_adapter.h"
#include "support/code_name.h"
#include "wmi/class_descriptors.h"

namespace orrery {
namespace {

constexpr auto kConnectionStatus = std::to_array<CodeName>({
    {0, L"Disconnected"},
    {1, L"Connecting"},
    {2, L"Connected"},
    {3, L"Disconnecting"},
    {4, L"Hardware Not Present"},
    {5, L"Hardware Disabled"},
    {6, L"Hardware Malfunction"},
    {7, L"Media Disconnected"},
    {8, L"Authenticating"},
    {9, L"Authentication Succeeded"},
    {10, L"Authentication Failed"},
    {11, L"Invalid Address"},
    {12, L"Credentials Required"},
});
static_assert(IsAscending(kConnectionStatus));

struct DetailField {
    std::wstring_view property;
    WideString AdapterDetail::*field;
};

constexpr auto kDetailFields = std::to_array<DetailField>({
    {L"PhysicalAdapter", &AdapterDetail::physicalAdapter},
    {L"Manufacturer", &AdapterDetail::manufacturer},
    {L"Speed", &AdapterDetail::speed},
    {L"NetConnectionStatus", &AdapterDetail::netConnectionStatus},
    {L"SSID", &AdapterDetail::ssid},
    {L"Protocol", &AdapterDetail::protocol},
    {L"SecurityType", &AdapterDetail::securityType},
    {L"NetworkBand", &AdapterDetail::networkBand},
    {L"NetworkChannel", &AdapterDetail::networkChannel},
});

struct NativeField {
    std::wstring_view property;
    WideString (CNetworkAdapter::*read)(std::size_t index) const;
};

constexpr auto kConfigurationFields = std::to_array<NativeField>({
    {L"IPAddress", &CNetworkAdapter::IPAddress},
    {L"IPSubnet", &CNetworkAdapter::IPSubnet},
    {L"DefaultIPGateway", &CNetworkAdapter::DefaultIPGateway},
    {L"WINSPrimaryServer", &CNetworkAdapter::WINSPrimaryServer},
    {L"DNSServer", &CNetworkAdapter::DNSServer},
    {L"DHCPServer", &CNetworkAdapter::DHCPServer},
    {L"IPV6Address", &CNetworkAdapter::IPV6Address},
    {L"DHCPEnabled", &CNetworkAdapter::DHCPEnabled},
    {L"DHCPLeaseObtained", &CNetworkAdapter::DHCPLeaseObtained},
    {L"DHCPLeaseExpires", &CNetworkAdapter::DHCPLeaseExpires},
});

constexpr auto kAdapterFields = std::to_array<NativeField>({
    {L"Name", &CNetworkAdapter::Name},
    {L"MACAddress", &CNetworkAdapter::MACAddress},
    {L"AdapterType", &CNetworkAdapter::AdapterType},
});

void ReadAdapterDetails(CHardwareCollector* collector)
{
    const auto services = OpenSession(kAdapterQuery);
    if (!services)
        return;
    auto rows = Query(services.get(), kAdapterQuery.text);
    while (const auto row = rows.Next()) {
        // an adapter without a hardware address gets no record; an empty address is one
        if (!HasProperty(row.get(), L"MACAddress"))
            continue;
        const auto name = ReadTextProperty(row.get(), L"Name");
        if (!name || name->empty())
            continue;
        AdapterDetail detail;
        detail.manufacturer = ReadTextProperty(row.get(), L"Manufacturer").value_or(WideString{});
        detail.physicalAdapter = ReadIntegerProperty(row.get(), L"PhysicalAdapter").value_or(0) != 0
                                     ? L"Physical"
                                     : L"Logical";
        detail.speed = ReadTextProperty(row.get(), L"Speed").value_or(WideString{});
        detail.netConnectionStatus = ConnectionStatusName(
            ReadIntegerProperty(row.get(), L"NetConnectionStatus").value_or(0));
        collector->adapterDetails[*name] = std::move(detail);
    }
}

void WriteDetails(CHardwareCollector* collector, const CNetworkAdapter& adapters,
                  std::int32_t index, CInvMap* map, const WideString& section)
{
    const WideString name = adapters.Name(static_cast<std::size_t>(index));
    for (const auto& [property, field] : kDetailFields)
        StoreValue(collector, property, AdapterDetailText(*collector, name, property), map, index,
                   section);
}

/// Writes the listed properties that have a field, for the first adapters.
void WriteProperties(CHardwareCollector* collector, ClassDescriptor descriptor,
                     std::span<const NativeField> fields, const CNetworkAdapter& adapters,
                     std::int32_t count, CInvMap* map)
{
    const WideString section = SectionOf(descriptor);
    for (PropertyList each = PropertiesOf(descriptor); *each != nullptr; ++each) {
        const std::wstring_view property = *each;
        const auto found =
            std::find_if(fields.begin(), fields.end(),
                         [&](const NativeField& field) { return field.property == property; });
        if (found == fields.end())
            continue;
        for (std::int32_t index = 0; index < count; ++index) {
            StoreValue(collector, property,
                       (adapters.*found->read)(static_cast<std::size_t>(index)), map, index,
                       section);
            if (property == L"Name")
                WriteDetails(collector, adapters, index, map, section);
        }
    }
}

}  // namespace

std::wstring_view ConnectionStatusName(std::int32_t status) noexcept
{
    return NameOf(kConnectionStatus, status, L"Other");
}

WideString AdapterDetailText(const CHardwareCollector& collector, const WideString& adapterName,
                             std::wstring_view property)
{
    const auto record = collector.adapterDetails.find(adapterName);
    if (record != collector.adapterDetails.end())
        for (const auto& each : kDetailFields)
            if (each.property == property)
                return record->second.*each.field;
    return {};
}

std::int32_t CollectNetwork(CHardwareCollector* collector, std::uint32_t maxInstances, CInvMap* map)
{
    if (collector->adapterDetails.empty())
        ReadAdapterDetails(collector);
    if (!collector->adapterDetails.empty())
        ReadWirelessDetails(collector);

    const CNetworkAdapter adapters{collector->adapterFlag};
    const auto count =
        static_cast<std::int32_t>(std::min<std::size_t>(adapters.Count(), maxInstances));
    WriteProperties(collector, descriptors::kNetworkAdapterConfiguration, kConfigurationFields,
                    adapters, count, map);
    WriteProperties(collector, descriptors::kNetworkAdapter, kAdapterFields, adapters, count, map);
    return count;
}

}  // namespace orrery
