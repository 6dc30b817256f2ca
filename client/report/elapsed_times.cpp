#include "client/report/elapsed_times.h"

#include <algorithm>

#include "client/report/machine.h"
#include "client/report/number.h"

namespace orrery::report {

std::vector<ElapsedTime> SlowestFirst(const Report& report)
{
    std::vector<ElapsedTime> times;
    for (const std::string& value : report.elapsedTimes) {
        const std::string_view category = ElapsedCategory(report, times.size());
        times.push_back(
            {category.empty() ? "line " + std::to_string(times.size() + 1) : std::string{category},
             value, ParseNumber(value)});
    }
    std::stable_sort(times.begin(), times.end(), [](const ElapsedTime& a, const ElapsedTime& b) {
        return a.milliseconds > b.milliseconds;
    });
    return times;
}

}  // namespace orrery::report
