#pragma once

#include "client/report/report.h"
#include "client/text/text_sink.h"

namespace orrery::report {

/// Writes the bytes of a report file in the library's own form and order: UTF-16LE without a
/// byte-order mark, one line a fact, by section, property and index as text. Unlike with the library,
/// lines of any length are whole.
void WriteReport(const Report& report, const TextSink& sink);

}  // namespace orrery::report
