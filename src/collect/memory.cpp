#include "collect/memory.h"

#include <windows.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "native/computer_system.h"
#include "support/text.h"
#include "wmi/class_collector.h"
#include "wmi/property_text.h"
#include "wmi/session.h"

namespace orrery {
namespace {

std::uint64_t TotalPhysicalBytes()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    GlobalMemoryStatusEx(&status);
    return status.ullTotalPhys;
}

WideString CapacityText(std::uint64_t mebibytes)
{
    return std::to_wstring(static_cast<std::uint32_t>(mebibytes));
}

/// The integer part of the decimal logarithm, exact where a library's log10 may fall just short.
int WholeLog10(std::uint64_t number)
{
    int digits = 0;
    for (; number >= 10; number /= 10)
        ++digits;
    return digits;
}

}  // namespace

std::uint64_t RoundInstalledMemory(std::uint64_t totalBytes)
{
    constexpr std::uint64_t kSmallestStep = 4096;
    const std::uint64_t mebibytes = ToMebibytes(totalBytes);
    if (mebibytes == 0)
        return 0;
    // The coarsest step follows from the number of decimal digits, not from the size itself: that
    // decides on purpose which sizes may round up far.
    const auto exponent = static_cast<unsigned>(WholeLog10(mebibytes) / std::log10(2.0));
    const std::uint64_t coarsest = std::uint64_t{1} << exponent << 20;
    if (coarsest < kSmallestStep)
        return 0;
    std::uint64_t best = 0;
    for (std::uint64_t step = coarsest; step >= kSmallestStep; step /= 2) {
        const std::uint64_t half = step / 2;
        best = std::max(best, half - (half + totalBytes) % step + totalBytes);
    }
    return best;
}

void WriteEstimatedMemory(CHardwareCollector* collector, CInvMap* map)
{
    const CComputerSystem native;
    const auto descriptor = descriptors::kPhysicalMemory;
    for (auto property = PropertiesOf(descriptor); *property != nullptr; ++property)
        StoreValue(collector, *property,
                   CapacityText(ToMebibytes(RoundInstalledMemory(TotalPhysicalBytes()))), map, 0,
                   SectionOf(descriptor));
}

void WriteModuleMemorySum(CHardwareCollector* collector, CInvMap* map)
{
    constexpr std::uint32_t kMaxModules = 100;
    collector->ConnectWmi();
    if (!collector->services)
        return;

    std::int64_t sum = 0;
    for (const auto& module :
         FirstBatch(collector->services.get(), ClassOf(descriptors::kPhysicalMemory), kMaxModules))
        if (const auto text = ObjectText(module.get()))
            sum += ParseInt32(GetPropertyFromText(collector, L"Capacity", *text));
    if (sum < 1)
        return;

    CHardwareObject* estimate = nullptr;
    if (map->Lookup(FactKey(L"PhysicalMemory", L"Capacity", 0).c_str(), &estimate) == 1)
        estimate->value = CapacityText(static_cast<std::uint64_t>(sum));
}

void CollectMemory(CHardwareCollector* collector, CInvMap* map)
{
    WriteEstimatedMemory(collector, map);
    WriteModuleMemorySum(collector, map);
}

}  // namespace orrery
