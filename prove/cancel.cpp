#include "prove/cancel.h"

#include <windows.h>

#include <orrery/inventory.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string_view>
#include <system_error>
#include <thread>

#include "client/commands/windows/library.h"
#include "client/system/console.h"
#include "client/system/child_process.h"
#include "prove/guard.h"
#include "prove/rig.h"

namespace orrery::prove {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kResultCode = 100;  // the exit code of a run that returned 0
constexpr DWORD kLongestMilliseconds = 30000;
constexpr std::string_view kKept = "an earlier report";

bool IsThreaded(unsigned seed)
{
    return seed % 4 != 0;
}

/// When a run is cancelled.
struct Moment {
    int call = 0;  ///< at this call of WMI, from 1; 0: by the clock
    std::chrono::microseconds after{0};
};

/// Half of the moments lie where the threads are started, half at any step of the run.
Moment MomentOf(unsigned seed)
{
    constexpr int kCalls = 380;  // of WMI in a whole run, about
    std::mt19937 random{seed};
    const auto pick = [&random](int most) {
        return std::uniform_int_distribution{0, most}(random);
    };
    if (seed % 2 == 0)
        return {.call = 1 + pick(kCalls)};
    return {.after = std::chrono::microseconds{pick(40000)}};
}

void WaitUntil(Clock::time_point moment)
{
    while (Clock::now() < moment)
        YieldProcessor();
}

std::string ReadAll(const std::filesystem::path& path)
{
    std::ifstream stream{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{stream}, std::istreambuf_iterator<char>{}};
}

/// What is wrong with the report of a run that was cancelled too late to stop it: each category is
/// there as a whole, with its elapsed time, or not at all.
std::string FlawsOfPart(const Facts& whole, const Facts& part)
{
    std::string flaws = part.flaws;
    int there = 0;
    for (std::size_t caller = 1; caller < kCallers; ++caller) {
        if (part.byCaller[caller].empty())
            continue;
        ++there;
        if (part.byCaller[caller] != whole.byCaller[caller])
            flaws += "; " + CallerName(static_cast<int>(caller)) + " is not whole";
    }
    if (there != part.elapsedTimes)
        flaws += "; " + std::to_string(part.elapsedTimes) + " elapsed times for " +
                 std::to_string(there) + " categories";
    return flaws;
}

/// Starts the processes one after the other and keeps count of what they did.
class Canceller {
public:
    Canceller() : whole_{Collect(0, false), Collect(0, true)} {}
    ~Canceller()
    {
        std::error_code ignored;
        std::filesystem::remove(path_, ignored);
    }
    Canceller(const Canceller&) = delete;
    Canceller& operator=(const Canceller&) = delete;

    void Try(unsigned seed)
    {
        const std::string before = findings_;
        ended_ = -1;
        const Facts facts = Collect(seed, IsThreaded(seed));
        if (ended_ == 0)
            ++refused;
        else if (ended_ == 1)
            ++(facts.elapsedTimes == 13 ? complete : partial);
        if (findings_ != before)
            ++found;
    }

    int refused = 0, complete = 0, partial = 0, found = 0;

private:
    /// Runs one process and checks what can be checked without another run to compare with.
    Facts Collect(unsigned seed, bool threaded)
    {
        std::ofstream{path_, std::ios::binary} << kKept;
        NowTrying("cancelling with seed " + std::to_string(seed));
        const std::wstring arguments = std::wstring{L"cancelled "} +
                                       (threaded ? L"threads " : L"inline ") +
                                       std::to_wstring(seed) + L" \"" + path_.wstring() + L'"';
        CChildProcess process{arguments, inherited_.get()};
        if (!process.EndsWithin(kLongestMilliseconds))
            return Report(seed, "a hang"), Facts{};
        ended_ = static_cast<int>(process.EndCode()) - kResultCode;
        const std::string text = ReadAll(path_);
        if (ended_ == 0) {
            if (text != kKept)
                Report(seed, "a cancelled run has touched the report");
            return {};
        }
        if (ended_ != 1)
            return Report(seed, "the process ended with code " + std::to_string(process.EndCode()) +
                                    " " + process.errors()),
                   Facts{};
        std::wstring report(text.size() / sizeof(wchar_t), L'\0');
        text.copy(reinterpret_cast<char*>(report.data()), report.size() * sizeof(wchar_t));
        Facts facts = FactsOf(report);
        const std::string flaws =
            seed == 0 ? facts.flaws : FlawsOfPart(whole_[threaded ? 1 : 0], facts);
        if (!flaws.empty())
            Report(seed, flaws);
        return facts;
    }

    void Report(unsigned seed, const std::string& what)
    {
        findings_ += what;
        Print("FOUND " + what + " (again: scripts/prove cancel " + std::to_string(seed) + ")\n");
    }

    const std::filesystem::path path_ =
        std::filesystem::temp_directory_path() /
        (L"orrery-cancel-" + std::to_wstring(GetCurrentProcessId()) + L".tsv");
    const UniqueHandle inherited_ = InheritableEvent();
    std::string findings_;
    int ended_ = -1;
    std::array<Facts, 2> whole_;  // inline, with threads
};

}  // namespace

int CancelMany(int processes, unsigned seed)
{
    Canceller canceller;
    for (int process = 0; process < processes; ++process)
        canceller.Try(seed + static_cast<unsigned>(process));
    Print("cancel: " + std::to_string(processes) + " processes from seed " + std::to_string(seed) +
          ": " + std::to_string(canceller.refused) + " runs stopped without a report, " +
          std::to_string(canceller.partial) + " left out categories, " +
          std::to_string(canceller.complete) + " came too late, " +
          std::to_string(canceller.found) + " findings\n");
    return canceller.found;
}

int CollectAndCancel(bool threaded, unsigned seed, const std::wstring& path)
{
    constexpr DWORD kSeveral = 8;
    NowTrying("cancelling with seed " + std::to_string(seed));
    sim::WholeMachine machine{MachineFile(L"workstation")};
    machine.platform.processors = threaded ? kSeveral : 1;
    const sim::Platform platform{machine.platform};
    const CInventoryLibrary library;
    const bool never = seed == 0;
    const Moment moment = MomentOf(seed);
    std::atomic<int> calls{0};
    if (!never && moment.call != 0)
        machine.wmi().OnCall([&](const std::string&) {
            if (++calls == moment.call)
                library.cancel()();
        });
    std::atomic<bool> started{false};
    std::thread canceller{[&] {
        while (!started)
            YieldProcessor();
        if (never || moment.call != 0)
            return;
        WaitUntil(Clock::now() + moment.after);
        library.cancel()();
    }};
    started = true;
    const int result = library.Collect(path);
    canceller.join();
    return kResultCode + result;
}

}  // namespace orrery::prove
