#include "native/nic_card.h"

#include <algorithm>
#include <array>
#include <cwchar>
#include <optional>
#include <string_view>
#include <utility>

#include "support/text.h"
#include "native/date_format.h"

namespace orrery {
namespace {

// Windows fills it in as a compiler with time_t of a pointer's width lays it out.
static_assert(sizeof(IP_ADAPTER_INFO) == (sizeof(void*) == 8 ? 704 : 640));

template <std::size_t Size>
bool BytesAre(std::span<const std::uint8_t> bytes, const std::array<std::uint8_t, Size>& expected)
{
    return std::equal(bytes.begin(), bytes.end(), expected.begin(), expected.end());
}

std::optional<SYSTEMTIME> ToCalendar(std::time_t seconds)
{
    const auto low = static_cast<__time32_t>(static_cast<std::uint32_t>(seconds));
    std::tm parts{};
    if (_gmtime32_s(&parts, &low) != 0)
        return std::nullopt;
    SYSTEMTIME time{};
    time.wYear = static_cast<WORD>(parts.tm_year + 1900);
    time.wMonth = static_cast<WORD>(parts.tm_mon + 1);
    time.wDay = static_cast<WORD>(parts.tm_mday);
    time.wHour = static_cast<WORD>(parts.tm_hour);
    time.wMinute = static_cast<WORD>(parts.tm_min);
    time.wSecond = static_cast<WORD>(parts.tm_sec);
    return time;
}

WideString FormatOrNow(const SYSTEMTIME& time, DateFormatter format)
{
    try {
        return format(time);
    } catch (...) {
        SYSTEMTIME now{};
        GetSystemTime(&now);
        return format(now);
    }
}

WideString FormatMacAddress(std::span<const std::uint8_t, 6> address)
{
    std::array<wchar_t, 18> text{};
    std::swprintf(text.data(), text.size(), L"%02X-%02X-%02X-%02X-%02X-%02X", address[0],
                  address[1], address[2], address[3], address[4], address[5]);
    return text.data();
}

WideString EmptyIfUnset(WideString address)
{
    return address == L"0.0.0.0" ? WideString{} : std::move(address);
}

}  // namespace

bool IsReportedAdapter(std::uint32_t type, std::span<const std::uint8_t, 6> address) noexcept
{
    const bool isOfLeftOutType = type >= IF_TYPE_ISO88025_TOKENRING && type <= IF_TYPE_SLIP;
    // the zero belongs to the comparison: "DEST" followed by anything else is kept
    return !isOfLeftOutType && !BytesAre<5>(address.subspan<0, 5>(), {'D', 'E', 'S', 'T', '\0'}) &&
           !BytesAre<4>(address.subspan<2, 4>(), {' ', 'R', 'A', 'S'}) &&
           !BytesAre<3>(address.subspan<3, 3>(), {0, 0, 0}) &&
           !BytesAre<4>(address.subspan<0, 4>(), {0x00, 0x50, 0x56, 0xC0});
}

LeaseDates FormatLease(std::time_t obtained, std::time_t expires, DateFormatter format)
{
    LeaseDates dates;
    const auto start = ToCalendar(obtained);
    if (!start)
        return dates;
    dates.obtained = FormatOrNow(*start, format);
    if (const auto end = ToCalendar(expires))
        dates.expires = FormatOrNow(*end, format);
    return dates;
}

WideString FirstAddress(const IP_ADDR_STRING& list)
{
    return FromAnsi(list.IpAddress.String);
}

CNICCard CardOf(const IP_ADAPTER_INFO& adapter, WideString dnsServer)
{
    CNICCard card;
    card.macAddress = FormatMacAddress(std::span{adapter.Address}.first<6>());
    card.name = FromAnsi(adapter.Description);
    card.ipAddress = EmptyIfUnset(FirstAddress(adapter.IpAddressList));
    card.ipSubnet = EmptyIfUnset(FromAnsi(adapter.IpAddressList.IpMask.String));
    card.defaultIPGateway = EmptyIfUnset(FirstAddress(adapter.GatewayList));
    card.dhcpServer = FirstAddress(adapter.DhcpServer);
    card.winsPrimaryServer = FirstAddress(adapter.PrimaryWinsServer);
    card.adapterType = adapter.Type == IF_TYPE_ETHERNET_CSMACD ? L"Ethernet" : L"Wireless";
    card.dhcpEnabled = adapter.DhcpEnabled != 0 ? L"true" : L"false";
    if (adapter.DhcpEnabled != 0) {
        LeaseDates lease =
            FormatLease(adapter.LeaseObtained, adapter.LeaseExpires, &FormatUtcDateTime);
        card.dhcpLeaseObtained = std::move(lease.obtained);
        card.dhcpLeaseExpires = std::move(lease.expires);
    }
    card.dnsServer = std::move(dnsServer);
    return card;
}

}  // namespace orrery
