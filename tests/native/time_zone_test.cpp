#include "native/time_zone.h"

#include <gtest/gtest.h>

#include <limits>
namespace orrery {
namespace {

TEST(TimeZone, IsNamedWithItsOffset)
{
    const struct {
        DWORD result;
        LONG bias;
        const wchar_t *standard, *daylight, *expected;
    } rows[] = {
        {1, 300, L"Standard", L"Daylight", L"(GMT -05:00) Standard"},
        {2, 300, L"Standard", L"Daylight", L"(GMT -05:00) Daylight"},
        {0, -330, L"India Standard Time", L"x", L"(GMT +05:30) India Standard Time"},
        {1, 0, L"A name of exactly 32 characters.", L"x",
         L"(GMT) A name of exactly 32 characters."},
        {0, 59, L"N", L"x", L"(GMT) N"},
        {0, -60, L"N", L"x", L"(GMT +01:00) N"},
        {0, 60, L"N", L"x", L"(GMT -01:00) N"},
        {0, std::numeric_limits<LONG>::min(), L"N", L"x", L"(GMT +35791394:08) N"},
        {1, 300, L"", L"x", L""},
        {2, 300, L"x", L"", L""},
        {TIME_ZONE_ID_INVALID, 300, L"x", L"x", L""},
        {3, 300, L"x", L"x", L""},
    };
    for (const auto& row : rows) {
        TIME_ZONE_INFORMATION zone{};
        zone.Bias = row.bias;
        zone.StandardBias = 15;  // must not matter
        zone.DaylightBias = -60;
        std::wcsncpy(zone.StandardName, row.standard, std::size(zone.StandardName));
        std::wcsncpy(zone.DaylightName, row.daylight, std::size(zone.DaylightName));
        EXPECT_EQ(TimeZoneText(row.result, zone), row.expected) << row.bias;
    }
}

}  // namespace
}  // namespace orrery
