#include "client/report/report.h"

#include <algorithm>

namespace orrery::report {

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

bool ComesFirst(std::string_view name, std::string_view other) noexcept
{
    const std::size_t common = std::min(name.size(), other.size());
    if (const int order = name.substr(0, common).compare(other.substr(0, common)); order != 0)
        return order < 0;
    if (name.size() == other.size())
        return false;
    const char next = name.size() > common ? name[common] : other[common];
    return (name.size() > common) == (static_cast<unsigned char>(next) < '\\');
}

}  // namespace orrery::report
