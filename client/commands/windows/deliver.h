#pragma once

#include <string>

#include "client/commands/windows/collect.h"
#include "client/system/exit_codes.h"

namespace orrery {

struct DeliveryOptions {
    std::wstring drop;   ///< the folder that takes the reports of many PCs; often a share
    std::wstring spool;  ///< a folder of this PC; empty for one of the user's own
};

/// Collects the facts of this PC into the spool, and brings report and sidecar from there to the drop
/// folder, named as this PC. There they have names that say ".partial" behind their endings until both
/// are whole; the report is the last to get its own.
///
/// What cannot be delivered waits in the spool, at most one report: the next run delivers it, or a newer
/// one.
/// @param collect of these, what CollectReport takes; the sidecar is always written
/// @return as CollectReport
/// @throws CommandError as CollectReport; kNotDelivered when the report waits
ExitCode CollectAndDeliver(const DeliveryOptions& options, CollectOptions collect);

}  // namespace orrery
