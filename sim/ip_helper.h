#pragma once

#include <winsock2.h>
#include <iphlpapi.h>
#include <ws2tcpip.h>

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "sim/detour.h"

namespace orrery::sim {

/// An adapter as GetAdaptersInfo tells of it, with index 0 and no addresses.
IP_ADAPTER_INFO MakeAdapter(const char* description, std::array<std::uint8_t, 6> address,
                            UINT type = IF_TYPE_ETHERNET_CSMACD);

/// The IP Helper library of a simulated machine. One at a time; its answers may be changed while it
/// lives.
class IpHelper {
public:
    struct IPv6Adapter {
        const wchar_t* description = nullptr;
        /// In text form; an empty one is of no known family.
        std::vector<std::wstring> addresses{};
    };

    explicit IpHelper(std::vector<IP_ADAPTER_INFO> listed);
    ~IpHelper();

    std::vector<IP_ADAPTER_INFO> adapters;
    DWORD adaptersResult = ERROR_SUCCESS;     ///< of the call that brings a buffer
    std::map<DWORD, const char*> dnsServers;  ///< by adapter index; null lets the call fail
    std::vector<IPv6Adapter> ipv6Adapters;
    int growths = 1;       ///< calls of GetAdaptersAddresses that find the buffer too small
    int addressCalls = 0;  ///< calls of GetAdaptersAddresses so far
    std::vector<ULONG> addressArguments;  ///< family and flags of the last of these calls

    struct Unicast {
        IP_ADAPTER_UNICAST_ADDRESS entry{};
        sockaddr_in6 address{};
    };
    std::vector<std::vector<Unicast>> unicasts;  ///< what the last answer points to

private:
    Detour adaptersInfo_, perAdapterInfo_, adaptersAddresses_;
};

}  // namespace orrery::sim
