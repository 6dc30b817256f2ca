#include <algorithm>

#include "client/page/blocks.h"
#include "client/report/machine.h"
#include "client/report/number.h"

namespace orrery::page {
namespace {

struct ElapsedTime {
    std::string name;
    std::int64_t milliseconds;
};

/// The times that are numbers, slowest first.
std::vector<ElapsedTime> ReadElapsedTimes(const report::Report& report)
{
    std::vector<ElapsedTime> times;
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at) {
        const std::string_view category = report::ElapsedCategory(report, at);
        if (const auto milliseconds = report::ParseNumber(report.elapsedTimes[at]))
            times.push_back(
                {category.empty() ? "Line " + std::to_string(at + 1) : std::string{category},
                 *milliseconds});
    }
    std::stable_sort(times.begin(), times.end(), [](const auto& first, const auto& second) {
        return first.milliseconds > second.milliseconds;
    });
    return times;
}

}  // namespace

CMarkup ElapsedBlock(const report::Report& report)
{
    // A run has thirteen; a report may say anything, and the list of all facts has the rest.
    constexpr std::size_t kMostRows = 40;
    auto times = ReadElapsedTimes(report);
    times.resize(std::min(times.size(), kMostRows));
    CMarkup rows;
    for (const auto& [name, milliseconds] : times) {
        const double slowest =
            static_cast<double>(std::max<std::int64_t>(times.front().milliseconds, 1));
        rows += Element("span", "", Text(name)) +
                Element("div", "track", Bar("fill", static_cast<double>(milliseconds) / slowest)) +
                Element("span", "number", Text(std::to_string(milliseconds) + " ms"));
    }
    return rows.empty() ? CMarkup{}
                        : Block("Time taken by each category",
                                Element("article", "card", Element("div", "chart", rows)));
}

}  // namespace orrery::page
