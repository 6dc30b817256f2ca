#include "wmi/class_collector.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "sim/simulation.h"
#include "wmi/session.h"

namespace orrery {
namespace {

constexpr const wchar_t* kMachine =
    LR"(
namespace root\cimv2
instance of Win32_BaseBoard {
Manufacturer = "Acme";
Product = "X1";
};
unreadable instance of Win32_BaseBoard {
Manufacturer = "Lost";
};
empty slot of Win32_BaseBoard
instance of Win32_BaseBoard {
Product = "X3";
Version = "r; 2";
};
class Win32_SystemSlot
instance of Win32_SystemEnclosure {
ChassisTypes = {31, 3};
Size = "1048576";
};
)";

std::ptrdiff_t CountOf(const std::vector<std::string>& trace, std::string_view call)
{
    return std::count_if(trace.begin(), trace.end(),
                         [call](const std::string& line) { return line.starts_with(call); });
}

class ClassCollector : public testing::Test {
protected:
    ComApartment apartment;
    sim::Simulation simulation{kMachine};
    CInvMap map;
};

TEST_F(ClassCollector, TakesTheClassNameFromAStringResource)
{
    const wchar_t* const descriptor[] = {reinterpret_cast<const wchar_t*>(std::uintptr_t{1}),
                                         L"Section", L"Name", nullptr};
    CHardwareCollector collector;
    EXPECT_EQ(CollectClass(&collector, 100, &map, descriptor), 0);
    EXPECT_EQ(CountOf(simulation.Trace(), "IWbemServices::CreateInstanceEnum(Orrery test text"), 1);
}

TEST_F(ClassCollector, OpensOneSessionAndTriesAgainAfterAFailure)
{
    CHardwareCollector collector;
    simulation.FailCall("IWbemLocator::ConnectServer", 1, E_ACCESSDENIED);
    simulation.FailCall("IClientSecurity::SetBlanket", 1, E_ACCESSDENIED);  // does not matter
    collector.ConnectWmi();
    EXPECT_FALSE(collector.services);
    collector.ConnectWmi();
    EXPECT_TRUE(collector.services);
    collector.ConnectWmi();
    const auto trace = simulation.Trace();
    EXPECT_EQ(CountOf(trace, "CoCreateInstance(0x17"), 2);
    EXPECT_EQ(CountOf(trace, "IWbemLocator::ConnectServer(root\\cimv2"), 2);
    EXPECT_EQ(CountOf(trace, "IClientSecurity::SetBlanket(10, 0, null, 2, 3, null, 0)"), 1);
}

TEST_F(ClassCollector, GivesPropertyValuesInOrder)
{
    CHardwareCollector collector;
    const struct {
        const wchar_t *className, *property;
        std::vector<WideString> values;
    } rows[] = {
        {L"Win32_SystemEnclosure", L"Size", {L"1048576"}},         // a string: as it stands
        {L"Win32_SystemEnclosure", L"ChassisTypes", {L"Laptop"}},  // converted
        {L"Win32_BaseBoard",
         L"Manufacturer",
         {L"Acme", L"Lost", L""}},                         // Get works without the text
        {L"Win32_BaseBoard", L"Version", {L"", L"r; 2"}},  // neither way for the second: left out
        {L"Win32_SystemSlot", L"CurrentUsage", {}},
    };
    for (const auto& row : rows) {
        std::vector<WideString> values;
        EXPECT_EQ(GetClassPropertyValues(&collector, row.className, row.property, &values),
                  static_cast<std::int32_t>(row.values.size()));
        EXPECT_EQ(values, row.values);
    }
}

std::wstring ManyInstances(int count)
{
    std::wstring scenario = L"namespace root\\cimv2\n";
    for (int at = 0; at < count; ++at)
        scenario +=
            L"instance of Win32_BaseBoard\n{\n\tProduct = \"" + std::to_wstring(at) + L"\";\n};\n";
    return scenario;
}

TEST(ClassBatch, HoldsNoMoreThanAsked)
{
    const ComApartment apartment;
    const sim::Simulation simulation{ManyInstances(130)};
    CHardwareCollector collector;
    CInvMap map;
    EXPECT_EQ(CollectClass(&collector, 100, &map, descriptors::kBaseBoard), 100);
    std::vector<WideString> values;
    EXPECT_EQ(GetClassPropertyValues(&collector, L"Win32_BaseBoard", L"Product", &values), 100);
    EXPECT_EQ(values.back(), L"99");
    EXPECT_EQ(CountOf(simulation.Trace(), "IEnumWbemClassObject::Next(1000, 100)"), 2);
}

TEST(ClassBatch, EndsAfterASecond)
{
    const ComApartment apartment;
    const sim::Simulation simulation{ManyInstances(2) +
                                     L"after 5000 ms\ninstance of Win32_BaseBoard\n{\n};\n"};
    CHardwareCollector collector;
    CInvMap map;
    const auto start = GetTickCount64();
    EXPECT_EQ(CollectClass(&collector, 100, &map, descriptors::kBaseBoard), 2);
    EXPECT_LT(GetTickCount64() - start, 3000U);
}

TEST(WmiQuery, SetsItsOwnBlanketsAndGivesRowsOneByOne)
{
    const ComApartment apartment;
    sim::Simulation simulation{kMachine};
    {
        const auto services = OpenSession(L"\\\\.\\ROOT\\CIMV2", RefusedBlanket::kEndsSession);
        ASSERT_TRUE(services);
        auto rows = Query(services.get(), L"SELECT Product FROM Win32_BaseBoard");
        ASSERT_TRUE(rows.succeeded());
        int count = 0;
        while (const auto row = rows.Next())
            ++count;
        EXPECT_EQ(count, 2);  // the empty slot ends the walk like the end of the rows does
    }
    const auto trace = simulation.Trace();
    EXPECT_EQ(CountOf(trace, "CoCreateInstance(0x1)"), 1);
    EXPECT_EQ(CountOf(trace, "IClientSecurity::SetBlanket(10, 0, null, 3, 3, null, 0)"), 1);
    EXPECT_EQ(CountOf(trace, "IClientSecurity::SetBlanket(-1, -1, -1, 6, 3, null, 0)"), 1);
    EXPECT_EQ(
        CountOf(trace, "IWbemServices::ExecQuery(WQL, SELECT Product FROM Win32_BaseBoard, 0x30)"),
        1);
    EXPECT_EQ(CountOf(trace, "IEnumWbemClassObject::Next(-1, 1)"), 3);

    simulation.FailCall("IClientSecurity::SetBlanket", 0, E_ACCESSDENIED);
    EXPECT_FALSE(OpenSession(L"root\\cimv2", RefusedBlanket::kEndsSession));
    EXPECT_TRUE(OpenSession(L"root\\cimv2", RefusedBlanket::kKeepsSession));
    EXPECT_FALSE(OpenSession(L"root\\none", RefusedBlanket::kKeepsSession));
    EXPECT_EQ(simulation.LiveObjects(), 0);
}

}  // namespace
}  // namespace orrery
