#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>

#include "client/report/report.h"

namespace orrery {

struct MadeFact {
    const char* section;
    std::int32_t index;
    const char* property;
    std::string value;
};

/// A report with these facts, ordered as they stand; the section "ET" has the elapsed times.
inline report::Report MakeReport(std::initializer_list<MadeFact> facts)
{
    report::Report report;
    for (const auto& [section, index, property, value] : facts) {
        if (section == std::string_view{"ET"}) {
            report.elapsedTimes.push_back(value);
            continue;
        }
        if (report.sections.empty() || report.sections.back().name != section)
            report.sections.push_back({section, {}});
        auto& instances = report.sections.back().instances;
        if (instances.empty() || instances.back().index != index)
            instances.push_back({index, {}});
        instances.back().properties.push_back({property, value});
    }
    return report;
}

}  // namespace orrery
