#pragma once

#include "client/report/report.h"
#include "client/text/text_sink.h"

namespace orrery::report {

/// Writes the report as one HTML page to look at, in UTF-8. It needs nothing but itself, holds no script and
/// forbids all, whatever the report says. Every fact and warning is on it.
void WriteHtml(const Report& report, const TextSink& sink);

}  // namespace orrery::report
