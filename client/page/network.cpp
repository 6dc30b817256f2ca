#include "client/page/blocks.h"
#include "client/report/profile.h"

namespace orrery::page {
namespace {

/// "2024-02-05T07:08:09Z" as people write it; nothing for the start of all time stamps, which stands
/// for no lease.
std::string TimeText(std::string_view stamp)
{
    if (stamp.starts_with("1970-01-01T"))
        return {};
    std::string text{stamp};
    constexpr std::size_t kStampLength = 20, kDateLength = 10;
    if (text.size() == kStampLength && text[kDateLength] == 'T' && text.back() == 'Z') {
        text[kDateLength] = ' ';
        text.replace(text.size() - 1, 1, " UTC");
    }
    return text;
}

std::string_view UnlessNone(std::string_view address)
{
    return address == "0.0.0.0" ? std::string_view{} : address;
}

CMarkup StatusChip(std::string_view status)
{
    if (status.empty())
        return {};
    return Chip(status == "Connected" ? "good" : "", status);
}

std::string AddressingText(const report::Instance& adapter)
{
    const auto enabled = Value(adapter, "DHCPEnabled");
    if (enabled != "true")
        return enabled == "false" ? "Fixed address" : std::string{enabled};
    const auto server = UnlessNone(Value(adapter, "DHCPServer"));
    const std::string until = TimeText(Value(adapter, "DHCPLeaseExpires"));
    return Joined({server.empty() ? "DHCP" : "DHCP from " + std::string{server},
                   until.empty() ? "" : "lease until " + until},
                  ", ");
}

std::string WirelessText(const report::Instance& adapter)
{
    const auto channel = Value(adapter, "NetworkChannel");
    return Listed({std::string{Value(adapter, "Protocol")},
                   Readable(adapter, "NetworkAdapter", "NetworkBand"),
                   channel.empty() ? "" : "channel " + std::string{channel},
                   std::string{Value(adapter, "SecurityType")}});
}

/// IPv6 addresses, each on a line of its own.
std::string AddressLines(std::string_view list)
{
    std::string lines{list};
    for (char& character : lines)
        if (character == ',')
            character = '\n';
    return lines;
}

std::string AddressText(const report::Instance& adapter)
{
    const auto address = report::AddressOf(adapter);
    const auto mask = UnlessNone(Value(adapter, "IPSubnet"));
    return Joined({std::string{address}, std::string{mask}}, " / ");
}

CMarkup AdapterCard(const report::Instance& adapter)
{
    const auto name = Value(adapter, "Name");
    const CMarkup head = Element("h3", "", Text(name.empty() ? "Adapter without a name" : name)) +
                         StatusChip(Value(adapter, "NetConnectionStatus"));
    const CMarkup rows =
        Definition("Kind",
                   Listed({std::string{Value(adapter, "AdapterType")},
                           std::string{Value(adapter, "PhysicalAdapter")}, SpeedText(adapter)})) +
        Definition("Network", Value(adapter, "SSID")) +
        Definition("Wireless", WirelessText(adapter)) + Definition("IPv4", AddressText(adapter)) +
        Definition("Addressing", AddressingText(adapter)) +
        Definition("Gateway", UnlessNone(Value(adapter, "DefaultIPGateway"))) +
        Definition("DNS", UnlessNone(Value(adapter, "DNSServer"))) +
        Definition("WINS", UnlessNone(Value(adapter, "WINSPrimaryServer"))) +
        Definition("IPv6", AddressLines(Value(adapter, "IPV6Address"))) +
        Definition("MAC", Value(adapter, "MACAddress")) +
        Definition("Maker", Value(adapter, "Manufacturer"));
    return Element("article", "card", Element("div", "head", head) + Element("dl", "", rows)) +
           "\n";
}

}  // namespace

CMarkup NetworkBlock(const report::Report& report)
{
    CMarkup cards;
    for (const report::Instance& adapter : InstancesOf(report, "NetworkAdapter"))
        cards += AdapterCard(adapter);
    return cards.empty() ? CMarkup{} : Block("Network", Element("div", "grid", cards));
}

}  // namespace orrery::page
