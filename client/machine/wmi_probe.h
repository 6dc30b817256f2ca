#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "client/doctor/findings.h"

namespace orrery::machine {

/// Called before each question with what is asked.
using Announce = std::function<void(const std::string& what)>;

/// Opens each namespace and asks each question as the library does, one after the other.
/// @param limit    for each; what takes longer is given up
/// @param findings takes the namespaces and classes
void ProbeWmi(std::chrono::seconds limit, const Announce& announce, doctor::Findings* findings);

}  // namespace orrery::machine
