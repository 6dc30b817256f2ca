#include "client/report/report.h"

#include <algorithm>

namespace orrery::report {

// By code unit, as the report orders its lines: "BIOS" comes before "BaseBoard".
const std::vector<std::string_view> kElapsedCategories{
    "BIOS",       "BaseBoard", "CPU",   "CompSys",       "Enclosure",
    "Memory",     "Network",   "OS",    "PhysicalDrive", "SystemOverview",
    "SystemSlot", "USB",       "Video",
};

const std::string* Instance::Find(std::string_view name) const noexcept
{
    const auto found = std::find_if(properties.begin(), properties.end(),
                                    [name](const Property& each) { return each.name == name; });
    return found != properties.end() ? &found->value : nullptr;
}

const Section* Report::Find(std::string_view name) const noexcept
{
    const auto found = std::find_if(sections.begin(), sections.end(),
                                    [name](const Section& each) { return each.name == name; });
    return found != sections.end() ? &*found : nullptr;
}

}  // namespace orrery::report
