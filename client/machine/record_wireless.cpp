#include <windows.h>

#include <string>

#include "client/machine/form_words.h"
#include "client/machine/record.h"
#include "client/system/console.h"
#include "native/wireless_networks.h"

namespace orrery::machine {
namespace {

/// A network's name without what a full field runs into; mostly it is UTF-8.
std::string SsidWithin(const std::string& ssid)
{
    return ssid.substr(0, DOT11_SSID_MAX_LENGTH);
}

void AddInterface(const WirelessInterface& found, Record* record)
{
    record->items.push_back({.heading = std::string{form::kWirelessInterfaceItem},
                             .values = {NamedText(form::kDescription, found.description),
                                        NamedNumber(form::kState, found.state)}});
    if (!found.connection)
        return;
    const WirelessConnection& connection = *found.connection;
    const std::string name = SsidWithin(connection.ssid);
    if (ToUtf8(FromUtf8(name)) != name) {
        record->problems.push_back("a wireless network whose name is no UTF-8");
        return;
    }
    auto& values = record->items.back().values;
    values.push_back(NamedText(form::kSSID, FromUtf8(name)));
    values.push_back(NamedNumber(form::kAuthentication, connection.authentication));
    values.push_back(NamedNumber(form::kCipher, connection.cipher));
    values.push_back(NamedNumber(form::kPhyType, connection.phyType));
    if (connection.channel)
        values.push_back(NamedNumber(form::kChannel, *connection.channel));
    // The networks of this name alone: those of the neighbours are none of the report's.
    for (const WirelessNetwork& network : connection.networks)
        if (SsidWithin(network.ssid) == name)
            record->items.push_back(
                {.heading = std::string{form::kWirelessNetworkItem},
                 .values = {NamedText(form::kSSID, FromUtf8(name)),
                            NamedNumber(form::kFrequency, network.centerFrequency)}});
}

}  // namespace

Record ReadWireless()
{
    Record record;
    // Never freed: the client that the walk opens ends with the program.
    const WlanFunctions wlan = FindWlanFunctions(LoadLibraryW(kWlanLibrary));
    if (wlan.areComplete())
        ForEachWirelessInterface(
            wlan, [&record](const WirelessInterface& found) { AddInterface(found, &record); });
    return record;
}

}  // namespace orrery::machine
