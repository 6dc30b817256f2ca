#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "client/report/report.h"

namespace orrery::report {

struct ElapsedTime {
    std::string name;   ///< the category, or "line 2" when the run was not complete
    std::string value;  ///< as the report has it
    std::optional<std::int64_t> milliseconds;
};

/// The elapsed times of a report, slowest first; those that are no numbers come last.
std::vector<ElapsedTime> SlowestFirst(const Report& report);

}  // namespace orrery::report
