#pragma once

#include <chrono>

#include "client/doctor/findings.h"
#include "client/machine/wmi_probe.h"

namespace orrery::machine {

/// Collects what a report of this machine would tell, category by category as the library does, but
/// writes none.
/// @param limit for each category; one that takes longer is left unfinished
doctor::Rehearsal RehearseReport(std::chrono::seconds limit, const Announce& announce);

}  // namespace orrery::machine
