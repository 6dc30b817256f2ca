#pragma once

#include <cstdint>

#include "store/inv_map.h"
#include "wmi/hardware_collector.h"

namespace orrery {

/// The "Memory" category: the installed memory in MiB as (PhysicalMemory, 0, Capacity). The
/// estimate is written first, and stays unless the memory modules add up to more than nothing.
void CollectMemory(CHardwareCollector* collector, CInvMap* map);

/// Writes what the operating system sees, rounded up to a plausible module total.
/// Source: GlobalMemoryStatusEx, total physical memory.
void WriteEstimatedMemory(CHardwareCollector* collector, CInvMap* map);

/// Replaces the estimate by the sum of the modules' capacities; leaves it when there is no sum.
/// Source: Win32_PhysicalMemory.Capacity, the modules that arrive within a second, at most 100.
void WriteModuleMemorySum(CHardwareCollector* collector, CInvMap* map);

/// Rounds a memory size to the size that is likely installed, since the system keeps a part to
/// itself.
/// @param totalBytes what the operating system sees
/// @return bytes; 0 for less than a MiB
std::uint64_t RoundInstalledMemory(std::uint64_t totalBytes);

}  // namespace orrery
