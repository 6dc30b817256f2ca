#include "collect/wireless.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "support/code_name.h"
#include "support/number_of.h"
#include "support/text.h"

namespace orrery {
namespace {

constexpr auto kPhyTypes = std::to_array<CodeName>({
    {1, L"FHSS"},
    {2, L"DSSS"},
    {3, L"IR"},
    {4, L"802.11a"},
    {5, L"802.11b"},
    {6, L"802.11g"},
    {7, L"Wi-Fi 4 (802.11n)"},
    {8, L"Wi-Fi 5 (802.11ac)"},
    {9, L"802.11ad"},
    {10, L"Wi-Fi 6 (802.11ax)"},
});
static_assert(IsAscending(kPhyTypes));

struct SecurityPair {
    std::int32_t authentication;
    std::int32_t cipher;
    std::wstring_view name;
};

constexpr auto kSecurityPairs = std::to_array<SecurityPair>({
    {1, 0, L"Open"},             // 802.11 open, no cipher
    {7, 4, L"WPA2-Personal"},    // RSNA with a shared key, CCMP
    {6, 4, L"WPA2-Enterprise"},  // RSNA, CCMP
    {3, 2, L"WPA"},              // WPA, TKIP
});

// Where the pair has no name, these ciphers name the security whatever the authentication.
constexpr auto kCiphers = std::to_array<CodeName>({
    {1, L"WEP-40"},
    {5, L"WEP-104"},
    {257, L"WEP"},
});
static_assert(IsAscending(kCiphers));

struct WlanFree {
    decltype(&WlanFreeMemory) free = nullptr;
    void operator()(void* block) const { free(block); }
};
/// Owner of a block that the WLAN service allocated.
template <class T>
using WlanBlock = std::unique_ptr<T, WlanFree>;

/// What the interfaces of one walk share.
struct WirelessPass {
    CHardwareCollector& collector;
    HANDLE client = nullptr;
    // Not reset for each interface: one that does not tell keeps the values of the one before.
    std::uint32_t channel = 0;
    std::uint32_t centerFrequency = 0;  // kHz
    // The last block of each kind is held until the walk ends; the last one here is freed first.
    WlanBlock<ULONG> channelBlock{};
    WlanBlock<WLAN_BSS_LIST> networks{};
    WlanBlock<WLAN_INTERFACE_INFO_LIST> interfaces{};
    WlanBlock<WLAN_CONNECTION_ATTRIBUTES> connection{};
};

/// What WlanGetNetworkBssList is; the type of a network may be a number that its enumeration lacks.
using GetNetworks = DWORD(WINAPI*)(HANDLE client, const GUID* id, const DOT11_SSID* ssid,
                                   std::int32_t bssType, BOOL isSecured, void* reserved,
                                   WLAN_BSS_LIST** list);

/// Asks an interface, and replaces the block with the answer if there is one.
/// @return the answer's size; 0 when there is none, or one that is said to be too small for a T
template <class T>
std::size_t QueryInterface(const WirelessPass& pass, const GUID& id, WLAN_INTF_OPCODE opcode,
                           WlanBlock<T>* block)
{
    void* answer = nullptr;
    DWORD size = 0;
    WLAN_OPCODE_VALUE_TYPE origin = wlan_opcode_value_type_invalid;
    const DWORD result = pass.collector.wlanQueryInterface(pass.client, &id, opcode, nullptr, &size,
                                                           &answer, &origin);
    if (result != ERROR_SUCCESS || answer == nullptr)
        return 0;
    *block = {static_cast<T*>(answer), WlanFree{pass.collector.wlanFreeMemory}};
    if (size == 0)
        return sizeof(T);  // not told: the opcode fixes the least that an answer holds
    return size < sizeof(T) ? 0 : size;
}

/// The text of an SSID, up to the first zero. One of 32 bytes fills its field, so that its text
/// goes on into the bytes that follow in the record; the length field is left aside on purpose.
std::wstring SsidText(const DOT11_SSID& ssid, const void* record, std::size_t recordSize)
{
    const auto bytes = std::span{static_cast<const char*>(record), recordSize};
    const auto start = reinterpret_cast<const char*>(ssid.ucSSID) - bytes.data();
    return FromAnsi(bytes.subspan(static_cast<std::size_t>(start)));
}

/// Notes the centre frequency of the last network with this SSID.
void ReadCenterFrequency(WirelessPass& pass, const GUID& id, std::int32_t bssType,
                         std::wstring_view ssid)
{
    WLAN_BSS_LIST* list = nullptr;
    const auto getNetworks = reinterpret_cast<GetNetworks>(pass.collector.wlanGetNetworkBssList);
    if (getNetworks(pass.client, &id, nullptr, bssType, FALSE, nullptr, &list) != ERROR_SUCCESS ||
        list == nullptr)
        return;
    pass.networks = {list, WlanFree{pass.collector.wlanFreeMemory}};
    constexpr std::size_t kHead = offsetof(WLAN_BSS_LIST, wlanBssEntries);
    std::size_t count = list->dwNumberOfItems;
    if (const std::size_t size = list->dwTotalSize; size != 0)  // else not told
        count = std::min(count, size < kHead ? 0 : (size - kHead) / sizeof(WLAN_BSS_ENTRY));
    for (const auto& entry : std::span{&list->wlanBssEntries[0], count})
        if (SsidText(entry.dot11Ssid, &entry, sizeof entry) == ssid)
            pass.centerFrequency = entry.ulChCenterFrequency;
}

std::wstring SignedDecimal(std::uint32_t number)
{
    return std::to_wstring(static_cast<std::int32_t>(number));
}

std::wstring DescriptionOf(const WLAN_INTERFACE_INFO& info)
{
    const std::span field{info.strInterfaceDescription};
    return {field.begin(), std::find(field.begin(), field.end(), L'\0')};
}

void ReadConnection(WirelessPass& pass, const WLAN_INTERFACE_INFO& info)
{
    const std::size_t size = QueryInterface(pass, info.InterfaceGuid,
                                            wlan_intf_opcode_current_connection, &pass.connection);
    if (size == 0 || NumberOf(pass.connection->isState) != wlan_interface_state_connected)
        return;
    const auto& association = pass.connection->wlanAssociationAttributes;
    const auto& security = pass.connection->wlanSecurityAttributes;
    const std::wstring ssid = SsidText(association.dot11Ssid, pass.connection.get(), size);
    if (QueryInterface(pass, info.InterfaceGuid, wlan_intf_opcode_channel_number,
                       &pass.channelBlock) != 0)
        pass.channel = *pass.channelBlock;
    ReadCenterFrequency(pass, info.InterfaceGuid, NumberOf(association.dot11BssType), ssid);

    const auto found = pass.collector.adapterDetails.find(DescriptionOf(info));
    if (found == pass.collector.adapterDetails.end())
        return;
    AdapterDetail& detail = found->second;
    detail.ssid = ssid;
    detail.networkChannel = SignedDecimal(pass.channel);
    detail.networkBand = SignedDecimal(pass.centerFrequency);
    detail.protocol = PhyTypeName(NumberOf(association.dot11PhyType));
    detail.securityType = SecurityName(NumberOf(security.dot11AuthAlgorithm),
                                       NumberOf(security.dot11CipherAlgorithm));
}

}  // namespace

std::wstring_view PhyTypeName(std::int32_t type) noexcept
{
    return NameOf(kPhyTypes, type, L"unknown");
}

std::wstring_view SecurityName(std::int32_t authentication, std::int32_t cipher) noexcept
{
    for (const auto& pair : kSecurityPairs)
        if (pair.authentication == authentication && pair.cipher == cipher)
            return pair.name;
    return NameOf(kCiphers, cipher, L"Other");
}

void ReadWirelessDetails(CHardwareCollector* collector)
{
    if (!collector->hasWlan())
        return;
    constexpr DWORD kClientVersion = 2;
    DWORD negotiated = 0;
    WirelessPass pass{*collector};
    // The client stays open; its handle may be null and valid all the same.
    if (collector->wlanOpenHandle(kClientVersion, nullptr, &negotiated, &pass.client) !=
        ERROR_SUCCESS)
        return;
    WLAN_INTERFACE_INFO_LIST* list = nullptr;
    if (collector->wlanEnumInterfaces(pass.client, nullptr, &list) != ERROR_SUCCESS ||
        list == nullptr)
        return;
    pass.interfaces = {list, WlanFree{collector->wlanFreeMemory}};
    for (const auto& info : std::span{&list->InterfaceInfo[0], list->dwNumberOfItems})
        if (NumberOf(info.isState) == wlan_interface_state_connected)
            ReadConnection(pass, info);
}

}  // namespace orrery
