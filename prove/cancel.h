#pragma once

#include <string>

namespace orrery::prove {

/// Collects in fresh processes that cancel at random moments, and looks at the reports.
/// @param seed of the first process; the others follow
/// @return the number of findings, which are printed
int CancelMany(int processes, unsigned seed);

/// The work of such a process: collects, and once more with a cancel at a moment that the seed chooses.
/// @return the exit code, which tells how the run ended
int CollectAndCancel(unsigned seed);

}  // namespace orrery::prove
