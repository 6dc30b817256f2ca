#include "wmi/code_names.h"

#include <gtest/gtest.h>

namespace orrery {
namespace {

TEST(CodeNames, HaveGapsAndOddNeighboursOnPurpose)
{
    const struct {
        int code;
        const wchar_t *chassis, *slotUsage, *memoryType;
    } rows[] = {
        {0, L"", L"Reserved", L"Unknown"},
        {1, L"Unknown", L"Other", L"DDR3"},
        {2, L"Unknown", L"Unknown", L"Unknown"},
        {4, L"Desktop", L"In use", L"EDRAM"},
        {5, L"Desktop", L"", L"VRAM"},
        {11, L"Tablet", L"", L"FEPROM"},
        {22, L"Unknown", L"", L"DDR3"},
        {23, L"Unknown", L"", L"Unknown"},
        {26, L"", L"", L"DDR4"},
        {31, L"Laptop", L"", L"Unknown"},
        {34, L"Desktop", L"", L"Unknown"},
        {35, L"Desktop", L"", L"DDR5"},
        {37, L"", L"", L"Unknown"},
        {998, L"Terminal Server", L"", L"Unknown"},
        {999, L"Remote Session", L"", L"Unknown"},
        {1000, L"", L"", L"Unknown"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(ChassisTypeName(row.code), row.chassis) << row.code;
        EXPECT_EQ(SlotUsageName(row.code), row.slotUsage) << row.code;
        EXPECT_EQ(MemoryTypeName(static_cast<std::uint16_t>(row.code)), row.memoryType) << row.code;
    }
    EXPECT_EQ(ChassisTypeName(-1), L"");
    EXPECT_EQ(SlotUsageName(-1), L"");
}

}  // namespace
}  // namespace orrery
