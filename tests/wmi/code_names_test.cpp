#include "wmi/code_names.h"

#include <gtest/gtest.h>

namespace orrery {
namespace {

TEST(CodeNames, GroupChassisByFormFactor)
{
    // One letter a code from -1 to 38: U(nknown), D(esktop), L(aptop), T(ablet), or none.
    constexpr std::wstring_view kExpected = L"..UUDDDDDLLLTUDLDDUUUUUUUD.....TLLUDDD..";
    const auto nameOf = [](wchar_t letter) {
        switch (letter) {
            case L'U':
                return L"Unknown";
            case L'D':
                return L"Desktop";
            case L'L':
                return L"Laptop";
            case L'T':
                return L"Tablet";
            default:
                return L"";
        }
    };
    for (std::size_t at = 0; at < kExpected.size(); ++at)
        EXPECT_EQ(ChassisTypeName(static_cast<int>(at) - 1), nameOf(kExpected[at])) << at - 1;
    EXPECT_EQ(ChassisTypeName(998), L"Terminal Server");
    EXPECT_EQ(ChassisTypeName(999), L"Remote Session");
    EXPECT_EQ(ChassisTypeName(997), L"");
    EXPECT_EQ(ChassisTypeName(1000), L"");
}

TEST(CodeNames, NameSlotUsageAndMemoryTypes)
{
    const wchar_t* const usages[] = {L"",          L"Reserved", L"Other", L"Unknown",
                                     L"Available", L"In use",   L""};
    for (int code = -1; code <= 5; ++code)
        EXPECT_EQ(SlotUsageName(code), usages[code + 1]) << code;

    const wchar_t* const types[] = {
        L"Unknown", L"DDR3",  L"Unknown", L"DRAM",   L"EDRAM",  L"VRAM",  L"SRAM",
        L"RAM",     L"ROM",   L"FLASH",   L"EEPROM", L"FEPROM", L"EPROM", L"CDRAM",
        L"3DRAM",   L"SDRAM", L"SGRAM",   L"RDRAM",  L"DDR",    L"DDR2",  L"DDR2 FB-DIMM",
        L"DDR2",    L"DDR3",  L"Unknown", L"DDR3",   L"FBD2",   L"DDR4",  L"Unknown"};
    for (std::size_t code = 0; code < std::size(types); ++code)
        EXPECT_EQ(MemoryTypeName(static_cast<std::uint16_t>(code)), types[code]) << code;
    EXPECT_EQ(MemoryTypeName(34), L"Unknown");
    EXPECT_EQ(MemoryTypeName(35), L"DDR5");
    EXPECT_EQ(MemoryTypeName(36), L"Unknown");
    EXPECT_EQ(MemoryTypeName(65535), L"Unknown");
}

}  // namespace
}  // namespace orrery
