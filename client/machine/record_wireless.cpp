#include <windows.h>

#include <string>

#include "client/machine/form_words.h"
#include "client/machine/record.h"
#include "client/system/console.h"
#include "native/wireless_networks.h"

namespace orrery::machine {
namespace {

/// A network's name without what a full field runs into; mostly it is UTF-8.
std::string NameOf(const std::string& ssid)
{
    return ssid.substr(0, DOT11_SSID_MAX_LENGTH);
}

void AddInterface(const WirelessInterface& found, Record* record)
{
    record->items.push_back({.heading = std::string{form::kWirelessInterfaceItem},
                             .values = {TextValue(form::kDescription, found.description),
                                        NumberValue(form::kState, found.state)}});
    if (!found.connection)
        return;
    const WirelessConnection& connection = *found.connection;
    const std::string name = NameOf(connection.ssid);
    if (ToUtf8(FromUtf8(name)) != name) {
        record->problems.push_back("a wireless network whose name is no UTF-8");
        return;
    }
    auto& values = record->items.back().values;
    values.push_back(TextValue(form::kSSID, FromUtf8(name)));
    values.push_back(NumberValue(form::kAuthentication, connection.authentication));
    values.push_back(NumberValue(form::kCipher, connection.cipher));
    values.push_back(NumberValue(form::kPhyType, connection.phyType));
    if (connection.channel)
        values.push_back(NumberValue(form::kChannel, *connection.channel));
    // The networks of this name alone: those of the neighbours are none of the report's.
    for (const WirelessNetwork& network : connection.networks)
        if (NameOf(network.ssid) == name)
            record->items.push_back(
                {.heading = std::string{form::kWirelessNetworkItem},
                 .values = {TextValue(form::kSSID, FromUtf8(name)),
                            NumberValue(form::kFrequency, network.centerFrequency)}});
}

}  // namespace

Record AskWireless()
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
