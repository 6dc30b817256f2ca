#include "native/time_zone.h"

#include <algorithm>
#include <string_view>

#include "native/date_format.h"

namespace orrery {
namespace {

template <std::size_t Size>
std::wstring_view FieldText(const wchar_t (&field)[Size])
{
    return {field, static_cast<std::size_t>(std::find(field, field + Size, L'\0') - field)};
}

std::wstring_view PresentName(DWORD result, const TIME_ZONE_INFORMATION& zone)
{
    switch (result) {
        case TIME_ZONE_ID_UNKNOWN:
        case TIME_ZONE_ID_STANDARD:
            return FieldText(zone.StandardName);
        case TIME_ZONE_ID_DAYLIGHT:
            return FieldText(zone.DaylightName);
        default:
            return {};
    }
}

}  // namespace

WideString TimeZoneText(DWORD result, const TIME_ZONE_INFORMATION& zone)
{
    constexpr LONG kHour = 60;
    const std::wstring_view name = PresentName(result, zone);
    if (name.empty())
        return {};
    WideString text = L"(GMT";
    // The minutes of a zone this close to UTC are dropped on purpose, and so are the corrections
    // for standard and for daylight time in every zone.
    if (zone.Bias <= -kHour || zone.Bias >= kHour)
        text = text + L" " + FormatZone(zone.Bias);
    return text + L") " + name;
}

WideString ReadTimeZoneText()
{
    TIME_ZONE_INFORMATION zone{};
    const DWORD result = GetTimeZoneInformation(&zone);
    return TimeZoneText(result, zone);
}

}  // namespace orrery
