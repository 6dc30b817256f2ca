#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "client/fleet/database.h"
#include "client/fleet/store.h"

namespace orrery::fleet {

struct LoadProgress {
    std::uint64_t files = 0, done = 0;
};

struct LoadResult {
    std::uint64_t files = 0;      ///< that were found
    std::uint64_t unchanged = 0;  ///< that were loaded before, and not read again
    StoreCounts stored;
    std::uint64_t refused = 0;
};

/// What a load tells while it goes on, on the caller's thread.
struct LoadListener {
    std::function<void(const LoadProgress&)> onProgress;
    std::function<void(const Refusal&)> onRefusal;
};

/// Loads the reports in folders into a database that has its tables. Files are read ahead on a thread of
/// their own and taken apart on others. Each batch is in whole or not at all, so that a load that was
/// stopped goes on where it was.
/// @param host names this computer in the database
LoadResult Load(CDatabase& database, const std::vector<std::string>& folders,
                const std::string& host, const LoadListener& listener);

}  // namespace orrery::fleet
