#include "collect/network.h"

#include <gtest/gtest.h>

#include "sim/facts.h"
#include "sim/ip_helper.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

constexpr const wchar_t* kMachine =
    LR"(
namespace root\cimv2
instance of Win32_NetworkAdapter {
MACAddress = "01";
Name = "Card A";
Manufacturer = "Old";
};
instance of Win32_NetworkAdapter {
MACAddress = "01";
Name = "Card A";
Manufacturer = "Acme";
};
)";

class NetworkCollector : public testing::Test {
protected:
    sim::Facts Collect()
    {
        CInvMap map;
        CHardwareCollector collector;
        written = CollectNetwork(&collector, 100, &map);
        return sim::FactsOf(map);
    }

    ComApartment apartment;
    sim::IpHelper ipHelper{{sim::MakeAdapter("Card A", {2, 0, 0, 0, 0, 1})}};
    std::int32_t written = -1;
};

TEST_F(NetworkCollector, WritesNoMoreThanTheMaximum)
{
    const sim::Simulation simulation{kMachine};
    ipHelper.adapters.assign(150, ipHelper.adapters[0]);
    EXPECT_EQ(Collect().size(), 2200U);
    EXPECT_EQ(written, 100);
    ipHelper.adapters.clear();
    EXPECT_TRUE(Collect().empty());  // whatever WMI knows
    EXPECT_EQ(written, 0);
}

TEST_F(NetworkCollector, WritesEveryKeyWhateverWmiRefuses)
{
    const struct {
        const char* call;
        int nth;
        const wchar_t* manufacturer;
    } rows[] = {
        {"CoCreateInstance(0x1)", 0, L""},
        {"IWbemLocator::ConnectServer(ROOT\\CIMV2, null, null, null, 0x0, null)", 0, L""},
        {"IWbemServices::QueryInterface", 0, L""},
        {"IClientSecurity::SetBlanket", 1, L""},
        {"IWbemServices::ExecQuery(WQL, SELECT MACAddress, Name, Manufacturer, PhysicalAdapter, "
         "Speed, NetConnectionStatus FROM Win32_NetworkAdapter, 0x30)",
         0, L""},
        {"IEnumWbemClassObject::QueryInterface", 0, L"Acme"},  // default security is good enough
        {"IClientSecurity::SetBlanket", 2, L"Acme"},
        {"IEnumWbemClassObject::Next", 1, L""},
        {"IEnumWbemClassObject::Next", 2, L"Old"},  // what was read is kept
        {"IWbemClassObject::Get", 0, L""},
        {"IWbemClassObject::Get(Manufacturer, 0x0)", 0, L""},
    };
    for (const auto& row : rows) {
        sim::Simulation simulation{kMachine};
        simulation.FailCall(row.call, row.nth, E_ACCESSDENIED);
        const auto facts = Collect();
        EXPECT_EQ(facts.size(), 22U) << row.call;
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
    EXPECT_EQ(ConnectionStatusName(-1), L"Other");
    EXPECT_EQ(ConnectionStatusName(0), L"Disconnected");
    EXPECT_EQ(ConnectionStatusName(12), L"Credentials Required");
    EXPECT_EQ(ConnectionStatusName(13), L"Other");
}

}  // namespace
}  // namespace orrery
