#include "entry/categories.h"

#include "wmi/class_collector.h"

namespace orrery {
namespace {

constexpr std::uint32_t kMaxInstances = 100;

struct CategoryWork {
    std::int32_t id;
    void (*run)(CHardwareCollector* collector, CInvMap* map);
};

constexpr auto kWork = std::to_array<CategoryWork>({
    {19, [](CHardwareCollector* collector,
            CInvMap* map) { CollectClass(collector, 1, map, descriptors::kSystemEnclosure); }},
    {20,
     [](CHardwareCollector* collector, CInvMap* map) {
         CollectClass(collector, kMaxInstances, map, descriptors::kBaseBoard);
     }},
    {21,
     [](CHardwareCollector* collector, CInvMap* map) {
         CollectClass(collector, kMaxInstances, map, descriptors::kSystemSlot);
     }},
});

}  // namespace

void RunCategory(std::int32_t id, CHardwareCollector* collector, CInvMap* map)
{
    for (const auto& work : kWork)
        if (work.id == id)
            return work.run(collector, map);
}

}  // namespace orrery
