#include <algorithm>

#include "client/page/blocks.h"
#include "client/report/number.h"
#include "client/report/vocabulary.h"

namespace orrery::page {
namespace {

// No board has more; a report may say anything.
constexpr std::int64_t kMostSlots = 256;
constexpr std::string_view kModules = "PhysicalMemoryLocation";

CMarkup ModuleCard(const report::Instance& module)
{
    const auto readable = [&module](std::string_view property) {
        return Readable(module, kModules, property);
    };
    const std::string kind = Joined({readable("MemoryType"), readable("Speed")});
    const std::string size = readable("Capacity");
    return Element("div", "slot",
                   Element("span", "muted", Text(Value(module, "DeviceLocator"))) +
                       Element("b", "", Text(size.empty() ? "Size not known" : size)) +
                       Element("span", "", Text(kind)));
}

}  // namespace

std::vector<const report::Instance*> MemoryModules(const report::Report& report)
{
    // The line with the number of slots makes no module.
    const auto isOfModule = [](const report::Property& property) {
        return report::RoleOf(kModules, property.name) != report::Role::kWholeSection;
    };
    std::vector<const report::Instance*> modules;
    for (const report::Instance& instance : InstancesOf(report, kModules))
        if (std::any_of(instance.properties.begin(), instance.properties.end(), isOfModule))
            modules.push_back(&instance);
    return modules;
}

CMarkup MemoryBlock(const report::Report& report)
{
    CMarkup slots;
    const auto modules = MemoryModules(report);
    for (const report::Instance* const module : modules)
        slots += ModuleCard(*module);
    const auto slotCount = report::ParseNumber(FirstValue(report, kModules, "MemorySlots"));
    for (auto empty = std::min(slotCount.value_or(0), kMostSlots) -
                      static_cast<std::int64_t>(modules.size());
         empty > 0; --empty)
        slots += Element("div", "slot empty", "<span>Empty slot</span>");
    return slots.empty() ? CMarkup{} : Block("Memory", Element("div", "slots", slots));
}

}  // namespace orrery::page
