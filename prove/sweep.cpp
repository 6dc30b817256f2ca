#include "prove/proofs.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <sstream>
#include <stdexcept>
#include <utility>
#include <vector>

#include "client/system/console.h"
#include "prove/guard.h"
#include "prove/rig.h"

namespace orrery::prove {
namespace {

/// One run of the sweep.
struct Attempt {
    bool threaded;
    Place place;
    std::size_t code;  ///< of kFaultCodes
};

std::string WordsOf(const Attempt& attempt)
{
    return std::string{attempt.threaded ? "threads" : "inline"} + " " +
           CallerName(attempt.place.caller) + " " + std::to_string(attempt.place.number) + " " +
           kFaultCodes[attempt.code].name;
}

Attempt ParseAttempt(const std::string& words)
{
    std::istringstream stream{words};
    std::string mode, caller, code;
    Attempt attempt{};
    stream >> mode >> caller >> attempt.place.number >> code;
    attempt.threaded = mode == "threads";
    const auto known = std::find_if(kFaultCodes.begin(), kFaultCodes.end(),
                                    [&](const FaultCode& each) { return each.name == code; });
    const auto who = CallerOf(caller);
    if (!who || known == kFaultCodes.end() || (mode != "threads" && mode != "inline"))
        throw std::runtime_error("no such attempt: " + words +
                                 "; expected threads|inline CALLER NUMBER CODE");
    attempt.place.caller = *who;
    attempt.code = static_cast<std::size_t>(known - kFaultCodes.begin());
    return attempt;
}

using Calls = std::array<std::vector<std::string>, kCallers>;

class Sweeper {
public:
    Sweeper() { rig_.Load(MachineFile(L"workstation")); }

    /// The undisturbed run that others are compared with; made more than once, since the first runs
    /// keep what a process keeps.
    void TakeMeasure(bool threaded)
    {
        NowTrying(threaded ? "an undisturbed run with threads" : "an undisturbed run inline");
        for (int run = 0; run < 3; ++run)
            measure_ = rig_.Run(threaded);
        calls_ = rig_.faults().Calls();
        if (measure_.elapsedTimes != 13)
            measure_.flaws += "; not 13 elapsed times";
        if (!measure_.flaws.empty() || !measure_.leftovers.empty())
            Report("an undisturbed run" + measure_.flaws + measure_.leftovers);
    }

    void Try(const Attempt& attempt)
    {
        NowTrying(WordsOf(attempt));
        const Facts facts = rig_.Run(attempt.threaded, attempt.place, &kFaultCodes[attempt.code]);
        ++runs_;
        const std::string failed = rig_.faults().Failed();
        std::string flaws = facts.leftovers;
        if (failed.empty())
            flaws += "; the run has not come to this call";
        if (failed != "_wfopen")  // without a file there are no facts
            flaws += FlawsOf(facts, attempt.place.caller);
        if (!flaws.empty())
            Report(failed + flaws + " (again: scripts/prove sweep \"" + WordsOf(attempt) + "\")");
    }

    const Calls& calls() const noexcept { return calls_; }
    int runs() const noexcept { return runs_; }
    int findings() const noexcept { return findings_; }

private:
    /// What is wrong with a report, but for the facts of one category.
    std::string FlawsOf(const Facts& facts, int touched) const
    {
        std::string flaws = facts.flaws;
        if (facts.elapsedTimes != 13)
            flaws += "; " + std::to_string(facts.elapsedTimes) + " elapsed times";
        for (int caller = 0; caller < kCallers; ++caller)
            if (caller != touched)
                flaws += Differences(measure_, facts, caller);
        return flaws;
    }

    void Report(const std::string& text)
    {
        ++findings_;
        Print("FOUND " + text + "\n");
    }

    Rig rig_;
    Facts measure_;
    Calls calls_;
    int runs_ = 0;
    int findings_ = 0;
};

/// Each call with each code; or, to see what there is to see in a minute, each with one code in one
/// mode, of many like calls of a caller the first ones.
void SweepAll(Sweeper& sweeper, bool quick)
{
    constexpr int kMostOfOneName = 4;
    for (const bool threaded : {false, true}) {
        sweeper.TakeMeasure(threaded);
        const Calls calls = sweeper.calls();
        for (int caller = 0; caller < kCallers; ++caller) {
            std::map<std::string, int> tried;
            int number = 0;
            for (const std::string& call : calls[static_cast<std::size_t>(caller)]) {
                const int nth = tried[call]++;
                const bool isOther = ++number % 2 == (threaded ? 1 : 0);
                for (std::size_t code = 0; code < kFaultCodes.size(); ++code)
                    if (!quick ||
                        (isOther && nth < kMostOfOneName &&
                         code == static_cast<std::size_t>(number / 2) % kFaultCodes.size()))
                        sweeper.Try({threaded, {caller, number}, code});
            }
        }
    }
}

}  // namespace

int Sweep(bool quick, const std::string& only)
{
    Sweeper sweeper;
    const auto start = std::chrono::steady_clock::now();
    if (!only.empty()) {
        const Attempt attempt = ParseAttempt(only);
        sweeper.TakeMeasure(attempt.threaded);
        sweeper.Try(attempt);
    } else {
        SweepAll(sweeper, quick);
    }
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    Print("sweep: " + std::to_string(sweeper.runs()) + " runs with one failing call each, " +
          std::to_string(sweeper.findings()) + " findings, " + std::to_string(seconds.count()) +
          " s\n");
    return sweeper.findings();
}

}  // namespace orrery::prove
