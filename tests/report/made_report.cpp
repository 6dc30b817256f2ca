#include "made_report.h"

#include <algorithm>
#include <cstdint>
#include <sstream>

#include "client/text/utf8.h"

namespace orrery {

std::string ReportBytes(std::string lines)
{
    std::replace(lines.begin(), lines.end(), '|', '\t');
    std::string bytes;
    AppendUtf16(lines, &bytes);
    return bytes;
}

report::Report MadeReport(const std::string& facts)
{
    report::Report report;
    std::istringstream lines{facts};
    for (std::string line, section, index, property, value; std::getline(lines, line);) {
        std::istringstream parts{line + '/'};
        std::getline(std::getline(parts, section, '/'), index, '/');
        while (std::getline(std::getline(parts, property, '/'), value, '/')) {
            if (section == "ET") {
                report.elapsedTimes.push_back(value);
                continue;
            }
            if (report.sections.empty() || report.sections.back().name != section)
                report.sections.push_back({section, {}});
            auto& instances = report.sections.back().instances;
            const std::int32_t number = std::stoi(index);
            auto known = std::find_if(instances.begin(), instances.end(),
                                      [&](const auto& one) { return one.index == number; });
            if (known == instances.end())
                known = instances.insert(known, report::Instance{number, {}});
            known->properties.push_back({property, value});
        }
    }
    return report;
}

std::string FactsOf(const report::Report& report)
{
    std::string facts;
    for (const auto& section : report.sections)
        for (const auto& instance : section.instances) {
            facts += section.name + '/' + std::to_string(instance.index);
            for (const auto& property : instance.properties)
                facts += '/' + property.name + '/' + property.value;
            facts += '\n';
        }
    for (const std::string& time : report.elapsedTimes)
        facts += "ET/0//" + time + '\n';
    return facts;
}

}  // namespace orrery
