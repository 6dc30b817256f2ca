#pragma once

#include <windows.h>

#include "store/wide_string.h"

namespace orrery {

/// Describes a time zone, such as "(GMT -05:00) Eastern Standard Time": its offset from UTC without
/// daylight saving, and the name it goes by at present.
/// @param result what GetTimeZoneInformation returned with the record
/// @return empty when the result is a failure or the zone has no name
WideString TimeZoneText(DWORD result, const TIME_ZONE_INFORMATION& zone);

/// Describes the machine's time zone.
WideString ReadTimeZoneText();

}  // namespace orrery
