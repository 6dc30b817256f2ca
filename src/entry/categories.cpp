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

constexpr std::uint32_t kNone = 0;
constexpr std::uint32_t kMaxInstances = 100;
constexpr std::uint32_t kMaxLogicalDisks = 26;

void RunDrives(CHardwareCollector* collector, std::uint32_t limit, CInvMap* map)
{
    PrepareDriveTables(collector);
    if (CollectClass(collector, limit, map, descriptors::kDiskDrive, WriteDiskDrive) == 0)
        CollectNativeDrives(collector, limit, map);
    CollectLogicalDisks(collector, kMaxLogicalDisks, map);
}

void RunNetwork(CHardwareCollector* collector, std::uint32_t limit, CInvMap* map)
{
    collector->adapterFlag = false;
    CollectNetwork(collector, limit, map);
}

void RunLogicalDisks(CHardwareCollector* collector, std::uint32_t limit, CInvMap* map)
{
    CollectLogicalDisks(collector, limit, map);
}

/// A category whose collector takes no limit.
template <void (*Collect)(CHardwareCollector* collector, CInvMap* map)>
void RunWhole(CHardwareCollector* collector, std::uint32_t /*limit*/, CInvMap* map)
{
    Collect(collector, map);
}

/// A category that is one WMI class and nothing else.
template <const ClassDescriptor& Descriptor>
void RunClass(CHardwareCollector* collector, std::uint32_t limit, CInvMap* map)
{
    CollectClass(collector, limit, map, Descriptor);
}

}  // namespace

constinit const std::array<Category, 14> kCategories{{
    {22, L"SystemOverview", kNone, RunWhole<CollectOverview>},
    {0, L"Network", kMaxInstances, RunNetwork},
    {1, L"Video", kMaxInstances, CollectVideo},
    {7, L"CPU", kMaxInstances, CollectProcessor},
    {9, L"PhysicalDrive", kMaxInstances, RunDrives},
    {13, L"USB", kMaxInstances, CollectUsb},
    {14, L"OS", kNone, RunWhole<CollectOperatingSystem>},
    {15, L"BIOS", kNone, RunWhole<CollectBios>},
    {16, L"Memory", kNone, RunWhole<CollectMemory>},
    {17, L"CompSys", kNone, RunWhole<CollectComputerSystem>},
    {19, L"Enclosure", 1, RunClass<descriptors::kSystemEnclosure>},
    {20, L"BaseBoard", kMaxInstances, RunClass<descriptors::kBaseBoard>},
    {21, L"SystemSlot", kMaxInstances, RunClass<descriptors::kSystemSlot>},
    {10, nullptr, kMaxLogicalDisks, RunLogicalDisks},
}};

void RunCategory(std::int32_t id, CHardwareCollector* collector, CInvMap* map)
{
    for (const auto& category : kCategories)
        if (category.id == id)
            return category.collect(collector, category.limit, map);
}

}  // namespace orrery
