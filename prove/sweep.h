#pragma once

#include <optional>
#include <string>

namespace orrery::prove {

/// Lets each call that a run makes fail, one a run, and looks at what the run does then.
/// @param quick one error code for each call instead of all of them
/// @param only  "threads|inline CALLER NUMBER CODE" tries this one alone, as a finding tells it
/// @return the number of findings, which are printed
int Sweep(bool quick, const std::string& only);

}  // namespace orrery::prove
