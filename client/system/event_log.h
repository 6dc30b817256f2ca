#pragma once

#include <string>

#include "client/system/exit_codes.h"

namespace orrery {

/// Adds a line to the Application log of Windows, with the exit code for its number: information for
/// what is done, a warning for what may be better next time, else an error. Where the log takes none,
/// nothing happens.
/// @param text in UTF-8
void LogEvent(ExitCode code, const std::string& text);

}  // namespace orrery
