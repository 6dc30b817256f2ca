#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "client/report/report.h"

namespace orrery::report {

/// A property of a section's instance 0.
/// @return null when the report has no such property
const std::string* FindFirst(const Report& report, std::string_view section,
                             std::string_view property) noexcept;

/// The computer's name.
/// @return null when the report has none, also when it is empty
const std::string* MachineName(const Report& report) noexcept;

/// The category behind an elapsed time.
/// @return empty when the run was not complete, since the order then does not tell
std::string_view ElapsedCategory(const Report& report, std::size_t at) noexcept;
/// The same for one of so many elapsed times.
std::string_view ElapsedCategory(std::size_t elapsedTimes, std::size_t at) noexcept;

}  // namespace orrery::report
