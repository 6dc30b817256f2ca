#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "client/system/exit_codes.h"

namespace orrery {

/// The arguments with which this program runs one inventory and does nothing else.
/// @param report  absolute path of the file that the run writes
/// @param cancel  an event that the process inherits; once set, the run is cancelled
std::wstring CollectChildArguments(const std::wstring& report, HANDLE cancel);

/// What the code means with which such a process ended.
/// @return kDone or kCancelled, as the library says; the code of a failure of which the process has
///         written the message; nothing when it crashed, was ended or left before its run was over
std::optional<ExitCode> CollectChildResult(DWORD endCode);

}  // namespace orrery
