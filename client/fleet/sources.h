#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "client/fleet/store.h"

namespace orrery::fleet {

/// The reports in folders and all folders below.
struct Sources {
    std::vector<SourceFile> files;  ///< the oldest first, then by path
    std::vector<Refusal> refused;   ///< what looks like a report and cannot be one
};

/// Finds the reports. What a run or a delivery has not finished is refused, and what is neither a report
/// nor a report's companion is not looked at.
/// @throws CommandError (kInput) for a folder that cannot be read at all
Sources FindSources(const std::vector<std::string>& folders);

/// The companion file of a report: NAME.json beside NAME.tsv.
std::filesystem::path SidecarPath(const std::filesystem::path& report);

}  // namespace orrery::fleet
