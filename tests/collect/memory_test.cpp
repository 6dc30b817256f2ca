#include "collect/memory.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "sim/detour.h"
#include "sim/facts.h"
#include "sim/simulation.h"

namespace orrery {
namespace {

constexpr std::uint64_t kMebibyte = 1 << 20;
std::uint64_t totalBytes = 0;

BOOL WINAPI MemoryOfTheTest(MEMORYSTATUSEX* status)
{
    EXPECT_EQ(status->dwLength, 64U);
    status->ullTotalPhys = totalBytes;
    return TRUE;
}

std::wstring CapacityOf(std::wstring_view modules, std::uint64_t totalMebibytes)
{
    const ComApartment apartment;
    const sim::Detour memory{L"kernel32.dll", "GlobalMemoryStatusEx", MemoryOfTheTest};
    const sim::Simulation simulation{modules};
    totalBytes = totalMebibytes * kMebibyte;
    CInvMap map;
    {
        CHardwareCollector collector;
        CollectMemory(&collector, &map);
    }
    EXPECT_EQ(simulation.LiveObjects(), 0);
    EXPECT_EQ(map.entries().size(), 1U);
    return sim::FactsOf(map).at(L"PhysicalMemory\\Capacity\\0");
}

std::wstring Modules(std::initializer_list<const wchar_t*> lines)
{
    std::wstring scenario = L"namespace root\\cimv2\nclass Win32_PhysicalMemory\n";
    for (const wchar_t* line : lines)
        scenario += L"instance of Win32_PhysicalMemory\n{\n\t" + std::wstring{line} + L"\n};\n";
    return scenario;
}

TEST(Memory, IsTheModulesSumOrElseTheEstimate)
{
    const struct {
        const char* about;
        std::initializer_list<const wchar_t*> modules;
        std::uint64_t total;
        const wchar_t* capacity;
    } rows[] = {
        {"a module without capacity",
         {L"Capacity = \"137438953472\";", L"Speed = 1;"},
         100,
         L"131072"},
        {"none with one", {L"Speed = 2400;"}, 3796, L"3840"},
        {"less than 1 MiB", {L"Capacity = \"1048575\";"}, 3796, L"3840"},
        // 2 to the 31st MiB, which 32 bits hold as a negative number
        {"too much", {L"Capacity = \"2251799813685248\";"}, 3796, L"3840"},
        {"no module", {}, 3796, L"3840"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(CapacityOf(Modules(row.modules), row.total), row.capacity) << row.about;
    EXPECT_EQ(CapacityOf(L"namespace root\\other\n", 3796), L"3840");
}

TEST(Memory, SumReplacesAnEstimateOnly)
{
    const ComApartment apartment;
    const sim::Simulation simulation{Modules({L"Capacity = \"8589934592\";"})};
    CHardwareCollector collector;
    CInvMap map;
    WriteModuleMemorySum(&collector, &map);
    EXPECT_TRUE(map.entries().empty());
}

TEST(Memory, RoundsUpToAPlausibleTotal)
{
    const std::uint64_t rows[][2] = {{16251, 16384}, {8077, 8192},  {3796, 3840}, {12088, 12288},
                                     {0, 0},         {9, 9},        {10, 12},     {100, 128},
                                     {1000, 1024},   {10000, 10240}};  // MiB
    for (const auto& [total, expected] : rows)
        EXPECT_EQ(RoundInstalledMemory(total * kMebibyte), expected * kMebibyte) << total;
    EXPECT_EQ(RoundInstalledMemory(kMebibyte - 1), 0U);
}

/// The rule told another way: the largest of the nearest multiples, reckoned by division.
std::uint64_t LargestNearestMultiple(std::uint64_t total)
{
    const std::uint64_t coarsest[] = {1,    8,     64,    512,
                                      8192, 65536, 524288};  // MiB, by decimal digits
    const auto digits = std::to_string(total / kMebibyte).size();
    std::uint64_t best = 0;
    for (auto step = coarsest[digits - 1] * kMebibyte; step >= 4096; step /= 2)
        best = std::max(best, (total + step / 2) / step * step);
    return best;
}

TEST(Memory, RoundsAnyTotalByTheSameRule)
{
    std::mt19937_64 random{20240205};
    for (int round = 0; round < 20000; ++round) {
        const auto total = kMebibyte + random() % (std::uint64_t{1} << (21 + round % 21));
        ASSERT_EQ(RoundInstalledMemory(total), LargestNearestMultiple(total)) << total;
    }
}

}  // namespace
}  // namespace orrery
