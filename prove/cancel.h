#pragma once

#include <string>

namespace orrery::prove {

/// Collects in fresh processes that cancel at random moments, and looks at the reports.
/// @param seed of the first process; the others follow
/// @return the number of findings, which are printed
int CancelMany(int processes, unsigned seed);

/// The work of such a process: collects once, cancels at a moment that the seed chooses, and ends.
/// @param seed 0 never cancels
/// @return the exit code, which tells the library's result
int CollectAndCancel(bool threaded, unsigned seed, const std::wstring& path);

}  // namespace orrery::prove
