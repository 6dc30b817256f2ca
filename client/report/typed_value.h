#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "client/report/vocabulary.h"

namespace orrery::report {

// A value in the type of its kind. Each gives nothing where the text is not exactly what the library
// writes for such a value, so that no two texts become the same value.

/// A number without leading zeros or a sign that says nothing.
std::optional<std::int64_t> ExactNumber(std::string_view text);

/// "1" and "0" where the vocabulary has words for these two, else "true" and "false".
std::optional<bool> ExactTruth(const Term& term, std::string_view text) noexcept;

/// "2019-03-04" for "03/04/19". Years from 70 on are those of 1900, as no firmware is older.
/// @return nothing also for a day that the calendar lacks
std::optional<std::string> IsoDate(std::string_view text);

/// Whether a text is a time in UTC such as "2024-02-05T07:08:09Z".
bool IsIsoTime(std::string_view text) noexcept;

/// The seconds since 1970 of such a time; nothing for another text.
std::optional<std::int64_t> SecondsOf(std::string_view isoTime) noexcept;

/// Such a time for the seconds since 1970.
std::string FormatIsoTime(std::int64_t seconds);

}  // namespace orrery::report
