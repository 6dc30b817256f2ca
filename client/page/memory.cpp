#include <algorithm>

#include "client/page/blocks.h"
#include "client/report/number.h"

namespace orrery::page {
namespace {

// No board has more; a report may say anything.
constexpr std::int64_t kMostSlots = 256;

bool IsModule(const report::Instance& instance)
{
    return instance.Find("Capacity") != nullptr || instance.Find("DeviceLocator") != nullptr;
}

CMarkup ModuleCard(const report::Instance& module)
{
    const auto readable = [&module](std::string_view property) {
        return Readable(module, "PhysicalMemoryLocation", property);
    };
    const std::string kind = Joined({readable("MemoryType"), readable("Speed")});
    const std::string size = readable("Capacity");
    return Element("div", "slot",
                   Element("span", "muted", Text(Value(module, "DeviceLocator"))) +
                       Element("b", "", Text(size.empty() ? "Size not known" : size)) +
                       Element("span", "", Text(kind)));
}

}  // namespace

CMarkup MemoryBlock(const report::Report& report)
{
    CMarkup slots;
    std::int64_t modules = 0;
    for (const report::Instance& instance : InstancesOf(report, "PhysicalMemoryLocation")) {
        if (!IsModule(instance))
            continue;  // the line with the number of slots
        slots += ModuleCard(instance);
        ++modules;
    }
    const auto slotCount =
        report::ParseNumber(FirstValue(report, "PhysicalMemoryLocation", "MemorySlots"));
    for (auto empty = std::min(slotCount.value_or(0), kMostSlots) - modules; empty > 0; --empty)
        slots += Element("div", "slot empty", "<span>Empty slot</span>");
    return slots.empty() ? CMarkup{} : Block("Memory", Element("div", "slots", slots));
}

}  // namespace orrery::page
