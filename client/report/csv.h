#pragma once

#include "client/report/report.h"
#include "client/text/text_sink.h"

namespace orrery::report {

/// Writes the report in long form for a database: a header row, then one fact a row as `machine`, `section`,
/// `index`, `property` and `value`, with RFC 4180's quoting and line ends, in UTF-8.
///
/// The first four columns name a fact: an elapsed time has the number of its line as index and its
/// category as property. Unlike an empty text (`""`) the name of a machine without one is not quoted,
/// which tells databases that there is none.
void WriteCsv(const Report& report, const TextSink& sink);

}  // namespace orrery::report
