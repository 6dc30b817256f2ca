#include "collect/wireless.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "collect/network.h"
#include "sim/ip_helper.h"
#include "sim/wlan.h"

namespace orrery {
namespace {

using sim::MakeConnection;

class Wireless : public testing::Test {
protected:
    Wireless()
    {
        collector.adapterDetails[L"One"];
        collector.adapterDetails[L"Two"];
    }

    /// The five facts of an adapter, separated by "|".
    std::wstring Read(const wchar_t* name)
    {
        ReadWirelessDetails(&collector);
        EXPECT_TRUE(wlan.blocks.empty());
        EXPECT_EQ(collector.adapterDetails.size(), 2U);
        return Facts(name);
    }
    std::wstring Facts(const wchar_t* name)
    {
        const AdapterDetail& detail = collector.adapterDetails[name];
        std::wstring facts;
        for (const auto& fact : {detail.ssid, detail.protocol, detail.securityType,
                                 detail.networkBand, detail.networkChannel})
            facts.append(fact).append(L"|");
        facts.pop_back();
        return facts;
    }

    sim::Wlan wlan;
    CHardwareCollector collector;
    const std::string longSsid = std::string(32, 's');
};

TEST_F(Wireless, TakesTheLastMatchingNetwork)
{
    wlan.interfaces = {{L"One",
                        wlan_interface_state_connected,
                        MakeConnection("Home"),
                        6,
                        {{{"Home", 5180000}, {"Home", 2437000}, {"home", 1}, {"Home2", 2}}}}};
    EXPECT_EQ(Read(L"One"), L"Home|Wi-Fi 5 (802.11ac)|WPA2-Personal|2437000|6");
    EXPECT_EQ(Facts(L"Two"), L"||||");
    EXPECT_EQ(wlan.networksAsked, dot11_BSS_type_infrastructure);
    EXPECT_EQ(wlan.freed,
              (std::vector<std::string>{"connection", "interfaces", "networks", "channel"}));
}

TEST_F(Wireless, KeepsChannelAndFrequencyOfTheInterfaceBefore)
{
    constexpr auto kConnected = wlan_interface_state_connected;
    wlan.interfaces = {
        {L"One", kConnected, MakeConnection("Home"), 6, {{{"Home", 2437000}}}},
        {L"Two", kConnected, MakeConnection("Work", static_cast<DOT11_AUTH_ALGORITHM>(9)), {}, {}},
    };
    EXPECT_EQ(Read(L"Two"), L"Work|Wi-Fi 5 (802.11ac)|Other|2437000|6");
    EXPECT_EQ(wlan.freed, (std::vector<std::string>{"connection", "connection", "interfaces",
                                                    "networks", "channel"}));
    // every interface with blocks of its own: those of the first go when the second's arrive
    wlan.freed.clear();
    wlan.interfaces[1].channel = 0xFFFFFFFF;
    wlan.interfaces[1].networks = {{{"Home", 1}}};
    EXPECT_EQ(Read(L"Two"), L"Work|Wi-Fi 5 (802.11ac)|Other|2437000|-1");
    EXPECT_EQ(wlan.freed,
              (std::vector<std::string>{"connection", "channel", "networks", "connection",
                                        "interfaces", "networks", "channel"}));
    // nothing before: zero
    wlan.interfaces.erase(wlan.interfaces.begin());
    wlan.interfaces[0].channel.reset();
    EXPECT_EQ(Read(L"Two"), L"Work|Wi-Fi 5 (802.11ac)|Other|0|0");
}

TEST_F(Wireless, NotesTheValuesOfAnInterfaceWithoutARecordToo)
{
    constexpr auto kConnected = wlan_interface_state_connected;
    wlan.interfaces = {{L"Nobody", kConnected, MakeConnection("Home"), 6, {{{"Home", 2437000}}}},
                       {L"One", kConnected, MakeConnection("Work"), {}, {}}};
    EXPECT_EQ(Read(L"One"), L"Work|Wi-Fi 5 (802.11ac)|WPA2-Personal|2437000|6");
}

TEST_F(Wireless, TakesAnswersThatDoNotTellTheirSize)
{
    wlan.tellsSizes = false;
    wlan.interfaces = {{L"One",
                        wlan_interface_state_connected,
                        MakeConnection("Home"),
                        6,
                        {{{"Home", 5180000}, {"Home", 2437000}}}}};
    EXPECT_EQ(Read(L"One"), L"Home|Wi-Fi 5 (802.11ac)|WPA2-Personal|2437000|6");
}

TEST_F(Wireless, PassesOverWhatIsNotConnected)
{
    WLAN_CONNECTION_ATTRIBUTES leaving = MakeConnection("Home");
    leaving.isState = wlan_interface_state_disconnecting;
    wlan.interfaces = {
        {L"One", wlan_interface_state_disconnected, MakeConnection("Home"), 6, {}},
        {L"One", wlan_interface_state_connected, leaving, 6, {}},
        {L"One", wlan_interface_state_connected, {}, 6, {}},
        {L"one", wlan_interface_state_connected, MakeConnection("Home"), 6, {}},  // no such adapter
    };
    EXPECT_EQ(Read(L"One"), L"||||");
    wlan.connectionSize = sizeof(WLAN_CONNECTION_ATTRIBUTES) - 1;
    wlan.interfaces[3].description = L"One";
    EXPECT_EQ(Read(L"One"), L"||||");
}

TEST_F(Wireless, AsksForNetworksOfTheConnectionsTypeWhateverItIs)
{
    auto connection = MakeConnection("Home");
    const std::int32_t type = 7;
    std::memcpy(&connection.wlanAssociationAttributes.dot11BssType, &type, sizeof type);
    wlan.interfaces = {
        {L"One", wlan_interface_state_connected, connection, 6, {{{"Home", 2437000}}}}};
    EXPECT_EQ(Read(L"One"), L"Home|Wi-Fi 5 (802.11ac)|WPA2-Personal|2437000|6");
    EXPECT_EQ(wlan.networksAsked, type);
}

TEST_F(Wireless, ReadsAFullSsidIntoTheBytesThatFollow)
{
    constexpr auto kConnected = wlan_interface_state_connected;
    // the type of the network, 1, follows in the connection; the PHY number in the list
    wlan.interfaces = {{L"One",
                        kConnected,
                        MakeConnection(longSsid.c_str()),
                        6,
                        {{{longSsid.c_str(), 5180000, 1}, {longSsid.c_str(), 2437000, 0}}}}};
    EXPECT_EQ(Read(L"One"),
              std::wstring(32, L's') + L"\x01|Wi-Fi 5 (802.11ac)|WPA2-Personal|5180000|6");
}

TEST_F(Wireless, ReadsNoNetworkPastTheEndOfTheList)
{
    wlan.interfaces = {
        {L"One", wlan_interface_state_connected, MakeConnection("Home"), 6, {{{"Home", 2437000}}}}};
    wlan.hiddenNetworks = 1000000;
    EXPECT_EQ(Read(L"One"), L"Home|Wi-Fi 5 (802.11ac)|WPA2-Personal|2437000|6");
}

TEST_F(Wireless, DoesNothingWithoutTheService)
{
    wlan.interfaces = {{L"One", wlan_interface_state_connected, MakeConnection("Home"), 6, {}}};
    wlan.openResult = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Read(L"One"), L"||||");
    EXPECT_EQ(wlan.calls, 1);
    wlan.openResult = ERROR_SUCCESS;
    wlan.listResult = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Read(L"One"), L"||||");
    EXPECT_EQ(wlan.calls, 3);
    wlan.listResult = ERROR_SUCCESS;

