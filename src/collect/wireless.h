#pragma once

#include <cstdint>
#include <string_view>

#include "wmi/hardware_collector.h"

namespace orrery {

/// The name of an 802.11 physical layer, such as "Wi-Fi 5 (802.11ac)"; "unknown" for other values.
/// Source of the values: DOT11_PHY_TYPE.
std::wstring_view PhyTypeName(std::int32_t type) noexcept;

/// How a connection is secured, such as "WPA2-Personal"; "Other" for what has no name here.
/// Source of the values: DOT11_AUTH_ALGORITHM and DOT11_CIPHER_ALGORITHM.
std::wstring_view SecurityName(std::int32_t authentication, std::int32_t cipher) noexcept;

/// Adds the current connection of every connected wireless interface to the detail record of the
/// adapter whose name is the interface's description. Creates no records. Without the WLAN service
/// or one of its entry points nothing changes.
void ReadWirelessDetails(CHardwareCollector* collector);

}  // namespace orrery
