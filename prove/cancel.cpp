#include "prove/proofs.h"

#include <windows.h>

#include <orrery/inventory.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "client/system/child_process.h"
#include "client/system/console.h"
#include "prove/guard.h"
#include "prove/rig.h"
#include "support/library.h"

namespace orrery::prove {
namespace {

using Clock = std::chrono::steady_clock;

// Longer than a process watches over itself: what it says tells more.
constexpr DWORD kLongestMilliseconds = 90000, kBitMilliseconds = 100;

/// How a cancelled run ended; the exit code of its process.
enum Outcome { kStopped = 100, kPartial, kComplete, kFlawed };

/// A run that is cancelled at a moment, beside the whole one that it is compared with.
class CancelledRun {
public:
    explicit CancelledRun(bool threaded) : threaded_(threaded)
    {
        rig_.Load(MachineFile(L"workstation"));
        rig_.Run(threaded_);  // what a process keeps, it keeps from its first run on
        rig_.OnCall([this](const std::string&) { ++calls_; });
        whole_ = rig_.Run(threaded_);
    }

    int CallsOfWhole() const noexcept { return calls_; }

    /// @param call at which to cancel, from 1; 0 leaves it to the time
    Outcome Run(int call, std::chrono::microseconds after)
    {
        calls_ = 0;
        isPast_ = false;
        rig_.OnCall([this, call](const std::string& name) { Note(name, ++calls_ == call); });
        std::thread canceller{[&] {
            if (call != 0)
                return;
            for (const auto moment = Clock::now() + after; Clock::now() < moment;)
                YieldProcessor();
            cancel_();
        }};
        const Facts part = rig_.Run(threaded_);
        canceller.join();
        return Judge(part);
    }

    const std::string& flaws() const noexcept { return flaws_; }

private:
    void Note(const std::string& name, bool isMoment)
    {
        const bool isRunsOwn = !threaded_ || Faults::Caller() == kTheRun;
        if (isRunsOwn && (name == "WaitForMultipleObjects" || name == "_wfopen"))
            isPast_ = true;
        if (isMoment) {
            cancel_();
            if (isRunsOwn && !isPast_)
                cancelledBy_ = Faults::Caller();
        } else if (isRunsOwn && cancelledBy_) {
            // The flag is set for whoever comes next on this thread.
            if (name == "CreateThread" || name == "_wfopen" || Faults::Caller() > *cancelledBy_)
                flaws_ += "; " + name + " after the run was cancelled";
        }
    }

    Outcome Judge(const Facts& part)
    {
        flaws_ += part.flaws + part.leftovers;
        if (cancelledBy_ && part.result != 0)
            flaws_ += "; the run goes on that was cancelled before it waited";
        int there = 0;
        for (int caller = 0; caller < kCallers; ++caller)
            if (!part.byCaller[static_cast<std::size_t>(caller)].empty()) {
                ++there;
                flaws_ += Differences(whole_, part, caller);
            }
        if (part.result == 0 ? there + part.elapsedTimes != 0 : there != part.elapsedTimes)
            flaws_ += "; " + std::to_string(part.elapsedTimes) + " elapsed times for " +
                      std::to_string(there) + " categories";
        return !flaws_.empty()         ? kFlawed
               : part.result == 0      ? kStopped
               : there == kCallers - 1 ? kComplete
                                       : kPartial;
    }

    const bool threaded_;
    Rig rig_;
    const decltype(&::Cancel) cancel_ = FindFunction<decltype(&::Cancel)>(rig_.library(), "Cancel");
    Facts whole_;
    std::atomic<int> calls_{0};
    bool isPast_ = false;             ///< the step at which the run looks at the flag at last
    std::optional<int> cancelledBy_;  ///< what the run did when it was cancelled before that
    std::string flaws_;
};

}  // namespace

int CancelMany(int processes, unsigned seed)
{
    const UniqueHandle inherited = InheritableEvent();
    int counts[kFlawed + 1]{};
    for (int process = 0; process < processes; ++process) {
        const std::string which = std::to_string(seed + static_cast<unsigned>(process));
        CChildProcess child{L"cancelled " + FromUtf8(which), inherited.get()};
        // Bit by bit, as the process waits for whoever takes what it says.
        bool ends = false;
        for (DWORD waited = 0; !ends && waited < kLongestMilliseconds; waited += kBitMilliseconds) {
            NowTrying("cancelling with seed " + which);
            ends = child.EndsWithin(kBitMilliseconds);
        }
        const DWORD code = ends ? child.EndCode() : DWORD{kFlawed};
        ++counts[code < kStopped || code > kFlawed ? DWORD{kFlawed} : code];
        if (code < kStopped || code >= kFlawed)
            Print("FOUND " + (ends ? "code " + std::to_string(code) : "a hang") + child.errors() +
                  " (again: scripts/prove cancel " + which + ")\n");
    }
    Print("cancel: " + std::to_string(processes) + " processes from seed " + std::to_string(seed) +
          ": " + std::to_string(counts[kStopped]) + " runs stopped without a report, " +
          std::to_string(counts[kPartial]) + " left out categories, " +
          std::to_string(counts[kComplete]) + " came too late, " + std::to_string(counts[kFlawed]) +
          " findings\n");
    return counts[kFlawed];
}

int CollectAndCancel(unsigned seed)
{
    NowTrying("cancelling with seed " + std::to_string(seed));
    std::mt19937 random{seed};
    const auto pick = [&random](int least, int most) {
        return std::uniform_int_distribution{least, most}(random);
    };
    const bool threaded = seed % 4 != 0;
    CancelledRun run{threaded};
    // Of the runs with threads half are cancelled where the threads are started.
    const bool isTimed = seed % 4 == 1;
    const int call = seed % 8 == 2 ? pick(1, 16) : pick(1, run.CallsOfWhole());
    const Outcome outcome = run.Run(isTimed ? 0 : call, std::chrono::microseconds{pick(0, 40000)});
    std::fprintf(stderr, "%s", run.flaws().c_str());
    return outcome;
}

}  // namespace orrery::prove
