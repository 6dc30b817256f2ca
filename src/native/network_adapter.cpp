#include "native/network_adapter.h"

#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string>

#include "support/library.h"
#include "support/text.h"
#include "support/winsock.h"

namespace orrery {
namespace {

/// Reads a record whose size, which includes the records linked to it, the system tells first.
/// @param ask takes the buffer, null at first, and the place of its size
template <class Record, class Ask>
UniqueMalloc<Record> ReadSized(Ask ask)
{
    ULONG size = 0;
    static_cast<void>(ask(nullptr, &size));  // only the size counts
    if (size == 0)
        return {};
    const std::size_t room = std::max<std::size_t>(size, sizeof(Record));
    UniqueMalloc<Record> record{static_cast<Record*>(std::calloc(1, room))};
    if (!record || ask(record.get(), &size) != ERROR_SUCCESS)
        return {};
    return record;
}

WideString ReadDnsServer(HMODULE ipHelper, DWORD adapterIndex)
{
    const auto getInfo = FindFunction<decltype(&GetPerAdapterInfo)>(ipHelper, "GetPerAdapterInfo");
    if (getInfo == nullptr)
        return {};
    const auto info = ReadSized<IP_PER_ADAPTER_INFO>([&](IP_PER_ADAPTER_INFO* buffer, ULONG* size) {
        return getInfo(adapterIndex, buffer, size);
    });
    return info ? FirstAddress(info.get()->DnsServerList) : WideString{};
}

UniqueHeapBlock<IP_ADAPTER_ADDRESSES> ReadIPv6Adapters(decltype(&GetAdaptersAddresses) getAddresses)
{
    constexpr int kMaxCalls = 3;  // the list may grow between two calls
    ULONG size = 0;
    for (int call = 0; call < kMaxCalls; ++call) {
        const ULONG room = size;
        UniqueHeapBlock<IP_ADAPTER_ADDRESSES> adapters{static_cast<IP_ADAPTER_ADDRESSES*>(
            HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY,
                      room == 0 ? 0 : std::max<std::size_t>(room, sizeof(IP_ADAPTER_ADDRESSES))))};
        if (!adapters)
            return {};
        const ULONG result =
            getAddresses(AF_INET6, GAA_FLAG_INCLUDE_PREFIX, nullptr, adapters.get(), &size);
        if (result == ERROR_SUCCESS && room != 0)
            return adapters;
        if (result != ERROR_BUFFER_OVERFLOW)
            return {};
    }
    return {};
}

/// The numeric form of an address, with its zone; empty when there is none.
std::wstring HostText(const SOCKET_ADDRESS& address)
{
    std::array<char, 512> text{};
    const socklen_t length = address.iSockaddrLength != 0
                                 ? address.iSockaddrLength
                                 : static_cast<socklen_t>(sizeof(sockaddr_in6));
    static_cast<void>(getnameinfo(address.lpSockaddr, length, text.data(),
                                  static_cast<DWORD>(text.size()), nullptr, 0, NI_NUMERICHOST));
    return FromAnsi(text);
}

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
    const auto getInfo =
        FindFunction<decltype(&GetAdaptersInfo)>(ipHelper_.get(), "GetAdaptersInfo");
    if (getInfo == nullptr)
        return;
    const auto adapters = ReadSized<IP_ADAPTER_INFO>(getInfo);
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
    const auto getAddresses =
        FindFunction<decltype(&GetAdaptersAddresses)>(ipHelper_.get(), "GetAdaptersAddresses");
    if (getAddresses == nullptr)
        return;
    const auto adapters = ReadIPv6Adapters(getAddresses);
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
