#include "entry/dispatcher.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "entry/categories.h"
#include "entry/run.h"
#include "sim/detour.h"
#include "sim/simulation.h"
#include "support/com.h"

namespace orrery {
namespace {

/// Runs every category.
/// @return how many of them told their time
std::ptrdiff_t Collect(bool threaded)
{
    const sim::Detour drives{L"kernel32.dll", "GetLogicalDrives", [] { return DWORD{0x4}; }};  // C:
    const ComApartment apartment;
    CInvMap map;
    CHardwareDispatcher dispatcher{threaded, &map};
    for (const auto& category : kHardwareCategories)
        dispatcher.Dispatch(category.id, category.name);
    dispatcher.WaitAll();
    EXPECT_EQ(dispatcher.threadCount, 0);
    return std::count_if(map.entries().begin(), map.entries().end(),
                         [](const auto& entry) { return entry.first.starts_with(L"ET\\"); });
}

std::wstring Scenario()
{
    return sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/desktop.machine");
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
            EXPECT_EQ(Collect(threaded), 13) << "call " << nth;
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