    const auto lacks = [this](auto entry) {
        const auto kept = std::exchange(collector.*entry, nullptr);
        EXPECT_EQ(Read(L"One"), L"||||");
        EXPECT_EQ(wlan.calls, 3);
        return kept;
    };
    // one at a time
    collector.wlanOpenHandle = lacks(&CHardwareCollector::wlanOpenHandle);
    collector.wlanEnumInterfaces = lacks(&CHardwareCollector::wlanEnumInterfaces);
    collector.wlanQueryInterface = lacks(&CHardwareCollector::wlanQueryInterface);
    collector.wlanGetNetworkBssList = lacks(&CHardwareCollector::wlanGetNetworkBssList);
    collector.wlanFreeMemory = lacks(&CHardwareCollector::wlanFreeMemory);
    EXPECT_EQ(Read(L"One"), L"Home|Wi-Fi 5 (802.11ac)|WPA2-Personal|0|6");
}

TEST_F(Wireless, ReachesTheReportThroughTheNetworkCategory)
{
    const sim::IpHelper ipHelper{{sim::MakeAdapter("One", {2, 0, 0, 0, 0, 1})}};
    wlan.interfaces = {{L"One", wlan_interface_state_connected, MakeConnection("Home"), 6, {}}};
    CInvMap map;
    EXPECT_EQ(CollectNetwork(&collector, 100, &map), 1);
    EXPECT_EQ(map.entries().at(L"NetworkAdapter\\SSID\\0")->value, L"Home");
    EXPECT_EQ(map.entries().at(L"NetworkAdapter\\NetworkChannel\\0")->value, L"6");
    EXPECT_EQ(map.entries().at(L"NetworkAdapter\\NetworkBand\\0")->value, L"0");

    // without records, which come from WMI, the service is not asked
    wlan.calls = 0;
    collector.adapterDetails.clear();
    CollectNetwork(&collector, 100, &map);
    EXPECT_EQ(wlan.calls, 0);
}

TEST(WirelessNames, FollowTheNumbersOfTheService)
{
    EXPECT_EQ(PhyTypeName(0), L"unknown");
    EXPECT_EQ(PhyTypeName(1), L"FHSS");
    EXPECT_EQ(PhyTypeName(7), L"Wi-Fi 4 (802.11n)");
    EXPECT_EQ(PhyTypeName(10), L"Wi-Fi 6 (802.11ax)");
    EXPECT_EQ(PhyTypeName(11), L"unknown");
    const struct {
        std::int32_t authentication, cipher;
        const wchar_t* name;
    } rows[] = {
        {1, 0, L"Open"},   {7, 4, L"WPA2-Personal"}, {6, 4, L"WPA2-Enterprise"}, {3, 2, L"WPA"},
        {1, 1, L"WEP-40"}, {7, 5, L"WEP-104"},       {2, 257, L"WEP"},           {9, 4, L"Other"},
        {7, 8, L"Other"},  // GCMP
        {7, 2, L"Other"},  {3, 4, L"Other"},         {2, 0, L"Other"},           {-1, -1, L"Other"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(SecurityName(row.authentication, row.cipher), row.name)
            << row.authentication << " " << row.cipher;
}

}  // namespace
}  // namespace orrery
