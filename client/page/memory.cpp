#include <algorithm>

#include "client/page/blocks.h"
#include "client/report/profile.h"

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
    const std::string kind = Listed({readable("MemoryType"), readable("Speed")});
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
    const auto memory = report::ReadProfile(report).memory;
    for (const report::Instance* const module : memory.modules)
        slots += ModuleCard(*module);
    for (auto empty = std::min(memory.freeSlots().value_or(0), kMostSlots); empty > 0; --empty)
        slots += Element("div", "slot empty", "<span>Empty slot</span>");
    return slots.empty() ? CMarkup{} : Block("Memory", Element("div", "slots", slots));
}

}  // namespace orrery::page
