#include "sim/ip_helper.h"

#include <algorithm>
#include <cstring>

namespace orrery::sim {
namespace {

IpHelper* current = nullptr;

ULONG WINAPI AdaptersInfo(IP_ADAPTER_INFO* buffer, ULONG* size)
{
    auto& adapters = current->adapters;
    const auto needed = static_cast<ULONG>(adapters.size() * sizeof(IP_ADAPTER_INFO));
    if (*size < needed || buffer == nullptr) {
        *size = needed;
        return adapters.empty() ? ERROR_NO_DATA : ERROR_BUFFER_OVERFLOW;
    }
    for (std::size_t at = 0; at < adapters.size(); ++at) {
        buffer[at] = adapters[at];
        buffer[at].Next = at + 1 < adapters.size() ? &buffer[at + 1] : nullptr;
    }
    return current->adaptersResult;
}

DWORD WINAPI PerAdapterInfo(ULONG index, IP_PER_ADAPTER_INFO* buffer, ULONG* size)
{
    const auto server = current->dnsServers.find(index);
    if (server == current->dnsServers.end())
        return ERROR_INVALID_PARAMETER;
    if (buffer == nullptr) {
        *size = sizeof *buffer;
        return ERROR_BUFFER_OVERFLOW;
    }
    if (server->second == nullptr)
        return ERROR_ACCESS_DENIED;
    std::copy_n(server->second, std::strlen(server->second),
                buffer->DnsServerList.IpAddress.String);
    return ERROR_SUCCESS;
}

ULONG WINAPI AdaptersAddresses(ULONG family, ULONG flags, void*, IP_ADAPTER_ADDRESSES* buffer,
                               ULONG* size)
{
    const auto& listed = current->ipv6Adapters;
    current->addressArguments = {family, flags};
    const auto needed = static_cast<ULONG>(listed.size() * sizeof *buffer);
    if (listed.empty())
        return ERROR_NO_DATA;
    if (current->addressCalls++ < current->growths || *size < needed) {
        *size = needed;
        return ERROR_BUFFER_OVERFLOW;
    }
    std::memset(buffer, 0, needed);
    auto& unicasts = current->unicasts;
    unicasts.assign(listed.size(), {});
    for (std::size_t at = 0; at < listed.size(); ++at) {
        buffer[at].Next = at + 1 < listed.size() ? &buffer[at + 1] : nullptr;
        buffer[at].Description = const_cast<wchar_t*>(listed[at].description);
        unicasts[at].resize(listed[at].addresses.size());
        IP_ADAPTER_UNICAST_ADDRESS** link = &buffer[at].FirstUnicastAddress;
        for (std::size_t each = 0; each < unicasts[at].size(); ++each) {
            auto& [entry, address] = unicasts[at][each];
            int length = sizeof address;
            std::wstring text = listed[at].addresses[each];
            WSAStringToAddressW(text.data(), AF_INET6, nullptr,
                                reinterpret_cast<sockaddr*>(&address), &length);
            entry.Address = {reinterpret_cast<sockaddr*>(&address), sizeof address};
            *link = &entry;
            link = &entry.Next;
        }
    }
    return ERROR_SUCCESS;
}

}  // namespace

IP_ADAPTER_INFO MakeAdapter(const char* description, std::array<std::uint8_t, 6> address, UINT type)
{
    IP_ADAPTER_INFO adapter{};
    std::copy_n(description, std::strlen(description), adapter.Description);
    std::copy(address.begin(), address.end(), adapter.Address);
    adapter.Type = type;
    return adapter;
}

IpHelper::IpHelper(std::vector<IP_ADAPTER_INFO> listed)
    : adapters(std::move(listed)),
      adaptersInfo_(L"iphlpapi.dll", "GetAdaptersInfo", &AdaptersInfo),
      perAdapterInfo_(L"iphlpapi.dll", "GetPerAdapterInfo", &PerAdapterInfo),
      adaptersAddresses_(L"iphlpapi.dll", "GetAdaptersAddresses", &AdaptersAddresses)
{
    current = this;
}

IpHelper::~IpHelper()
{
    current = nullptr;
}

}  // namespace orrery::sim
