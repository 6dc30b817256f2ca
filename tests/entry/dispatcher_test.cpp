#include "entry/dispatcher.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "entry/categories.h"
#include "entry/run.h"
#include "sim/detour.h"
#include "sim/facts.h"
#include "sim/simulation.h"
#include "support/com.h"

namespace orrery {
namespace {

struct Outcome {
    sim::Facts facts;
    std::size_t elapsedTimes = 0;
};

DWORD WINAPI DriveCOnly()
{
    return 0x4;
}

Outcome Collect(bool threaded)
{
    const sim::Detour drives{L"kernel32.dll", "GetLogicalDrives", DriveCOnly};
    const ComApartment apartment;
    CInvMap map;
    CHardwareDispatcher dispatcher{threaded, &map};
    for (const auto& category : kHardwareCategories)
        dispatcher.Dispatch(category.id, category.name);
    dispatcher.WaitAll();
    EXPECT_EQ(dispatcher.threadCount, 0);
    Outcome outcome{sim::FactsOf(map)};
    outcome.elapsedTimes = std::erase_if(
        outcome.facts, [](const auto& fact) { return fact.first.starts_with(L"ET\\"); });
    // Others write to the disk meanwhile.
    std::erase_if(outcome.facts, [](const auto& fact) {
        return fact.first.starts_with(L"LogicalDisk\\FreeSpace\\");
    });
    return outcome;
}

std::wstring Scenario()
{
    return sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/desktop.machine");
}

TEST(Dispatcher, GivesTheSameFactsThreadedAndInline)
{
    sim::Simulation simulation{Scenario()};
    const auto threaded = Collect(true);
    const auto inlined = Collect(false);
    EXPECT_EQ(threaded.facts, inlined.facts);
    EXPECT_EQ(threaded.facts.at(L"SystemEnclosure\\ChassisTypes\\0"), L"Desktop");
    EXPECT_EQ(threaded.facts.at(L"SystemSlot\\CurrentUsage\\1"), L"Available");
    EXPECT_EQ(threaded.facts.at(L"DiskDrive\\LogicalDisks\\1"), L"C:|D:|");
    EXPECT_EQ(threaded.facts.at(L"LogicalDisk\\BitLockerStatus\\0"), L"7");
    EXPECT_EQ(threaded.elapsedTimes, 13U);
    EXPECT_EQ(inlined.elapsedTimes, 13U);
    EXPECT_EQ(simulation.LiveObjects(), 0);
}

TEST(Dispatcher, KeepsEveryElapsedTimeAndNoObjectWhicheverCallFails)
{
    const int calls = [] {
        const sim::Simulation simulation{Scenario()};
        Collect(false);
        return simulation.CallCount();
    }();
    ASSERT_GT(calls, 10);
    for (int nth = 1; nth <= calls; ++nth)
        for (const bool threaded : {false, true}) {
            sim::Simulation simulation{Scenario()};
            simulation.FailNthCall(nth, E_FAIL);
            EXPECT_EQ(Collect(threaded).elapsedTimes, 13U) << "call " << nth;
            EXPECT_EQ(simulation.LiveObjects(), 0) << "call " << nth;
        }
}

TEST(Dispatcher, RecordsTheTimeOfAnUnknownCategory)
{
    CInvMap map;
    CHardwareDispatcher dispatcher{false, &map};
    dispatcher.Dispatch(18, L"Unknown");
    dispatcher.Dispatch(-1, reinterpret_cast<const wchar_t*>(std::uintptr_t{1}));
    ASSERT_EQ(map.entries().size(), 2U);
    EXPECT_EQ(map.entries().begin()->first, L"ET\\Orrery test text");
    EXPECT_TRUE(map.entries().contains(L"ET\\Unknown"));
}

TEST(Dispatcher, PrintsElapsedTimesSigned)
{
    CInvMap map;
    RecordElapsedTime(L"CPU", &map, 120);
    RecordElapsedTime(L"USB", &map, 0xFFFFFFFF);
    EXPECT_EQ(map.entries().at(L"ET\\CPU")->value, L"120");
    EXPECT_EQ(map.entries().at(L"ET\\USB")->value, L"-1");
}

// In a process of its own: there is no way back from a cancel.
[[noreturn]] void CollectCancelled()
{
    CInvMap map;
    CHardwareDispatcher dispatcher{true, &map};
    auto* const job = static_cast<CategoryJob*>(std::malloc(sizeof(CategoryJob)));
    *job = {20, &map, L"BaseBoard"};
    CancelRuns();
    dispatcher.Dispatch(19, L"Enclosure");
    const bool started = dispatcher.threadCount != 0;
    CategoryThreadProc(job);  // as a worker that begins after the cancel
    std::exit(!started && map.entries().empty() ? 0 : 1);
}

TEST(Dispatcher, StartsNothingOnceCancelled)
{
    EXPECT_EXIT(CollectCancelled(), testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace orrery
