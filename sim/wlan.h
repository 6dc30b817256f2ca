#pragma once

#include <windows.h>
#include <wlanapi.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/detour.h"

namespace orrery::sim {

/// A connection that uses this network.
WLAN_CONNECTION_ATTRIBUTES MakeConnection(
    const char* ssid, DOT11_AUTH_ALGORITHM authentication = DOT11_AUTH_ALGO_RSNA_PSK,
    int phyType = 8);

/// The WLAN service of a simulated machine, for whoever has found the functions of wlanapi.dll. One
/// at a time; its answers may be changed while it lives. A block that is freed twice, or read past
/// its end, ends the process.
class Wlan {
public:
    struct Network {
        const char* ssid;
        ULONG centerFrequency;
        ULONG phyId = 0;  ///< the bytes that follow the SSID
    };

    struct Interface {
        const wchar_t* description;
        WLAN_INTERFACE_STATE state = wlan_interface_state_connected;
        std::optional<WLAN_CONNECTION_ATTRIBUTES> connection{};  ///< nothing: asking for it fails
        std::optional<ULONG> channel{};
        std::optional<std::vector<Network>> networks{};
    };

    explicit Wlan(std::vector<Interface> listed = {});
    ~Wlan();

    std::vector<Interface> interfaces;
    DWORD openResult = ERROR_SUCCESS;
    DWORD listResult = ERROR_SUCCESS;
    DWORD noConnection = ERROR_INVALID_STATE;  ///< result of asking for one that there is not
    DWORD connectionSize = sizeof(WLAN_CONNECTION_ATTRIBUTES);  ///< of the block too, if told
    bool tellsSizes = true;
    DWORD hiddenNetworks = 0;  ///< counted in a list that is too small to hold them
    int calls = 0;             ///< all but those that free
    std::int32_t networksAsked = 0;
    std::map<void*, std::string> blocks;  ///< allocated and not freed
    std::vector<std::string> freed;

private:
    Detour open_, enum_, query_, networks_, free_;
};

}  // namespace orrery::sim
