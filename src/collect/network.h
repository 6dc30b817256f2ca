#pragma once

#include <cstdint>
#include <string_view>

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"
#include "wmi/wql_query.h"

namespace orrery {

constexpr WqlQuery kAdapterQuery{L"ROOT\\CIMV2", RefusedBlanket::kEndsSession,
                                 L"Win32_NetworkAdapter",
                                 L"SELECT MACAddress, Name, Manufacturer, PhysicalAdapter, Speed, "
                                 L"NetConnectionStatus FROM Win32_NetworkAdapter"};

/// Writes the section "NetworkAdapter": an instance for each adapter that IP Helper lists, in its
/// order. WMI and the WLAN service only add to these, matched by the adapter's exact name; without
/// them their keys are written empty.
/// @param maxInstances upper bound on the instances written
/// @return instances written
std::int32_t CollectNetwork(CHardwareCollector* collector, std::uint32_t maxInstances,
                            CInvMap* map);

/// Looks up what WMI and the WLAN service know of an adapter.
/// @param property as the report spells it, such as "Manufacturer" or "SSID"
/// @return empty when the adapter has no record or the record no such property
WideString AdapterDetailText(const CHardwareCollector& collector, const WideString& adapterName,
                             std::wstring_view property);

/// The name of a connection status, such as "Connected"; "Other" for a value without a name.
/// Source of the values: Win32_NetworkAdapter.NetConnectionStatus.
std::wstring_view ConnectionStatusName(std::int32_t status) noexcept;

}  // namespace orrery
