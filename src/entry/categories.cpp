#include "entry/categories.h"

#include "collect/bios.h"
#include "collect/computer_system.h"
#include "collect/devices.h"
#include "collect/drive_tables.h"
#include "collect/drives.h"
#include "collect/logical_disks.h"
#include "collect/memory.h"
#include "collect/network.h"
#include "collect/operating_system.h"
#include "collect/overview.h"
#include "wmi/class_collector.h"

namespace orrery {
namespace {

constexpr std::uint32_t kMaxInstances = 100;
constexpr std::uint32_t kMaxLogicalDisks = 26;

void RunDrives(CHardwareCollector* collector, CInvMap* map)
{
    PrepareDriveTables(collector);
    if (CollectClass(collector, kMaxInstances, map, descriptors::kDiskDrive) == 0)
        CollectNativeDrives(collector, kMaxInstances, map);
    CollectLogicalDisks(collector, kMaxLogicalDisks, map);
}

void RunNetwork(CHardwareCollector* collector, CInvMap* map)
{
    collector->adapterFlag = false;
    CollectNetwork(collector, kMaxInstances, map);
}

struct CategoryWork {
    std::int32_t id;
    void (*run)(CHardwareCollector* collector, CInvMap* map);
};

/// A category whose collector takes an upper bound on its instances.
template <auto Collect, std::uint32_t Max = kMaxInstances>
void RunLimited(CHardwareCollector* collector, CInvMap* map)
{
    Collect(collector, Max, map);
}

/// A category that is one WMI class and nothing else.
template <const ClassDescriptor& Descriptor>
void RunClass(CHardwareCollector* collector, CInvMap* map)
{
    CollectClass(collector, kMaxInstances, map, Descriptor);
}

constexpr auto kWork = std::to_array<CategoryWork>({
    {0, RunNetwork},
    {1, RunLimited<CollectVideo>},
    {7, RunLimited<CollectProcessor>},
    {9, RunDrives},
    {10, RunLimited<CollectLogicalDisks, kMaxLogicalDisks>},
    {13, RunLimited<CollectUsb>},
    {14, CollectOperatingSystem},
    {15, CollectBios},
    {16, CollectMemory},
    {17, CollectComputerSystem},
    {19, CollectEnclosure},
    {20, RunClass<descriptors::kBaseBoard>},
    {21, RunClass<descriptors::kSystemSlot>},
    {22, CollectOverview},
});

}  // namespace

void RunCategory(std::int32_t id, CHardwareCollector* collector, CInvMap* map)
{
    for (const auto& work : kWork)
        if (work.id == id)
            return work.run(collector, map);
}

}  // namespace orrery
