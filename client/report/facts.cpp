#include "client/report/facts.h"

#include "client/report/machine.h"
#include "client/report/number.h"
#include "client/report/units.h"

namespace orrery::report {

std::string_view Value(const Instance& instance, std::string_view property) noexcept
{
    const std::string* const value = instance.Find(property);
    return value != nullptr ? std::string_view{*value} : std::string_view{};
}

std::string_view FirstValue(const Report& report, std::string_view section,
                            std::string_view property) noexcept
{
    const std::string* const value = FindFirst(report, section, property);
    return value != nullptr ? std::string_view{*value} : std::string_view{};
}

std::optional<std::int64_t> Number(const Instance& instance, std::string_view property) noexcept
{
    return ParseNumber(Value(instance, property));
}

std::string Readable(const Instance& instance, std::string_view section, std::string_view property)
{
    return Readable(section, property, std::string{Value(instance, property)}).text;
}

const std::vector<Instance>& InstancesOf(const Report& report, std::string_view section) noexcept
{
    static const std::vector<Instance> kNone;
    const Section* const found = report.Find(section);
    return found != nullptr ? found->instances : kNone;
}

}  // namespace orrery::report
