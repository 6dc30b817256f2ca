#pragma once

#include <windows.h>

#include "store/wide_string.h"

namespace orrery {

/// A date and time as "2024-02-05T07:08:09"; the year is not padded.
/// @param withZone appends the machine's present offset from UTC, such as "+05:30"; an offset of less
///                 than an hour reads "+00:00"
WideString FormatLocalDateTime(const SYSTEMTIME& time, bool withZone);

/// A date and time as "2024-02-05T07:08:09Z"; a year below 1000 is padded with blanks. The time is
/// taken as UTC as it stands.
WideString FormatUtcDateTime(const SYSTEMTIME& time);

/// The offset from UTC in the form of FormatLocalDateTime.
/// @param bias minutes to add to local time to get UTC, so positive west of Greenwich
WideString FormatZone(LONG bias);

}  // namespace orrery
