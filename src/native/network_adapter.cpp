#include "native/network_adapter.h"

#include <ws2tcpip.h>

#include <algorithm>
#include <string>

#include "native/adapter_lists.h"
#include "support/winsock.h"

namespace orrery {
namespace {

std::wstring JoinUnicastAddresses(const IP_ADAPTER_ADDRESSES& adapter)
{
    std::wstring joined;
    for (const auto* each = adapter.FirstUnicastAddress; each != nullptr; each = each->Next)
        joined += HostText(each->Address) + L",";
    joined.resize(joined.find_last_not_of(L',') + 1);
    return joined;
}

}  // namespace

CNetworkAdapter::CNetworkAdapter(std::uint8_t /*adapterFlag*/)
    : ipHelper_(LoadLibraryW(L"iphlpapi.dll"))
{
    constexpr DWORD kFirstWithIPv6 = 5;  // major version
    AddIPv4Adapters();
    if ((GetVersion() & 0xFF) >= kFirstWithIPv6)
        AddIPv6Addresses();
}

CNetworkAdapter::~CNetworkAdapter() = default;

CNICCard* CNetworkAdapter::FindByName(std::wstring_view name) const
{
    return Find(&CNICCard::name, name);
}

CNICCard* CNetworkAdapter::FindByMACAddress(std::wstring_view macAddress) const
{
    return Find(&CNICCard::macAddress, macAddress);
}

WideString CNetworkAdapter::Text(std::size_t index, Field field) const
{
    const CNICCard* const card = cards_[index].get();
    return card != nullptr ? card->*field : WideString{};
}

CNICCard* CNetworkAdapter::Find(Field field, std::wstring_view text) const
{
    const auto found = std::find_if(cards_.begin(), cards_.end(), [&](const auto& card) {
        return card != nullptr && (*card).*field == text;
    });
    return found != cards_.end() ? found->get() : nullptr;
}

void CNetworkAdapter::AddIPv4Adapters()
{
    const auto adapters = ReadAdapterList(ipHelper_.get());
    for (const auto* each = adapters.get(); each != nullptr; each = each->Next)
        if (IsReportedAdapter(each->Type, std::span{each->Address}.first<6>()))
            cards_.push_back(std::make_unique<CNICCard>(
                CardOf(*each, ReadDnsServer(ipHelper_.get(), each->Index))));
}

void CNetworkAdapter::AddIPv6Addresses()
{
    if (!ipHelper_)
        return;
    const WinsockSession sockets;
    if (!sockets)
        return;
    const auto adapters = ReadIPv6AdapterList(ipHelper_.get());
    for (const auto* each = adapters.get(); each != nullptr; each = each->Next) {
        const std::wstring_view name = each->Description != nullptr ? each->Description : L"";
        const std::wstring addresses = JoinUnicastAddresses(*each);
        if (name.empty() || addresses.empty())
            continue;
        // of adapters that share a name the first one gets the addresses, those of the last
        if (CNICCard* const card = FindByName(name))
            card->ipv6Address = addresses;
    }
}

}  // namespace orrery
