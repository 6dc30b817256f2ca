#pragma once

#include <string>

#include "client/report/report.h"

namespace orrery::report {

/// The report as one HTML page to look at, in UTF-8. It needs nothing but itself, holds no script and
/// forbids all, whatever the report says. Every fact and warning is on it.
std::string ToHtml(const Report& report);

}  // namespace orrery::report
