#include "prove/sweep.h"

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

std::string Narrow(std::u16string_view text)
{
    return ToUtf8(std::wstring{text.begin(), text.end()});
}

/// What differs in a category that has nothing to do with the failing call.
std::string Damage(const Facts::Values& expected, const Facts::Values& got, int caller)
{
    std::string text;
    for (const auto& [key, value] : expected) {
        const auto found = got.find(key);
        if (found == got.end())
            text += "; " + CallerName(caller) + " lost " + Narrow(key);
        else if (found->second != value)
            text += "; " + CallerName(caller) + " changed " + Narrow(key);
    }
    return text;
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
            if (const auto at = static_cast<std::size_t>(caller); caller != touched)
                flaws += Damage(measure_.byCaller[at], facts.byCaller[at], caller);
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

/// Tells how often a run makes each call that can fail.
void PrintCalls(const Calls& calls)
{
    std::map<std::string, int> counts;
    for (const auto& ofCaller : calls)
        for (const std::string& call : ofCaller)
            ++counts[call];
    std::string text;
    for (const auto& [call, count] : counts)
        text += (text.empty() ? "" : ", ") + call + " " + std::to_string(count);
    Print("calls: " + text + "\n");
}

/// Each call with one code, in one mode, of many like calls the first ones: all there is to see in
/// a minute.
void SweepQuickly(Sweeper& sweeper)
{
    constexpr int kMostOfOneName = 4;
    for (const bool threaded : {false, true}) {
        sweeper.TakeMeasure(threaded);
        const Calls calls = sweeper.calls();
        std::map<std::pair<int, std::string>, int> tried;
        for (int caller = 0; caller < kCallers; ++caller) {
            int number = 0;
            for (const std::string& call : calls[static_cast<std::size_t>(caller)]) {
                const int nth = tried[{caller, call}]++;
                if (++number % 2 == (threaded ? 1 : 0) && nth < kMostOfOneName)
                    sweeper.Try({threaded,
                                 {caller, number},
                                 static_cast<std::size_t>(number / 2) % kFaultCodes.size()});
            }
        }
    }
}

void SweepAll(Sweeper& sweeper)
{
    for (const bool threaded : {false, true}) {
        sweeper.TakeMeasure(threaded);
        const Calls calls = sweeper.calls();
        if (!threaded)
            PrintCalls(calls);
        for (int caller = 0; caller < kCallers; ++caller)
            for (int number = 1;
                 number <= static_cast<int>(calls[static_cast<std::size_t>(caller)].size());
                 ++number)
                for (std::size_t code = 0; code < kFaultCodes.size(); ++code)
                    sweeper.Try({threaded, {caller, number}, code});
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
    } else if (quick) {
        SweepQuickly(sweeper);
    } else {
        SweepAll(sweeper);
    }
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    Print("sweep: " + std::to_string(sweeper.runs()) + " runs with one failing call each, " +
          std::to_string(sweeper.findings()) + " findings, " + std::to_string(seconds.count()) +
          " s\n");
    return sweeper.findings();
}

}  // namespace orrery::prove
