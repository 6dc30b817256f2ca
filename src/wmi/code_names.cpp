#include "wmi/code_names.h"

#include <array>

#include "support/code_name.h"

namespace orrery {
namespace {

// Source: the SMBIOS chassis types, grouped by form factor. The grouping is uneven on purpose:
// server and storage chassis 17 to 23 are "Unknown", 25 to 29 have no name at all. No path of the
// library produces 998 and 999; they are kept for readers that know them.
constexpr auto kChassisTypes = std::to_array<CodeName>({
    {1, L"Unknown"},          {2, L"Unknown"},  {3, L"Desktop"},  {4, L"Desktop"},
    {5, L"Desktop"},          {6, L"Desktop"},  {7, L"Desktop"},  {8, L"Laptop"},
    {9, L"Laptop"},           {10, L"Laptop"},  {11, L"Tablet"},  {12, L"Unknown"},
    {13, L"Desktop"},         {14, L"Laptop"},  {15, L"Desktop"}, {16, L"Desktop"},
    {17, L"Unknown"},         {18, L"Unknown"}, {19, L"Unknown"}, {20, L"Unknown"},
    {21, L"Unknown"},         {22, L"Unknown"}, {23, L"Unknown"}, {24, L"Desktop"},
    {30, L"Tablet"},          {31, L"Laptop"},  {32, L"Laptop"},  {33, L"Unknown"},
    {34, L"Desktop"},         {35, L"Desktop"}, {36, L"Desktop"}, {998, L"Terminal Server"},
    {999, L"Remote Session"},
});
static_assert(IsAscending(kChassisTypes));

// Source: the "CurrentUsage" values of Win32_SystemSlot, which follow the SMBIOS slot record.
constexpr auto kSlotUsage = std::to_array<CodeName>({
    {0, L"Reserved"},
    {1, L"Other"},
    {2, L"Unknown"},
    {3, L"Available"},
    {4, L"In use"},
});
static_assert(IsAscending(kSlotUsage));

// Source: the "MemoryType" values of Win32_PhysicalMemory, with rows of the SMBIOS memory device
// types among them on purpose: 1 is "DDR3", 2 and 23 have no name, 22 is "DDR3", 35 is "DDR5" but
// 34 is not.
constexpr auto kMemoryTypes = std::to_array<CodeName>({
    {1, L"DDR3"},   {3, L"DRAM"},   {4, L"EDRAM"},  {5, L"VRAM"},          {6, L"SRAM"},
    {7, L"RAM"},    {8, L"ROM"},    {9, L"FLASH"},  {10, L"EEPROM"},       {11, L"FEPROM"},
    {12, L"EPROM"}, {13, L"CDRAM"}, {14, L"3DRAM"}, {15, L"SDRAM"},        {16, L"SGRAM"},
    {17, L"RDRAM"}, {18, L"DDR"},   {19, L"DDR2"},  {20, L"DDR2 FB-DIMM"}, {21, L"DDR2"},
    {22, L"DDR3"},  {24, L"DDR3"},  {25, L"FBD2"},  {26, L"DDR4"},         {35, L"DDR5"},
});
static_assert(IsAscending(kMemoryTypes));

}  // namespace

WideString ChassisTypeName(std::int32_t code)
{
    return NameOf(kChassisTypes, code, L"");
}

WideString SlotUsageName(std::int32_t code)
{
    return NameOf(kSlotUsage, code, L"");
}

WideString MemoryTypeName(std::uint16_t code)
{
    return NameOf(kMemoryTypes, code, L"Unknown");
}

}  // namespace orrery
