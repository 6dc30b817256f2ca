#pragma once

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>

#include "client/report/report.h"
#include "client/text_sink.h"

namespace orrery {

/// A report made of "section/index/property/value" facts, each ended by a line feed.
inline report::Report MadeReport(const std::string& facts)
{
    report::Report report;
    std::istringstream lines{facts};
    std::string section, index, property, value;
    while (std::getline(lines, section, '/') && std::getline(lines, index, '/') &&
           std::getline(lines, property, '/') && std::getline(lines, value)) {
        if (section == "ET") {
            report.elapsedTimes.push_back(value);
            continue;
        }
        if (report.sections.empty() || report.sections.back().name != section)
            report.sections.push_back({section, {}});
        auto& instances = report.sections.back().instances;
        const std::int32_t number = std::stoi(index);
        const auto known = std::find_if(instances.begin(), instances.end(),
                                        [&](const auto& one) { return one.index == number; });
        auto& instance = known != instances.end()
                             ? *known
                             : *instances.insert(instances.end(), report::Instance{number, {}});
        instance.properties.push_back({property, value});
    }
    return report;
}

/// The facts of a report as MadeReport takes them, instance by instance.
inline std::string FactsOf(const report::Report& report)
{
    std::string facts;
    for (const auto& section : report.sections)
        for (const auto& instance : section.instances)
            for (const auto& property : instance.properties)
                facts += section.name + '/' + std::to_string(instance.index) + '/' + property.name +
                         '/' + property.value + '\n';
    for (const std::string& time : report.elapsedTimes)
        facts += "ET/0//" + time + '\n';
    return facts;
}

/// All that one of the writers hands to its sink, which is its last argument.
template <class Writer, class... Arguments>
std::string Written(Writer write, const Arguments&... arguments)
{
    std::string text;
    write(arguments..., [&text](std::string_view part) { text += part; });
    return text;
}

}  // namespace orrery
