#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/report/report.h"

namespace orrery::report {

/// A property's value; empty also when the instance lacks it.
std::string_view Value(const Instance& instance, std::string_view property) noexcept;

/// The same for a section's instance 0.
std::string_view FirstValue(const Report& report, std::string_view section,
                            std::string_view property) noexcept;

/// A property's value where it is a whole number.
std::optional<std::int64_t> Number(const Instance& instance, std::string_view property) noexcept;

/// A property's value in its unit, such as "16 GiB"; empty also when the instance lacks it.
std::string Readable(const Instance& instance, std::string_view section, std::string_view property);

/// The instances of a section; none when the report lacks it.
const std::vector<Instance>& InstancesOf(const Report& report, std::string_view section) noexcept;

}  // namespace orrery::report
