#include <algorithm>
#include <cmath>
#include <string>

#include "client/page/blocks.h"
#include "client/report/elapsed_times.h"

namespace orrery::page {
CMarkup ElapsedBlock(const report::Report& report)
{
    // A run has thirteen; a report may say anything, and the list of all facts has the rest.
    constexpr std::size_t kMostRows = 40;
    auto times = report::SlowestFirst(report);
    times.resize(std::min(times.size(), kMostRows));
    CMarkup rows;
    for (const auto& [name, value, milliseconds] : times) {
        if (!milliseconds)
            break;
        const auto slowest = std::max<std::int64_t>(*times.front().milliseconds, 1);
        const double share = static_cast<double>(*milliseconds) / static_cast<double>(slowest);
        rows += Element("span", "", Text(name)) +
                Picture("track", std::to_string(std::lround(share * 100)) + " % of the slowest",
                        Bar("fill", share)) +
                Element("span", "number", Text(value + " ms"));
    }
    return rows.empty() ? CMarkup{}
                        : Block("Time taken by each category",
                                Element("article", "card", Element("div", "chart", rows)));
}

}  // namespace orrery::page
