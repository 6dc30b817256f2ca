#pragma once

#include <cstdint>
#include <string>

namespace orrery::prove {

/// Feeds hostile answers of every kind, each for a while, in processes of their own.
/// @param kind    one kind alone; empty for all
/// @param seconds for each kind
/// @return the number of findings, which are printed
int Hostile(const std::string& kind, int seconds, std::uint64_t seed);

/// The work of such a process.
/// @param count answers at most
/// @param seconds at most
void Feed(const std::string& kind, std::uint64_t seed, int count, int seconds);

}  // namespace orrery::prove
