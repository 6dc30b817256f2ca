#include "sim/wlan.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "support/number_of.h"

namespace orrery::sim {
namespace {

Wlan* current = nullptr;

const HANDLE kClient = reinterpret_cast<HANDLE>(std::uintptr_t{0x77});

/// Zeroed memory that ends where a page begins that may not be touched: whoever reads past an answer
/// ends the process.
void* AllocateBeforeGuard(std::size_t size)
{
    constexpr std::size_t kPage = 4096;
    constexpr std::size_t kAlignment = 8;
    const std::size_t pages = (size + kPage - 1) / kPage * kPage;
    auto* const base = static_cast<std::byte*>(
        VirtualAlloc(nullptr, pages + kPage, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD before = 0;
    if (base == nullptr || !VirtualProtect(base + pages, kPage, PAGE_NOACCESS, &before))
        std::abort();
    return base + pages - (size + kAlignment - 1) / kAlignment * kAlignment;
}

void FreeGuarded(void* block)
{
    MEMORY_BASIC_INFORMATION memory{};
    VirtualQuery(block, &memory, sizeof memory);
    VirtualFree(memory.AllocationBase, 0, MEM_RELEASE);
}

template <class T>
T* Allocate(const char* kind, std::size_t size = sizeof(T))
{
    void* const block = AllocateBeforeGuard(size);
    current->blocks[block] = kind;
    return static_cast<T*>(block);
}

DWORD WINAPI OpenHandle(DWORD version, void*, DWORD* negotiated, HANDLE* client)
{
    ++current->calls;
    *negotiated = version;
    *client = kClient;
    return version == 2 ? current->openResult : ERROR_INVALID_PARAMETER;
}

DWORD WINAPI EnumInterfaces(HANDLE client, void*, WLAN_INTERFACE_INFO_LIST** list)
{
    ++current->calls;
    if (client != kClient)
        return ERROR_INVALID_HANDLE;
    if (current->listResult != ERROR_SUCCESS)
        return current->listResult;
    const std::size_t count = current->interfaces.size();
    *list = Allocate<WLAN_INTERFACE_INFO_LIST>(
        "interfaces",
        offsetof(WLAN_INTERFACE_INFO_LIST, InterfaceInfo) + count * sizeof(WLAN_INTERFACE_INFO));
    (*list)->dwNumberOfItems = static_cast<DWORD>(count);
    for (std::size_t at = 0; at < count; ++at) {
        WLAN_INTERFACE_INFO& info = (*list)->InterfaceInfo[at];
        info.InterfaceGuid.Data1 = static_cast<unsigned long>(at);
        info.isState = current->interfaces[at].state;
        std::wcscpy(info.strInterfaceDescription, current->interfaces[at].description);
    }
    return ERROR_SUCCESS;
}

DWORD WINAPI QueryInterface(HANDLE client, const GUID* id, WLAN_INTF_OPCODE opcode, void*,
                            DWORD* size, void** data, WLAN_OPCODE_VALUE_TYPE* origin)
{
    *origin = wlan_opcode_value_type_query_only;
    ++current->calls;
    const Wlan::Interface& asked = current->interfaces[id->Data1];
    if (client != kClient)
        return ERROR_INVALID_HANDLE;
    if (opcode == wlan_intf_opcode_current_connection && asked.connection) {
        const std::size_t held =
            current->tellsSizes ? current->connectionSize : sizeof(WLAN_CONNECTION_ATTRIBUTES);
        auto* const block = Allocate<WLAN_CONNECTION_ATTRIBUTES>("connection", held);
        std::memcpy(block, &*asked.connection, std::min(held, sizeof *block));
        *size = current->tellsSizes ? static_cast<DWORD>(held) : 0;
        *data = block;
        return ERROR_SUCCESS;
    }
    if (opcode == wlan_intf_opcode_channel_number && asked.channel) {
        auto* const block = Allocate<ULONG>("channel");
        *block = *asked.channel;
        *size = current->tellsSizes ? sizeof *block : 0;
        *data = block;
        return ERROR_SUCCESS;
    }
    return current->noConnection;
}

DWORD WINAPI GetNetworkBssList(HANDLE client, const GUID* id, DOT11_SSID* ssid, DOT11_BSS_TYPE type,
                               BOOL secured, void*, WLAN_BSS_LIST** list)
{
    ++current->calls;
    current->networksAsked = NumberOf(type);  // may be none of the enumeration
    // one network, or only secured ones, would be less than is wanted
    if (client != kClient || ssid != nullptr || secured)
        return ERROR_INVALID_PARAMETER;
    const auto& networks = current->interfaces[id->Data1].networks;
    if (!networks)
        return ERROR_NOT_SUPPORTED;
    const std::size_t size =
        offsetof(WLAN_BSS_LIST, wlanBssEntries) + networks->size() * sizeof(WLAN_BSS_ENTRY);
    *list = Allocate<WLAN_BSS_LIST>("networks", size);
    (*list)->dwTotalSize = current->tellsSizes ? static_cast<DWORD>(size) : 0;
    (*list)->dwNumberOfItems = static_cast<DWORD>(networks->size()) + current->hiddenNetworks;
    for (std::size_t at = 0; at < networks->size(); ++at) {
        const Wlan::Network& network = (*networks)[at];
        WLAN_BSS_ENTRY& entry = (*list)->wlanBssEntries[at];
        std::memcpy(entry.dot11Ssid.ucSSID, network.ssid, std::strlen(network.ssid));
        entry.uPhyId = network.phyId;
        entry.ulChCenterFrequency = network.centerFrequency;
    }
    return ERROR_SUCCESS;
}

void WINAPI FreeMemory(void* block)
{
    const auto allocated = current->blocks.find(block);
    if (allocated == current->blocks.end())
        std::abort();
    current->freed.push_back(allocated->second);
    current->blocks.erase(allocated);
    FreeGuarded(block);
}

}  // namespace

WLAN_CONNECTION_ATTRIBUTES MakeConnection(const char* ssid, DOT11_AUTH_ALGORITHM authentication,
                                          int phyType)
{
    WLAN_CONNECTION_ATTRIBUTES connection{};
    connection.isState = wlan_interface_state_connected;
    auto& association = connection.wlanAssociationAttributes;
    association.dot11Ssid.uSSIDLength = 1;  // not looked at
    std::memcpy(association.dot11Ssid.ucSSID, ssid, std::strlen(ssid));
    association.dot11BssType = dot11_BSS_type_infrastructure;
    association.dot11PhyType = static_cast<DOT11_PHY_TYPE>(phyType);
    connection.wlanSecurityAttributes.dot11AuthAlgorithm = authentication;
    connection.wlanSecurityAttributes.dot11CipherAlgorithm = DOT11_CIPHER_ALGO_CCMP;
    return connection;
}

Wlan::Wlan(std::vector<Interface> listed)
    : interfaces(std::move(listed)),
      open_(L"wlanapi.dll", "WlanOpenHandle", &OpenHandle),
      enum_(L"wlanapi.dll", "WlanEnumInterfaces", &EnumInterfaces),
      query_(L"wlanapi.dll", "WlanQueryInterface", &QueryInterface),
      networks_(L"wlanapi.dll", "WlanGetNetworkBssList", &GetNetworkBssList),
      free_(L"wlanapi.dll", "WlanFreeMemory", &FreeMemory)
{
    current = this;
}

Wlan::~Wlan()
{
    current = nullptr;
}

}  // namespace orrery::sim
