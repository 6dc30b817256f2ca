#include "prove/proofs.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <stdexcept>
#include <string_view>

#include "client/system/console.h"
#include "client/system/child_process.h"
#include "prove/feeds.h"
#include "prove/guard.h"
#include "prove/rig.h"
#include "support/com.h"

namespace orrery::prove {
namespace {

using Clock = std::chrono::steady_clock;

struct Kind {
    std::string_view name;
    void (*feed)(Dice& dice);
    int batch;  ///< answers to one process
};

// The simulated WMI keeps its objects until the process ends, so that a process gets few machines.
constexpr auto kKinds = std::to_array<Kind>({
    {"instances", FeedInstances, 20000},
    {"devices", FeedDevices, 5000},
    {"network", FeedNetwork, 2000},
    {"registry", FeedRegistry, 1000},
    {"machine", FeedMachine, 100},
});

const Kind& KindOf(const std::string& name)
{
    const auto kind = std::find_if(kKinds.begin(), kKinds.end(),
                                   [&](const Kind& each) { return each.name == name; });
    if (kind == kKinds.end())
        throw std::runtime_error("no such kind of answers: " + name);
    return *kind;
}

/// Feeds one kind until the time is up.
/// @return the number of findings; the first one ends it
int FeedKind(const Kind& kind, int seconds, std::uint64_t seed)
{
    const auto end = Clock::now() + std::chrono::seconds{seconds};
    const UniqueHandle inherited = InheritableEvent();
    const std::uint64_t first = seed;
    while (Clock::now() < end) {
        const auto left =
            std::chrono::duration_cast<std::chrono::seconds>(end - Clock::now()).count() + 1;
        std::wstring arguments = L"feed " + FromUtf8(kind.name);
        for (const std::uint64_t number :
             {seed, static_cast<std::uint64_t>(kind.batch), static_cast<std::uint64_t>(left)})
            arguments.append(1, L' ').append(std::to_wstring(number));
        CChildProcess process{arguments, inherited.get()};
        while (!process.EndsWithin(100)) {
        }
        if (process.EndCode() != 0) {
            Print("FOUND among " + std::string{kind.name} + ", process from seed " +
                  std::to_string(seed) + ", code " + std::to_string(process.EndCode()) + ": " +
                  process.errors() + "\n");
            return 1;
        }
        seed += static_cast<std::uint64_t>(std::stoul("0" + process.errors()));
    }
    Print("hostile " + std::string{kind.name} + ": " + std::to_string(seed - first) +
          " answers from seed " + std::to_string(first) + " in " + std::to_string(seconds) +
          " s, no finding\n");
    return 0;
}

}  // namespace

int Hostile(const std::string& kind, int seconds, std::uint64_t seed)
{
    int findings = 0;
    for (const Kind& each : kKinds)
        if (kind.empty() || kind == each.name)
            findings += FeedKind(each, seconds, seed);
    return findings;
}

void Feed(const std::string& kind, std::uint64_t seed, int count, int seconds)
{
    const ComApartment apartment;
    const Kind& chosen = KindOf(kind);
    const auto end = Clock::now() + std::chrono::seconds{seconds};
    int fed = 0;
    while (fed < count && Clock::now() < end) {
        const std::uint64_t now = seed + static_cast<std::uint64_t>(fed);
        std::string attempt = kind;
        attempt.append(" ").append(std::to_string(now));
        std::string again = attempt;
        again.append(" (again: scripts/prove feed ").append(attempt).append(" 1 60)");
        NowTrying(again);
        Dice dice{now};
        chosen.feed(dice);
        ++fed;
    }
    std::fprintf(stderr, "%d", fed);
}

}  // namespace orrery::prove
