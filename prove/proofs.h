#pragma once

#include <cstdint>
#include <string>

namespace orrery::prove {

// Each proof prints its findings, and gives their number.

/// Lets each call that a run makes fail, one a run, and looks at what the run does then.
/// @param quick one error code for each call instead of all of them
/// @param only  "threads|inline CALLER NUMBER CODE" tries this one alone, as a finding tells it
int Sweep(bool quick, const std::string& only);

/// Collects many times in one process, alone and beside other COM work, and looks at what the
/// process holds.
int Soak(int runs);

/// Collects in fresh processes that cancel at random moments, and looks at the reports.
/// @param seed of the first process; the others follow
int CancelMany(int processes, unsigned seed);

/// The work of such a process: collects, and once more with a cancel at a moment that the seed chooses.
/// @return the exit code, which tells how the run ended
int CollectAndCancel(unsigned seed);

/// Feeds hostile answers of every kind, each for a while, in processes of their own.
/// @param kind    one kind alone; empty for all
/// @param seconds for each kind
int Hostile(const std::string& kind, int seconds, std::uint64_t seed);

/// The work of such a process.
/// @param count answers at most
/// @param seconds at most
void Feed(const std::string& kind, std::uint64_t seed, int count, int seconds);

}  // namespace orrery::prove
