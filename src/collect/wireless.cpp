#include "collect/wireless.h"

#include <array>
#include <string>

#include "native/wireless_networks.h"
#include "support/code_name.h"
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

std::wstring SignedDecimal(std::uint32_t number)
{
    return std::to_wstring(static_cast<std::int32_t>(number));
}

/// What one interface leaves to the next: one that does not tell keeps the values before it.
struct LastTold {
    std::uint32_t channel = 0;
    std::uint32_t centerFrequency = 0;  // kHz
};

/// Enters an interface's connection into the detail record of its adapter, if there is one.
void EnterConnection(CHardwareCollector* collector, const WirelessInterface& found, LastTold* last)
{
    if (!found.connection)
        return;
    const WirelessConnection& connection = *found.connection;
    const std::wstring ssid = FromAnsi(connection.ssid);
    last->channel = connection.channel.value_or(last->channel);
    for (const WirelessNetwork& network : connection.networks)
        if (FromAnsi(network.ssid) == ssid)  // of several the last
            last->centerFrequency = network.centerFrequency;

    const auto record = collector->adapterDetails.find(found.description);
    if (record == collector->adapterDetails.end())
        return;
    AdapterDetail& detail = record->second;
    detail.ssid = ssid;
    detail.networkChannel = SignedDecimal(last->channel);
    detail.networkBand = SignedDecimal(last->centerFrequency);
    detail.protocol = PhyTypeName(connection.phyType);
    detail.securityType = SecurityName(connection.authentication, connection.cipher);
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
    if (!collector->wlan.areComplete())
        return;
    LastTold last;
    ForEachWirelessInterface(collector->wlan, [&](const WirelessInterface& found) {
        EnterConnection(collector, found, &last);
    });
}

}  // namespace orrery
