#pragma once

#include <string_view>

namespace orrery::report {

/// Why a value looks odd though it is as the library writes it, and what to do about it where there is
/// something to do: a clause without a full stop.
/// @return empty for a value that there is nothing to say of
std::string_view ExplainValue(std::string_view section, std::string_view property,
                              std::string_view value) noexcept;

}  // namespace orrery::report
