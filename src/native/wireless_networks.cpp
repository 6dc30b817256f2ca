#include "native/wireless_networks.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>

#include "support/library.h"
#include "support/number_of.h"

namespace orrery {
namespace {

struct WlanFree {
    decltype(&WlanFreeMemory) free = nullptr;
    void operator()(void* block) const { free(block); }
};
/// Owner of a block that the WLAN service allocated.
template <class T>
using WlanBlock = std::unique_ptr<T, WlanFree>;

/// What WlanGetNetworkBssList is; the type of a network may be a number that its enumeration lacks.
using GetNetworks = DWORD(WINAPI*)(HANDLE client, const GUID* id, const DOT11_SSID* ssid,
                                   std::int32_t bssType, BOOL isSecured, void* reserved,
                                   WLAN_BSS_LIST** list);

/// One walk over the interfaces.
struct Walk {
    const WlanFunctions& wlan;
    HANDLE client = nullptr;
    // The last block of each kind is held until the walk ends; the last one here is freed first.
    WlanBlock<ULONG> channel{};
    WlanBlock<WLAN_BSS_LIST> networks{};
    WlanBlock<WLAN_INTERFACE_INFO_LIST> interfaces{};
    WlanBlock<WLAN_CONNECTION_ATTRIBUTES> connection{};
};

/// Asks an interface, and replaces the block with the answer if there is one.
/// @param size takes the answer's size
/// @return the call's own result; ERROR_INVALID_DATA for an answer that is missing, or said to be
///         too small for a T
template <class T>
DWORD QueryInterface(const Walk& walk, const GUID& id, WLAN_INTF_OPCODE opcode, WlanBlock<T>* block,
                     std::size_t* size)
{
    void* answer = nullptr;
    DWORD told = 0;
    WLAN_OPCODE_VALUE_TYPE origin = wlan_opcode_value_type_invalid;
    const DWORD result =
        walk.wlan.queryInterface(walk.client, &id, opcode, nullptr, &told, &answer, &origin);
    if (result != ERROR_SUCCESS)
        return result;
    if (answer == nullptr)
        return ERROR_INVALID_DATA;
    *block = {static_cast<T*>(answer), WlanFree{walk.wlan.freeMemory}};
    // A size that is not told is the least that an answer to this opcode holds.
    *size = told == 0 ? sizeof(T) : told;
    return *size < sizeof(T) ? ERROR_INVALID_DATA : ERROR_SUCCESS;
}

/// The bytes of an SSID up to the first zero, at most to the end of the record that holds it.
std::string SsidBytes(const DOT11_SSID& ssid, const void* record, std::size_t recordSize)
{
    const auto* const first = reinterpret_cast<const char*>(ssid.ucSSID);
    const auto* const end = static_cast<const char*>(record) + recordSize;
    return {first, std::find(first, end, '\0')};
}

std::vector<WirelessNetwork> ReadNetworks(Walk& walk, const GUID& id, std::int32_t bssType)
{
    std::vector<WirelessNetwork> networks;
    WLAN_BSS_LIST* list = nullptr;
    const auto getNetworks = reinterpret_cast<GetNetworks>(walk.wlan.getNetworkBssList);
    if (getNetworks(walk.client, &id, nullptr, bssType, FALSE, nullptr, &list) != ERROR_SUCCESS ||
        list == nullptr)
        return networks;
    walk.networks = {list, WlanFree{walk.wlan.freeMemory}};
    constexpr std::size_t kHead = offsetof(WLAN_BSS_LIST, wlanBssEntries);
    std::size_t count = list->dwNumberOfItems;
    if (const std::size_t size = list->dwTotalSize; size != 0)  // else not told
        count = std::min(count, size < kHead ? 0 : (size - kHead) / sizeof(WLAN_BSS_ENTRY));
    for (const auto& entry : std::span{&list->wlanBssEntries[0], count})
        networks.push_back(
            {SsidBytes(entry.dot11Ssid, &entry, sizeof entry), entry.ulChCenterFrequency});
    return networks;
}

void ReadConnection(Walk& walk, const GUID& id, WirelessInterface* found)
{
    std::size_t size = 0;
    found->result =
        QueryInterface(walk, id, wlan_intf_opcode_current_connection, &walk.connection, &size);
    if (found->result != ERROR_SUCCESS ||
        NumberOf(walk.connection->isState) != wlan_interface_state_connected)
        return;
    const auto& association = walk.connection->wlanAssociationAttributes;
    const auto& security = walk.connection->wlanSecurityAttributes;
    WirelessConnection& connection = found->connection.emplace();
    connection.ssid = SsidBytes(association.dot11Ssid, walk.connection.get(), size);
    connection.phyType = NumberOf(association.dot11PhyType);
    connection.authentication = NumberOf(security.dot11AuthAlgorithm);
    connection.cipher = NumberOf(security.dot11CipherAlgorithm);
    if (QueryInterface(walk, id, wlan_intf_opcode_channel_number, &walk.channel, &size) ==
        ERROR_SUCCESS)
        connection.channel = *walk.channel;
    connection.networks = ReadNetworks(walk, id, NumberOf(association.dot11BssType));
}

}  // namespace

WlanFunctions FindWlanFunctions(HMODULE library) noexcept
{
    const auto find = [library](auto* function, const char* name) {
        *function = FindFunction<std::remove_pointer_t<decltype(function)>>(library, name);
    };
    WlanFunctions wlan;
    find(&wlan.openHandle, "WlanOpenHandle");
    find(&wlan.enumInterfaces, "WlanEnumInterfaces");
    find(&wlan.queryInterface, "WlanQueryInterface");
    find(&wlan.getNetworkBssList, "WlanGetNetworkBssList");
    find(&wlan.freeMemory, "WlanFreeMemory");
    return wlan;
}

DWORD ForEachWirelessInterface(const WlanFunctions& wlan,
                               const std::function<void(const WirelessInterface& found)>& visit)
{
    constexpr DWORD kClientVersion = 2;
    DWORD negotiated = 0;
    Walk walk{wlan};
    // The client's handle may be null and valid all the same.
    DWORD result = wlan.openHandle(kClientVersion, nullptr, &negotiated, &walk.client);
    if (result != ERROR_SUCCESS)
        return result;
    WLAN_INTERFACE_INFO_LIST* list = nullptr;
    result = wlan.enumInterfaces(walk.client, nullptr, &list);
    if (result != ERROR_SUCCESS || list == nullptr)
        return result;
    walk.interfaces = {list, WlanFree{wlan.freeMemory}};
    for (const auto& info : std::span{&list->InterfaceInfo[0], list->dwNumberOfItems}) {
        const std::span field{info.strInterfaceDescription};
        WirelessInterface found;
        found.description.assign(field.begin(), std::find(field.begin(), field.end(), L'\0'));
        found.state = NumberOf(info.isState);
        if (found.state == wlan_interface_state_connected)
            ReadConnection(walk, info.InterfaceGuid, &found);
        visit(found);
    }
    return ERROR_SUCCESS;
}

}  // namespace orrery
