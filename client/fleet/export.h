#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "client/fleet/database.h"

namespace orrery::fleet {

enum class ExportForm {
    kCsv,    ///< RFC 4180 in UTF-8 with a header row; unlike an empty text, NULL is not quoted
    kJsonl,  ///< an object a line; NULL is null
};

struct ExportResult {
    std::uint64_t files = 0, rows = 0;
};

/// Writes one file a table, named as the table, and scripts that load them into other engines.
/// @param folder is made where it is not there
/// @throws CommandError (kReport) where something cannot be written
ExportResult Export(CDatabase& database, const std::filesystem::path& folder, ExportForm form);

}  // namespace orrery::fleet
