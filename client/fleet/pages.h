#pragma once

#include <cstdint>
#include <filesystem>

#include "client/fleet/database.h"

namespace orrery::fleet {

/// Writes the fleet as pages to look at: index.html with what there is to know of all PCs and a list of
/// them, and pc/NUMBER.html for each as `page` makes it. They need nothing from elsewhere, and no value of
/// a report is run.
/// @param folder is made where it is not there
/// @return how many PCs there are
/// @throws CommandError (kReport) where something cannot be written
std::uint64_t WritePages(CDatabase& database, const std::filesystem::path& folder);

}  // namespace orrery::fleet
