#include "collect/network.h"

#include <gtest/gtest.h>

#include "sim/ip_helper.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

TEST(NetworkCollector, WritesNoMoreThanTheMaximum)
{
    const ComApartment apartment;
    const sim::Simulation simulation{L"namespace root\\cimv2\n"};
    sim::IpHelper ipHelper{{150, sim::MakeAdapter("Card", {2, 0, 0, 0, 0, 1})}};
    CHardwareCollector collector;
    CInvMap map, none;
    EXPECT_EQ(CollectNetwork(&collector, 100, &map), 100);
    EXPECT_EQ(map.entries().size(), 2200U);
    ipHelper.adapters.clear();
    EXPECT_EQ(CollectNetwork(&collector, 100, &none), 0);
    EXPECT_TRUE(none.entries().empty());
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
