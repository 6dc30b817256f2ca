#pragma once

#include <windows.h>
#include <wlanapi.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orrery {

/// The entry points of the WLAN service; null where this system lacks its library or the name.
struct WlanFunctions {
    decltype(&WlanOpenHandle) openHandle = nullptr;
    decltype(&WlanEnumInterfaces) enumInterfaces = nullptr;
    decltype(&WlanQueryInterface) queryInterface = nullptr;
    decltype(&WlanGetNetworkBssList) getNetworkBssList = nullptr;
    decltype(&WlanFreeMemory) freeMemory = nullptr;

    /// Whether all five are there.
    bool areComplete() const noexcept
    {
        return openHandle != nullptr && enumInterfaces != nullptr && queryInterface != nullptr &&
               getNetworkBssList != nullptr && freeMemory != nullptr;
    }
};

constexpr const wchar_t* kWlanLibrary = L"wlanapi.dll";

/// Finds the entry points.
/// @param library kWlanLibrary, loaded; null is allowed
WlanFunctions FindWlanFunctions(HMODULE library) noexcept;

/// A network that an interface sees.
struct WirelessNetwork {
    std::string ssid;                   ///< as WirelessConnection::ssid
    std::uint32_t centerFrequency = 0;  ///< kHz
};

/// The network that an interface uses. Its numbers may be none of those that the SDK names.
struct WirelessConnection {
    /// The bytes of its name up to the first zero; the length that the service tells is left aside
    /// on purpose. A name that fills its field goes on into the bytes that follow in the answer, at
    /// most to the answer's end.
    std::string ssid;
    std::int32_t phyType = 0;         ///< DOT11_PHY_TYPE
    std::int32_t authentication = 0;  ///< DOT11_AUTH_ALGORITHM
    std::int32_t cipher = 0;          ///< DOT11_CIPHER_ALGORITHM
    std::optional<std::uint32_t> channel;
    std::vector<WirelessNetwork> networks;  ///< all that are in reach, in the service's order
};

/// A wireless interface as the service lists it.
struct WirelessInterface {
    std::wstring description;
    std::int32_t state = 0;  ///< WLAN_INTERFACE_STATE
    /// What asking for the connection ended with; ERROR_INVALID_DATA for an answer that is too small
    /// to be one. Only connected interfaces are asked.
    DWORD result = ERROR_SUCCESS;
    /// Nothing too where the interface has left its network by the time it is asked.
    std::optional<WirelessConnection> connection;
};

/// Asks the WLAN service for its interfaces and what each is connected to. The client that this opens
/// stays open.
///
/// Nothing is read past the end that an answer has by its own account. The service's blocks are
/// freed here: one that is replaced by the next of its kind at once, the last ones after the walk.
/// @param wlan  complete
/// @param visit is told of each interface, before the next one is asked
/// @return what opening the service, or listing its interfaces, ended with
DWORD ForEachWirelessInterface(const WlanFunctions& wlan,
                               const std::function<void(const WirelessInterface& found)>& visit);

}  // namespace orrery
