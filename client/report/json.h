#pragma once

#include "client/report/report.h"
#include "client/report/source.h"
#include "client/text/text_sink.h"

namespace orrery::report {

/// Writes the report as JSON in UTF-8, grouped by section and instance, in the form that
/// docs/report.schema.json describes.
void WriteJson(const Report& report, const Source& source, const TextSink& sink);

/// The same as one line, which other reports may follow.
void WriteJsonLine(const Report& report, const Source& source, const TextSink& sink);

}  // namespace orrery::report
