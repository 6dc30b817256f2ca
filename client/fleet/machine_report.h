#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "client/fleet/database.h"
#include "client/report/report.h"

namespace orrery::fleet {

/// Reads what is known of machines back as reports: what the latest report of each said. Machines come in
/// the order of their numbers, a few hundred at a time, since a fleet does not fit into memory.
void ReadMachines(
    CDatabase& database,
    const std::function<void(std::int64_t machine, report::Report&& report)>& onMachine);

}  // namespace orrery::fleet
