#pragma once

#include <string>
#include <vector>

#include "client/system/exit_codes.h"
#include "client/report/report.h"
#include "client/text/text_sink.h"

namespace orrery {

/// Reads a report and prints what is odd about it to standard error.
/// @param path    as the command line gives it
/// @param redact  whether what identifies the machine is replaced, in the warnings as well
/// @param isKept  see ReadReport
/// @throws CommandError (kInput) for a file that cannot be read or is no report at all
report::Report OpenReport(const std::string& path, bool redact = false,
                          const report::FactFilter& isKept = {});

/// Prints the warnings about a report to standard error, each with the report's path, and first
/// whether it is whole.
void PrintWarnings(const std::string& path, const std::vector<report::Warning>& warnings,
                   const report::Completeness& completeness);

/// Writes text to standard output.
/// @throws CommandError when it does not take all of it
void PrintOrFail(const TextSource& text, ExitCode failure = ExitCode::kReport);

/// The text, without what a terminal would act on where it goes to one.
TextSource ForOutput(TextSource text);

/// Writes text to a file, or to standard output where none is named.
/// @param output  as the user typed it, in UTF-8; see WriteOutputFile
void WriteOrPrint(const std::string& output, const TextSource& text);

}  // namespace orrery
