// A whole run on a machine whose WMI answers late: against its slowest category alone, and against
// the same categories one after another.

#include <windows.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "entry/categories.h"
#include "entry/dispatcher.h"
#include "entry/run.h"
#include "figures.h"
#include "sim/simulation.h"

namespace orrery::bench {
namespace {

constexpr double kMostOfSlowest = 1.05;

void WINAPI TellOneProcessor(SYSTEM_INFO* system)
{
    *system = {};
    system->dwNumberOfProcessors = 1;
}

double WholeRun(bool threaded)
{
    const auto path = std::filesystem::temp_directory_path() /
                      (L"orrery-bench-" + std::to_wstring(GetCurrentProcessId()) + L".tsv");
    std::optional<sim::Detour> oneProcessor;
    if (!threaded)
        oneProcessor.emplace(L"kernel32.dll", "GetSystemInfo", &TellOneProcessor);
    const double start = Now();
    const std::int32_t result = RunInventory(path.c_str(), 0x10);
    const double taken = Now() - start;
    std::filesystem::remove(path);
    if (result != 1)
        throw std::runtime_error("the run did not succeed");
    return taken;
}

/// Runs categories by themselves, each on a thread.
double Dispatch(const Category* first, std::size_t count)
{
    const ComApartment apartment;
    CInvMap map;
    const double start = Now();
    CHardwareDispatcher dispatcher{true, &map};
    for (std::size_t at = 0; at < count; ++at)
        dispatcher.Dispatch(first[at].id, first[at].name);
    dispatcher.WaitAll();
    return Now() - start;
}

/// Starts as many workers as a run has and lets them do nothing: apartments, collectors, times.
double StartUp()
{
    std::vector<Category> idle{kHardwareCategories.begin(), kHardwareCategories.end()};
    for (auto& category : idle)
        category.id = -1;
    return Dispatch(idle.data(), idle.size());
}

struct CallCounts {
    int all = 0;
    int slowest = 0;
    const Category* slowestCategory = nullptr;
};

/// How many calls wait in the categories, which says what threads can gain at best.
CallCounts CountCalls(const std::wstring& scenario)
{
    CallCounts counts;
    for (const auto& category : kHardwareCategories) {
        const sim::Simulation simulation{scenario};
        Dispatch(&category, 1);
        counts.all += simulation.CallCount();
        if (simulation.CallCount() > counts.slowest) {
            counts.slowest = simulation.CallCount();
            counts.slowestCategory = &category;
        }
    }
    return counts;
}

void Measure(const Options& options)
{
    const int delay = options.quick ? 5 : 20;  // milliseconds
    const int rounds = options.quick ? 1 : 5;
    const auto scenario = sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/workstation.machine");
    const CallCounts calls = CountCalls(scenario);

    sim::Simulation simulation{scenario};
    simulation.DelayCall({}, delay);
    // A run that was held up by something else is no measure: the least of several counts.
    double whole = 1e9, slowest = 1e9, inlined = 1e9, startUp = 1e9;
    for (int round = 0; round < rounds; ++round) {
        whole = std::min(whole, WholeRun(true));
        slowest = std::min(slowest, Dispatch(calls.slowestCategory, 1));
        inlined = std::min(inlined, WholeRun(false));
        startUp = std::min(startUp, StartUp());
    }
    const double possible = static_cast<double>(calls.all) / calls.slowest;
    const auto each = "each of " + std::to_string(calls.all) + " WMI calls " +
                      std::to_string(delay) + " ms late, less start-up";
    Print({"latency", "whole run, " + each, "ms", (whole - startUp) * 1e3,
           "its slowest category alone", slowest * 1e3, (whole - startUp) / slowest,
           kMostOfSlowest});
    Print({"latency", "speed-up of threads over inline", "times", inlined / whole,
           "what the delays allow", possible, possible / (inlined / whole), kMostOfSlowest});
    Print({"latency", "start-up: 13 workers that do nothing", "ms", startUp * 1e3, "the whole run",
           whole * 1e3, startUp / whole});
}

}  // namespace
}  // namespace orrery::bench

int main(int argumentCount, char** arguments)
{
    return orrery::bench::Main(argumentCount, arguments, &orrery::bench::Measure);
}
