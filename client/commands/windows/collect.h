#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "client/system/exit_codes.h"

namespace orrery {

struct CollectOptions {
    std::chrono::seconds timeout{600};    ///< 0 for none
    bool isQuiet = false;                 ///< prints errors only
    std::string form;                     ///< what the report is converted to; empty for nothing
    bool hasSidecar = false;              ///< writes NAME.json beside NAME.tsv, see report::Sidecar
    bool isForDelivery = false;           ///< the report does not stay where it is
    std::chrono::seconds randomDelay{0};  ///< the most that passes before the run
};

/// Collects the facts of this PC into a report, converts it if asked to, and prints how many each section holds.
///
/// The run happens in a process of its own, which a provider may hang or crash. It writes to a
/// temporary name beside the report, which takes the report's place only when the run is complete:
/// otherwise an earlier report stays as it was, and nothing else is left in its folder. A sidecar that
/// stands beside an earlier report is renewed with it, before it.
///
/// @param report path of the report, which must end in ".tsv" in lower case; it may be relative or
///               longer than MAX_PATH. The converted report lies beside it, or takes its place where
///               the name ends like its form. "-" stands for standard output, and nothing for a report
///               in the current folder that is called as this PC
/// @return kDone; kNo when the run was cancelled and its report, now in place, lacks categories; or the
///         code of a failure of which that process has written the message
/// @throws CommandError as said beside ExitCode
ExitCode CollectReport(const std::optional<std::wstring>& report, const CollectOptions& options);

}  // namespace orrery
