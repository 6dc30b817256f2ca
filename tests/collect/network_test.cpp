#include "collect/network.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "sim/facts.h"
#include "sim/ip_helper.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

/// A machine whose WMI knows these adapters.
std::wstring Machine()
{
    std::wstring scenario = L"namespace root\\cimv2\n";
    for (const wchar_t* properties : {
             LR"("01"; Name = "Card A"; Manufacturer = "Old"; Speed = "10";)",
             LR"("01"; Name = "Card A"; Manufacturer = "Acme"; PhysicalAdapter = TRUE;)"
             LR"( NetConnectionStatus = 2;)",
             LR"("02"; Name = "CARD B"; Manufacturer = "Acme";)",
             LR"(NULL; Name = "Card C"; Manufacturer = "Acme";)",
             LR"(EMPTY; Name = "Card C";)",
             LR"("04"; Name = NULL;)",
             LR"("04"; Name = EMPTY;)",
             LR"("04"; Name = ""; Manufacturer = "Acme";)",
             LR"(""; Name = "Card E"; Manufacturer = NULL; PhysicalAdapter = NULL; Speed = NULL;)"
             LR"( NetConnectionStatus = NULL;)",
             LR"("06"; Name = "Card F"; PhysicalAdapter = FALSE; Speed = "9223372036854775807";)"
             LR"( NetConnectionStatus = 13;)",
         }) {
        std::wstring lines = properties;
        for (std::size_t at = 0; (at = lines.find(L"; ", at)) != std::wstring::npos;)
            lines[++at] = L'\n';
        scenario += L"instance of Win32_NetworkAdapter\n{\nMACAddress = " + lines + L"\n};\n";
    }
    return scenario;
}

using sim::Facts;

class NetworkCollector : public testing::Test {
protected:
    Facts Collect(std::uint32_t maxInstances = 100)
    {
        CInvMap map;
        {
            CHardwareCollector collector;
            written = CollectNetwork(&collector, maxInstances, &map);
        }
        return sim::FactsOf(map);
    }

    ComApartment apartment;
    sim::IpHelper ipHelper{{sim::MakeAdapter("Card A", {2, 0, 0, 0, 0, 1}),
                            sim::MakeAdapter("Card B", {2, 0, 0, 0, 0, 2}),
                            sim::MakeAdapter("Card C", {2, 0, 0, 0, 0, 3}),
                            sim::MakeAdapter("", {2, 0, 0, 0, 0, 4}),
                            sim::MakeAdapter("Card E", {2, 0, 0, 0, 0, 5}),
                            sim::MakeAdapter("Card F", {2, 0, 0, 0, 0, 6})}};
    std::int32_t written = -1;
};

TEST_F(NetworkCollector, AddsWhatWmiKnowsUnderTheVeryName)
{
    const sim::Simulation simulation{Machine()};
    const Facts facts = Collect();
    const struct {
        const wchar_t *manufacturer, *physical, *speed, *status;
    } rows[] = {
        {L"Acme", L"Physical", L"", L"Connected"},  // nothing is left of the earlier row
        {L"", L"", L"", L""},                       // differs in case
        {L"", L"", L"", L""},                       // no hardware address
        {L"", L"", L"", L""},                       // no name
        {L"", L"Logical", L"", L"Disconnected"},    // an empty address will do
        {L"", L"Logical", L"9223372036854775807", L"Other"},
    };
    std::wstring index = L"0";
    for (const auto& row : rows) {
        EXPECT_EQ(facts.at(L"NetworkAdapter\\Manufacturer\\" + index), row.manufacturer);
        EXPECT_EQ(facts.at(L"NetworkAdapter\\PhysicalAdapter\\" + index), row.physical);
        EXPECT_EQ(facts.at(L"NetworkAdapter\\Speed\\" + index), row.speed);
        EXPECT_EQ(facts.at(L"NetworkAdapter\\NetConnectionStatus\\" + index), row.status);
        ++index[0];
    }
    EXPECT_EQ(simulation.LiveObjects(), 0);
    const auto trace = simulation.Trace();
    for (const char* call :
         {"CoCreateInstance(0x1)",
          "IWbemLocator::ConnectServer(ROOT\\CIMV2, null, null, null, 0x0, null)",
          "IWbemServices::ExecQuery(WQL, SELECT MACAddress, Name, Manufacturer, PhysicalAdapter, "
          "Speed, NetConnectionStatus FROM Win32_NetworkAdapter, 0x30)"})
        EXPECT_EQ(std::count(trace.begin(), trace.end(), call), 1) << call;
}

