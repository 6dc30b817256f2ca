#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace orrery::report {

/// A value as a whole number.
/// @return nothing when there is anything but digits, with a minus sign before them or not, or the
///         number has more than 63 bits
std::optional<std::int64_t> ParseNumber(std::string_view text) noexcept;

}  // namespace orrery::report
