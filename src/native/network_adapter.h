#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "native/nic_card.h"
#include "support/unique.h"

namespace orrery {

/// The network adapters of the machine, read from IP Helper when the object is built. A failure
/// costs the facts that were still to come; without the library the list is empty.
class CNetworkAdapter {
public:
    /// @param adapterFlag a setting of the collector, not used
    explicit CNetworkAdapter(std::uint8_t adapterFlag);
    CNetworkAdapter(const CNetworkAdapter&) = delete;
    CNetworkAdapter& operator=(const CNetworkAdapter&) = delete;
    virtual ~CNetworkAdapter();

    std::size_t Count() const noexcept { return cards_.size(); }

    // The fields of an adapter; the index, from 0, is below Count().
    WideString Name(std::size_t index) const { return Text(index, &CNICCard::name); }
    WideString MACAddress(std::size_t index) const { return Text(index, &CNICCard::macAddress); }
    WideString IPAddress(std::size_t index) const { return Text(index, &CNICCard::ipAddress); }
    WideString IPSubnet(std::size_t index) const { return Text(index, &CNICCard::ipSubnet); }
    WideString DHCPServer(std::size_t index) const { return Text(index, &CNICCard::dhcpServer); }
    WideString WINSPrimaryServer(std::size_t index) const
    {
        return Text(index, &CNICCard::winsPrimaryServer);
    }
    WideString DefaultIPGateway(std::size_t index) const
    {
        return Text(index, &CNICCard::defaultIPGateway);
    }
    WideString AdapterType(std::size_t index) const { return Text(index, &CNICCard::adapterType); }
    WideString DNSServer(std::size_t index) const { return Text(index, &CNICCard::dnsServer); }
    WideString DHCPEnabled(std::size_t index) const { return Text(index, &CNICCard::dhcpEnabled); }
    WideString DHCPLeaseObtained(std::size_t index) const
    {
        return Text(index, &CNICCard::dhcpLeaseObtained);
    }
    WideString DHCPLeaseExpires(std::size_t index) const
    {
        return Text(index, &CNICCard::dhcpLeaseExpires);
    }
    WideString IPV6Address(std::size_t index) const { return Text(index, &CNICCard::ipv6Address); }

    // The first adapter of exactly this name or hardware address; null when there is none.

    CNICCard* FindByName(std::wstring_view name) const;
    /// Stands on purpose though nothing calls it.
    CNICCard* FindByMACAddress(std::wstring_view macAddress) const;

private:
    using Field = WideString CNICCard::*;

    WideString Text(std::size_t index, Field field) const;
    CNICCard* Find(Field field, std::wstring_view text) const;
    void AddIPv4Adapters();
    void AddIPv6Addresses();

    UniqueModule ipHelper_;
    std::vector<std::unique_ptr<CNICCard>> cards_;
};

}  // namespace orrery
