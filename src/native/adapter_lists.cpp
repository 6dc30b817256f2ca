#include "native/adapter_lists.h"

#include <ws2tcpip.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "native/nic_card.h"
#include "support/library.h"
#include "support/text.h"

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

}  // namespace

UniqueMalloc<IP_ADAPTER_INFO> ReadAdapterList(HMODULE ipHelper)
{
    const auto getInfo = FindFunction<decltype(&GetAdaptersInfo)>(ipHelper, "GetAdaptersInfo");
    return getInfo == nullptr ? UniqueMalloc<IP_ADAPTER_INFO>{}
                              : ReadSized<IP_ADAPTER_INFO>(getInfo);
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

UniqueHeapBlock<IP_ADAPTER_ADDRESSES> ReadIPv6AdapterList(HMODULE ipHelper)
{
    const auto getAddresses =
        FindFunction<decltype(&GetAdaptersAddresses)>(ipHelper, "GetAdaptersAddresses");
    if (getAddresses == nullptr)
        return {};
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

}  // namespace orrery
