#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/report.h"

namespace orrery::report {

/// Where a value stands in a report.
struct ValueName {
    std::string section, property;
    std::int32_t index = 0;
};

/// Takes "SECTION.PROPERTY" or "SECTION.PROPERTY.INDEX" apart.
/// @throws CommandError (kInput) for other forms
ValueName ParseValueName(std::string_view text);

struct FoundValue {
    std::optional<std::string> value;  ///< in UTF-8; none where the report has no such fact
    std::vector<std::string> alike;    ///< names it has, of which one may have been meant
    std::vector<Warning> warnings;     ///< about the report
    Completeness completeness;         ///< of the report
};

/// Looks a value up in a report file of any size, without keeping the rest. "ET" with the name of a
/// category is the elapsed time of that category in a report that has all of them.
/// @throws CommandError (kInput) for a file that cannot be read or is no report at all
FoundValue FindValue(const std::filesystem::path& path, const ValueName& name);

}  // namespace orrery::report
