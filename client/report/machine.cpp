#include "client/report/machine.h"

#include "client/report/vocabulary.h"

namespace orrery::report {

const std::string* FindFirst(const Report& report, std::string_view section,
                             std::string_view property) noexcept
{
    const Section* const found = report.Find(section);
    if (found == nullptr || found->instances.empty() || found->instances.front().index != 0)
        return nullptr;
    return found->instances.front().Find(property);
}

const std::string* MachineName(const Report& report) noexcept
{
    const std::string* const name = FindFirst(report, "ComputerSystem", "Name");
    return name != nullptr && !name->empty() ? name : nullptr;
}

std::string_view ElapsedCategory(const Report& report, std::size_t at) noexcept
{
    return ElapsedCategory(report.elapsedTimes.size(), at);
}

std::string_view ElapsedCategory(std::size_t elapsedTimes, std::size_t at) noexcept
{
    return elapsedTimes == kCategories.size() ? kCategories.at(at) : std::string_view{};
}

}  // namespace orrery::report