TEST_F(NetworkCollector, WritesEveryKeyOfAnAdapter)
{
    const sim::Simulation simulation{L"namespace root"};
    ipHelper.adapters = {sim::MakeAdapter("Wi-Fi", {2, 0, 0, 0, 0, 1}, IF_TYPE_IEEE80211)};
    IP_ADAPTER_INFO& adapter = ipHelper.adapters[0];
    std::copy_n("10.0.0.1", 8, adapter.IpAddressList.IpAddress.String);
    std::copy_n("10.0.0.2", 8, adapter.IpAddressList.IpMask.String);
    std::copy_n("10.0.0.3", 8, adapter.GatewayList.IpAddress.String);
    std::copy_n("10.0.0.4", 8, adapter.PrimaryWinsServer.IpAddress.String);
    std::copy_n("10.0.0.5", 8, adapter.DhcpServer.IpAddress.String);
    adapter.DhcpEnabled = 1;
    adapter.LeaseExpires = 86400;
    ipHelper.dnsServers = {{0, "10.0.0.6"}};
    ipHelper.ipv6Adapters = {{L"Wi-Fi", {L"fd00::7"}}};
    const std::pair<const wchar_t*, const wchar_t*> rows[] = {
        {L"IPAddress", L"10.0.0.1"},
        {L"IPSubnet", L"10.0.0.2"},
        {L"DefaultIPGateway", L"10.0.0.3"},
        {L"WINSPrimaryServer", L"10.0.0.4"},
        {L"DHCPServer", L"10.0.0.5"},
        {L"DNSServer", L"10.0.0.6"},
        {L"IPV6Address", L"fd00::7"},
        {L"DHCPEnabled", L"true"},
        {L"DHCPLeaseObtained", L"1970-01-01T00:00:00Z"},
        {L"DHCPLeaseExpires", L"1970-01-02T00:00:00Z"},
        {L"Name", L"Wi-Fi"},
        {L"MACAddress", L"02-00-00-00-00-01"},
        {L"AdapterType", L"Wireless"},
        {L"PhysicalAdapter", L""},
        {L"Manufacturer", L""},
        {L"Speed", L""},
        {L"NetConnectionStatus", L""},
        {L"SSID", L""},
        {L"Protocol", L""},
        {L"SecurityType", L""},
        {L"NetworkBand", L""},
        {L"NetworkChannel", L""},
    };
    Facts expected;
    for (const auto& [property, value] : rows)
        expected[FactKey(L"NetworkAdapter", property, 0)] = value;
    EXPECT_EQ(Collect(), expected);
}

TEST_F(NetworkCollector, WritesNoMoreThanTheMaximum)
{
    const sim::Simulation simulation{Machine()};
    ipHelper.adapters.assign(150, sim::MakeAdapter("Same", {2, 0, 0, 0, 0, 1}));
    const Facts facts = Collect();
    EXPECT_EQ(written, 100);
    EXPECT_EQ(facts.size(), 2200U);
    EXPECT_TRUE(facts.contains(L"NetworkAdapter\\SSID\\99"));
    ipHelper.adapters.clear();
    EXPECT_TRUE(Collect().empty());  // whatever WMI knows
    EXPECT_EQ(written, 0);
}

TEST_F(NetworkCollector, WritesEveryKeyWhateverWmiRefuses)
{
    const struct {
        const char* call;
        int nth;
        const wchar_t* manufacturer;  // of the first adapter
    } rows[] = {
        {"CoCreateInstance", 0, L""},
        {"IWbemLocator::ConnectServer", 0, L""},
        {"IWbemServices::QueryInterface", 0, L""},
        {"IClientSecurity::SetBlanket", 1, L""},
        {"IWbemServices::ExecQuery", 0, L""},
        {"IEnumWbemClassObject::QueryInterface", 0, L"Acme"},  // default security is good enough
        {"IClientSecurity::SetBlanket", 2, L"Acme"},
        {"IEnumWbemClassObject::Next", 1, L""},
        {"IEnumWbemClassObject::Next", 2, L"Old"},  // what was read is kept
        {"IWbemClassObject::Get", 0, L""},
        {"IWbemClassObject::Get(Manufacturer, 0x0)", 0, L""},
    };
    for (const auto& row : rows) {
        sim::Simulation simulation{Machine()};
        simulation.FailCall(row.call, row.nth, E_ACCESSDENIED);
        const Facts facts = Collect();
        EXPECT_EQ(facts.size(), 132U) << row.call;
        EXPECT_EQ(facts.at(L"NetworkAdapter\\Manufacturer\\0"), row.manufacturer) << row.call;
        EXPECT_EQ(simulation.LiveObjects(), 0) << row.call;
    }
}

TEST(AdapterDetails, AreEmptyWhereNothingIsKnown)
{
    CHardwareCollector collector;
    collector.adapterDetails[L"Card"].speed = L"10";
    EXPECT_EQ(AdapterDetailText(collector, L"Card", L"Speed"), L"10");
    EXPECT_EQ(AdapterDetailText(collector, L"Card", L"speed"), L"");
    EXPECT_EQ(AdapterDetailText(collector, L"card", L"Speed"), L"");
    EXPECT_EQ(collector.adapterDetails.size(), 1U);
}

TEST(ConnectionStatus, HasNamesFromZeroToTwelve)
{
    EXPECT_EQ(ConnectionStatusName(0), L"Disconnected");
    EXPECT_EQ(ConnectionStatusName(9), L"Authentication Succeeded");
    EXPECT_EQ(ConnectionStatusName(12), L"Credentials Required");
    EXPECT_EQ(ConnectionStatusName(13), L"Other");
    EXPECT_EQ(ConnectionStatusName(-1), L"Other");
}

}  // namespace
}  // namespace orrery
