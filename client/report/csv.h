#pragma once

#include "client/report/report.h"
#include "client/report/source.h"
#include "client/text/text_sink.h"

namespace orrery::report {

/// Whom a CSV file is for.
enum class CsvReader {
    kDatabase,     ///< every value as the report has it
    kSpreadsheet,  ///< led by a byte-order mark; a text is a text whatever it looks like
};

/// Writes the header row, which the facts of any number of reports may follow.
void WriteCsvHead(CsvReader reader, const TextSink& sink);

/// Writes a report in long form: one fact a row as `machine`, `section`, `index`, `property`, `value` and
/// `report`, with RFC 4180's quoting and line ends, in UTF-8.
///
/// Section, index and property name a fact of a report: an elapsed time has the number of its line as
/// index and its category as property. Unlike an empty text (`""`) the name of a machine without one is not
/// quoted, which tells databases that there is none.
///
/// A spreadsheet would compute a cell that begins with one of `= + - @`, and take "007" for 7 and "3-4" for
/// a date. An apostrophe before such texts keeps it from that; numbers with a unit stay numbers.
void WriteCsv(const Report& report, const Source& source, CsvReader reader, const TextSink& sink);

}  // namespace orrery::report
