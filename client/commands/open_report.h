#pragma once

#include <string>
#include <vector>

#include "client/system/exit_codes.h"
#include "client/report/report.h"
#include "client/text/text_sink.h"

namespace orrery {

/// Reads a report and prints what is odd about it to standard error.
/// @param path    as the command line gives it; "-" is standard input
/// @param redact  whether what identifies the machine is replaced, in the warnings as well
/// @param isKept  see ReadReport
/// @param isQuiet whether nothing is printed of a report that can be read
/// @throws CommandError (kInput) for a file that cannot be read or is no report at all
report::Report OpenReport(const std::string& path, bool redact = false,
                          const report::FactFilter& isKept = {}, bool isQuiet = false);

/// A report as messages call it.
std::string ReportName(const std::string& path);

/// Finds out whether the reports can all be read.
/// @throws CommandError (kInput) where standard input is more than one of them
void CheckReports(const std::vector<std::string>& paths);

/// Prints the warnings about a report to standard error, each with the report's name, and first
/// whether it is whole.
void PrintWarnings(const std::string& path, const std::vector<report::Warning>& warnings,
                   const report::Completeness& completeness);

/// Writes text to standard output.
/// @throws CommandError when it does not take all of it
void PrintOrFail(const TextSource& text, ExitCode failure = ExitCode::kReport);

/// The text, without what a terminal would act on where it goes to one.
TextSource ForOutput(TextSource text);

/// Writes text to a file, or to standard output where that is "-".
/// @param output  as the user typed it, in UTF-8; see WriteOutputFile
void WriteOrPrint(const std::string& output, const TextSource& text);

}  // namespace orrery
