// A run of the DLL against the very platform calls that it makes, made again in the same threads by
// a program that throws the answers away.

#include <windows.h>

#include <orrery/inventory.h>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

#include "figures.h"
#include "recorder.h"
#include "sim/simulation.h"
#include "support/library.h"
#include "support/unique.h"

namespace orrery::bench {
namespace {

constexpr double kMostOfBare = 1.10;

struct Times {
    double ours = 0;
    double bare = 0;
    int runs = 0;
};

/// Lets blocks of runs and of replays take turns, until their processor time is large beside the
/// steps in which systems count it.
template <class Run>
Times Compare(double seconds, Run run, CallRecord& record)
{
    constexpr int kBlock = 5;
    Times times;
    while (times.bare < seconds) {
        const double start = ProcessorTime();
        for (int at = 0; at < kBlock; ++at)
            run();
        const double middle = ProcessorTime();
        for (int at = 0; at < kBlock; ++at)
            record.Replay();
        times.ours += middle - start;
        times.bare += ProcessorTime() - middle;
        times.runs += kBlock;
    }
    return times;
}

void MeasureMachine(const char* machine, const Options& options)
{
    const UniqueModule library{LoadLibraryW(L"orrery.dll")};
    const auto getInventoryEx =
        FindFunction<decltype(&GetInventoryEx)>(library.get(), "GetInventoryEx");
    if (getInventoryEx == nullptr)
        throw std::runtime_error("orrery.dll is not beside this program");
    const auto path = std::filesystem::temp_directory_path() /
                      (L"orrery-bench-" + std::to_wstring(GetCurrentProcessId()) + L".tsv");
    const auto run = [&] {
        if (getInventoryEx(path.c_str(), 0x10) != 1)
            throw std::runtime_error("the run did not succeed");
    };
    run();  // what is loaded and computed once for the process is not the library's cost
    CallRecord record{library.get(), run};
    record.Replay();
    if (record.Deviations() != 0)
        throw std::runtime_error(std::to_string(record.Deviations()) + " of " +
                                 std::to_string(record.CallCount()) +
                                 " calls were not answered as when they were recorded");
    const Times times = Compare(options.quick ? 0.3 : 10, run, record);
    std::filesystem::remove(path);
    Print({"bare calls",
           "processor time of a run, " + std::string{machine} + ", " + std::to_string(times.runs) +
               " runs",
           "ms", times.ours / times.runs * 1e3,
           "its " + std::to_string(record.CallCount()) + " calls in " +
               std::to_string(record.ThreadCount()) + " threads",
           times.bare / times.runs * 1e3, times.ours / times.bare, kMostOfBare});
}

void Measure(const Options& options)
{
    {
        sim::Simulation simulation{
            sim::LoadScenario(L"" ORRERY_TEST_DATA "/machines/workstation.machine")};
        simulation.StopTrace();
        MeasureMachine("simulated WMI", options);
    }
    MeasureMachine("this machine's WMI", options);
}

}  // namespace
}  // namespace orrery::bench

int main(int argumentCount, char** arguments)
{
    return orrery::bench::Main(argumentCount, arguments, &orrery::bench::Measure);
}
