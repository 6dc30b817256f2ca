#include "native/date_format.h"

#include <array>
#include <cstdlib>
#include <cwchar>

namespace orrery {
namespace {

constexpr std::size_t kDateUnits = 64;  // six numbers of at most five digits fit many times over

WideString FormatWith(const wchar_t* format, const SYSTEMTIME& time)
{
    std::array<wchar_t, kDateUnits> text{};
    std::swprintf(text.data(), text.size(), format, time.wYear, time.wMonth, time.wDay, time.wHour,
                  time.wMinute, time.wSecond);
    return text.data();
}

LONG CurrentBias()
{
    TIME_ZONE_INFORMATION zone{};
    switch (GetTimeZoneInformation(&zone)) {
        case TIME_ZONE_ID_STANDARD:
            return zone.Bias + zone.StandardBias;
        case TIME_ZONE_ID_DAYLIGHT:
            return zone.Bias + zone.DaylightBias;
        default:
            return zone.Bias;
    }
}

}  // namespace

WideString FormatZone(LONG bias)
{
    const long hours = -(bias / 60);  // the least number has no counterpart
    const long minutes = std::labs(bias % 60);
    if (hours == 0)
        return L"+00:00";  // the minutes of a zone this close to UTC are dropped on purpose
    std::array<wchar_t, kDateUnits> text{};
    std::swprintf(text.data(), text.size(), L"%lc%02ld:%02ld",
                  static_cast<wint_t>(hours > 0 ? L'+' : L'-'), std::labs(hours), minutes);
    return text.data();
}

WideString FormatLocalDateTime(const SYSTEMTIME& time, bool withZone)
{
    WideString text = FormatWith(L"%d-%.2d-%.2dT%.2d:%.2d:%.2d", time);
    // The offset is today's, whatever date is printed.
    return withZone ? text + FormatZone(CurrentBias()) : text;
}

WideString FormatUtcDateTime(const SYSTEMTIME& time)
{
    return FormatWith(L"%4d-%02d-%02dT%02d:%02d:%02dZ", time);
}

}  // namespace orrery
