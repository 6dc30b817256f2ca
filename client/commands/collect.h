#pragma once

#include <string>

namespace orrery {

/// Collects the facts of this PC into a report and prints how many each section holds.
///
/// The run writes to a temporary name beside the report, which takes the report's place only when
/// the run is complete: a failed or cancelled run leaves an earlier report as it was, and nothing
/// else in its folder.
///
/// @param report path of the report, which must end in ".tsv" in lower case; it may be relative or
///               longer than MAX_PATH
/// @throws CommandError as said beside ExitCode
void CollectReport(const std::wstring& report);

}  // namespace orrery
