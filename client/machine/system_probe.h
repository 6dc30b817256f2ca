#pragma once

#include <chrono>

#include "client/doctor/findings.h"

namespace orrery::machine {

/// The rights that are in force for this process.
doctor::Rights ReadRights();

/// Finds out what stands beside WMI: the caller's rights, services, wireless adapters, SCSI ports.
/// @param limit    for each; what takes longer is given up
/// @param findings takes the answers
void ProbeSystem(std::chrono::seconds limit, doctor::Findings* findings);

}  // namespace orrery::machine
