#include "native/nic_card.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "sim/ip_helper.h"
#include "native/date_format.h"

namespace orrery {
namespace {

using Bytes = std::array<std::uint8_t, 6>;
constexpr Bytes kPlain{0x02, 0x11, 0x22, 0x33, 0x44, 0x55};

TEST(NicCard, IsMadeOfReportedAdaptersOnly)
{
    const struct {
        std::uint32_t type;
        Bytes address;
        bool reported;
    } rows[] = {
        {8, kPlain, true},
        {9, kPlain, false},   // token ring
        {28, kPlain, false},  // SLIP
        {29, kPlain, true},
        {6, {0x00, 0x50, 0x56, 0xC0, 0x00, 0x01}, false},
        {6, {0x00, 0x50, 0x56, 0xC1, 0x00, 0x01}, true},
        {6, {'D', 'E', 'S', 'T', 0, 1}, false},
        {6, {'D', 'E', 'S', 'T', 1, 0}, true},
        {6, {1, 2, ' ', 'R', 'A', 'S'}, false},
        {6, {1, ' ', 'R', 'A', 'S', 1}, true},
        {6, {1, 2, 3, 0, 0, 0}, false},
        {6, {1, 2, 0, 0, 0, 6}, true},
        {6, {0, 0, 0, 0, 0, 1}, true},
    };
    for (const auto& row : rows)
        EXPECT_EQ(IsReportedAdapter(row.type, row.address), row.reported)
            << row.type << " " << testing::PrintToString(row.address);
}

TEST(NicCard, ReadsFieldsWithoutATerminator)
{
    IP_ADAPTER_INFO adapter = sim::MakeAdapter("", kPlain);
    std::memset(adapter.Description, 'd', sizeof adapter.Description);
    std::memset(adapter.IpAddressList.IpAddress.String, '1', 16);
    const CNICCard card = CardOf(adapter, {});
    EXPECT_EQ(card.name, std::wstring(132, L'd'));
    EXPECT_EQ(card.ipAddress, L"1111111111111111");
}

WideString RefuseOldDates(const SYSTEMTIME& time)
{
    if (time.wYear < 2000)
        throw std::length_error("old");
    return FormatUtcDateTime(time);
}

TEST(NicCard, FormatsTheLeaseAsUtcDates)
{
    const struct {
        long long obtained, expires;
        const wchar_t *obtainedText, *expiresText;
    } rows[] = {
        {0, 1707116889, L"1970-01-01T00:00:00Z", L"2024-02-05T07:08:09Z"},
        {951782400, 0x7FFFFFFF, L"2000-02-29T00:00:00Z", L"2038-01-19T03:14:07Z"},
        {0x100000001, 59, L"1970-01-01T00:00:01Z", L"1970-01-01T00:00:59Z"},  // low 32 bits
        {0x80000000, 59, L"", L""},  // negative in 32 bits, and takes the other along
        {59, 0x80000000, L"1970-01-01T00:00:59Z", L""},
    };
    for (const auto& row : rows) {
        const LeaseDates dates =
            FormatLease(static_cast<std::time_t>(row.obtained),
                        static_cast<std::time_t>(row.expires), &FormatUtcDateTime);
        EXPECT_EQ(dates.obtained, row.obtainedText) << row.obtained;
        EXPECT_EQ(dates.expires, row.expiresText) << row.expires;
    }
    const LeaseDates now = FormatLease(1, 951782400, &RefuseOldDates);
    EXPECT_GT(now.obtained, L"2020");
    EXPECT_EQ(now.expires, L"2000-02-29T00:00:00Z");
}

}  // namespace
}  // namespace orrery
