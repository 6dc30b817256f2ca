#pragma once

#include <winsock2.h>
#include <iphlpapi.h>

#include <cstdint>
#include <ctime>
#include <span>

#include "store/wide_string.h"

namespace orrery {

/// One network adapter, as IP Helper describes it. A fact that is not known is empty.
class CNICCard {
public:
    CNICCard() noexcept = default;
    CNICCard(const CNICCard&) noexcept = default;
    CNICCard& operator=(const CNICCard&) noexcept = default;
    virtual ~CNICCard() = default;

    WideString name;               ///< the adapter's description
    WideString macAddress;         ///< such as "00-1B-21-0A-0B-0C"
    WideString ipAddress;          ///< first IPv4 address; empty instead of "0.0.0.0"
    WideString ipSubnet;           ///< mask of that address; empty instead of "0.0.0.0"
    WideString dhcpServer;         ///< as it reads, "0.0.0.0" included
    WideString winsPrimaryServer;  ///< as it reads, "0.0.0.0" included
    WideString defaultIPGateway;   ///< first gateway; empty instead of "0.0.0.0"
    WideString adapterType;        ///< "Ethernet" or "Wireless"
    WideString dnsServer;          ///< first DNS server
    WideString dhcpEnabled;        ///< "true" or "false"
    WideString dhcpLeaseObtained;  ///< a UTC date, with DHCP only
    WideString dhcpLeaseExpires;   ///< a UTC date, with DHCP only
    WideString ipv6Address;        ///< unicast addresses, comma-separated
};

/// Whether an adapter belongs in the report. Left out are token ring, FDDI, PPP, loopback, SLIP and
/// what lies between them, and the virtual adapters that are known by their hardware address.
/// @param type    IP Helper's interface type, an IF_TYPE_ number
/// @param address the first six bytes of the hardware address
bool IsReportedAdapter(std::uint32_t type, std::span<const std::uint8_t, 6> address) noexcept;

/// Turns a date into text.
using DateFormatter = WideString (*)(const SYSTEMTIME& time);

struct LeaseDates {
    WideString obtained;
    WideString expires;
};

/// The dates of a DHCP lease, from seconds since 1970 of which the low 32 bits count.
/// @param format formats a date; the present time takes the place of a date that it throws for
/// @return both empty when the first is no valid time; the second empty when only it is not
LeaseDates FormatLease(std::time_t obtained, std::time_t expires, DateFormatter format);

/// Describes an adapter, whose texts need not be terminated within their fields. The IPv6 addresses
/// stay empty.
CNICCard CardOf(const IP_ADAPTER_INFO& adapter, WideString dnsServer);

/// The address at the head of a list of IPv4 addresses, as it reads.
WideString FirstAddress(const IP_ADDR_STRING& list);

}  // namespace orrery
