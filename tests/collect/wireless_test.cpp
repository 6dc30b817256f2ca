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

constexpr auto kConnected = wlan_interface_state_connected;
constexpr const wchar_t* kHome = L"Home|Wi-Fi 5 (802.11ac)|WPA2-Personal|2437000|6";

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
        const AdapterDetail& detail = collector.adapterDetails[name];
        return std::wstring{detail.ssid.view()} + L"|" + detail.protocol.c_str() + L"|" +
               detail.securityType.c_str() + L"|" + detail.networkBand.c_str() + L"|" +
               detail.networkChannel.c_str();
    }

    sim::Wlan wlan;
    CHardwareCollector collector;
    const std::string longSsid = std::string(32, 's');
};

// What the report tells of every kind of network is told by the machine "wireless".
TEST_F(Wireless, FreesEveryBlockOnceAndTheLastOfEachKindAtTheEnd)
{
    const sim::Wlan::Interface home{
        L"One", kConnected, MakeConnection("Home"), 6, {{{"Home", 2437000}}}};
    wlan.interfaces = {home, {L"Two", kConnected, MakeConnection("Work"), {}, {}}};
    EXPECT_EQ(Read(L"Two"), L"Work|Wi-Fi 5 (802.11ac)|WPA2-Personal|2437000|6");
    EXPECT_EQ(wlan.freed, (std::vector<std::string>{"connection", "connection", "interfaces",
                                                    "networks", "channel"}));
    // every interface with blocks of its own: those of the first go when the second's arrive
    wlan.freed.clear();
    wlan.interfaces[1] = home;
    Read(L"One");
    EXPECT_EQ(wlan.freed,
              (std::vector<std::string>{"connection", "channel", "networks", "connection",
                                        "interfaces", "networks", "channel"}));
}

TEST_F(Wireless, TakesAnswersThatDoNotTellTheirSizeAndNoneThatIsShort)
{
    wlan.interfaces = {{L"One", kConnected, MakeConnection("Home"), 6, {{{"Home", 2437000}}}}};
    wlan.tellsSizes = false;
    EXPECT_EQ(Read(L"One"), kHome);
    wlan.tellsSizes = true;
    wlan.hiddenNetworks = 1000000;  // no network is read past the end of the list
    EXPECT_EQ(Read(L"One"), kHome);
    collector.adapterDetails[L"One"] = {};
    wlan.connectionSize = sizeof(WLAN_CONNECTION_ATTRIBUTES) - 1;
    EXPECT_EQ(Read(L"One"), L"||||");
}

TEST_F(Wireless, PassesOverAConnectionThatIsLeaving)
{
    WLAN_CONNECTION_ATTRIBUTES leaving = MakeConnection("Home");
    leaving.isState = wlan_interface_state_disconnecting;
    wlan.interfaces = {{L"One", kConnected, leaving, 6, {}}};
    EXPECT_EQ(Read(L"One"), L"||||");
}

TEST_F(Wireless, AsksForNetworksOfTheConnectionsTypeWhateverItIs)
{
    auto connection = MakeConnection("Home");
    const std::int32_t type = 7;
    std::memcpy(&connection.wlanAssociationAttributes.dot11BssType, &type, sizeof type);
    wlan.interfaces = {{L"One", kConnected, connection, 6, {{{"Home", 2437000}}}}};
    EXPECT_EQ(Read(L"One"), kHome);
    EXPECT_EQ(wlan.networksAsked, type);
}

TEST_F(Wireless, ReadsAFullSsidIntoTheBytesThatFollow)
{
    // the type of the network, 1, follows in the connection; the PHY number in the list
    wlan.interfaces = {{L"One",
                        kConnected,
                        MakeConnection(longSsid.c_str()),
                        6,
                        {{{longSsid.c_str(), 5180000, 1}, {longSsid.c_str(), 2437000, 0}}}}};
    EXPECT_EQ(Read(L"One"),
              std::wstring(32, L's') + L"\x01|Wi-Fi 5 (802.11ac)|WPA2-Personal|5180000|6");
}

TEST_F(Wireless, DoesNothingWithoutTheService)
{
    wlan.interfaces = {{L"One", kConnected, MakeConnection("Home"), 6, {}}};
    wlan.openResult = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Read(L"One"), L"||||");
    EXPECT_EQ(wlan.calls, 1);
    wlan.openResult = ERROR_SUCCESS;
    wlan.listResult = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Read(L"One"), L"||||");
    EXPECT_EQ(wlan.calls, 3);
    wlan.listResult = ERROR_SUCCESS;

    const auto lacks = [this](auto entry) {
        const auto kept = std::exchange(collector.wlan.*entry, nullptr);
        EXPECT_EQ(Read(L"One"), L"||||");
        EXPECT_EQ(wlan.calls, 3);
        return kept;
    };
    // one at a time
    collector.wlan.openHandle = lacks(&WlanFunctions::openHandle);
    collector.wlan.enumInterfaces = lacks(&WlanFunctions::enumInterfaces);
    collector.wlan.queryInterface = lacks(&WlanFunctions::queryInterface);
    collector.wlan.getNetworkBssList = lacks(&WlanFunctions::getNetworkBssList);
    collector.wlan.freeMemory = lacks(&WlanFunctions::freeMemory);
    EXPECT_EQ(Read(L"One"), L"Home|Wi-Fi 5 (802.11ac)|WPA2-Personal|0|6");
}

TEST_F(Wireless, IsNotAskedForWithoutRecords)
{
    const sim::IpHelper ipHelper{{sim::MakeAdapter("One", {2, 0, 0, 0, 0, 1})}};
    collector.adapterDetails.clear();  // they come from WMI
    CInvMap map;
    EXPECT_EQ(CollectNetwork(&collector, 100, &map), 1);
    EXPECT_EQ(wlan.calls, 0);
}

}  // namespace
}  // namespace orrery
