#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/report.h"

namespace orrery::report {

/// Where values stand in a report. Letter case does not count in any part of it.
struct ValueName {
    std::string text;  ///< as the user gives it
    std::string section, property;
    /// Which instances are meant: the one of this index, else all...
    std::optional<std::int32_t> index;
    /// ...of which this property, where it is named, has this value.
    std::string chosenBy, chosenValue;
};

/// Takes a name apart: "SECTION.PROPERTY" for instance 0, "SECTION.PROPERTY.INDEX" or
/// "SECTION.INDEX.PROPERTY" or "SECTION[INDEX].PROPERTY" for another one, with "*" for all, or
/// "SECTION[PROPERTY=VALUE].PROPERTY".
/// @throws CommandError (kInput) for other forms
ValueName ParseValueName(std::string_view text);

/// A value with its place, spelled as in the report.
struct FoundValue {
    std::string section;
    std::int32_t index = 0;
    std::string property, value;
};

/// What a report has of one name.
struct FoundValues {
    ValueName name;
    std::vector<FoundValue> values;
    /// Where there is none: why, or what may have been meant; goes on after the name.
    std::string hint;
    bool isUnknown = false;  ///< neither the report nor any other one has such a section
};

struct Lookup {
    std::vector<FoundValues> found;  ///< one for each name
    std::vector<Warning> warnings;   ///< about the report
    Completeness completeness;       ///< of the report
};

/// Looks values up in a report file of any size, keeping no more than their properties. "ET" with the
/// name of a category is the elapsed time of that category in a report that has all of them.
/// @param redact whether the values become placeholders, as in Redact; instances are chosen by the
///               values before
/// @throws CommandError (kInput) for a file that cannot be read or is no report at all
Lookup FindValues(const std::filesystem::path& path, const std::vector<ValueName>& names,
                  bool redact = false);

/// The values for programs, as a JSON object with a format version; ends with a line feed.
std::string FormatValuesJson(const std::string& path, const Lookup& lookup);

}  // namespace orrery::report
