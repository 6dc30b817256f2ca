#pragma once

#include <optional>

#include "store/wide_string.h"
#include "support/unique.h"

namespace orrery {

/// Opens a drive for reading and writing, which takes administrative rights.
/// @param devicePath such as "\\.\PHYSICALDRIVE0"
UniqueFile OpenDrive(const wchar_t* devicePath);

/// Asks an open drive whether it incurs a seek penalty.
/// @return the flag as the drive gives it; nothing when it does not tell
std::optional<bool> ReadSeekPenalty(HANDLE drive);

/// Asks a drive itself whether it is a solid state drive. Opening a drive takes administrative
/// rights.
/// @param devicePath such as "\\.\PHYSICALDRIVE0"
/// @return "SSD" or "HDD"; empty when the drive cannot be opened or does not tell
WideString ReadDiskType(const wchar_t* devicePath);

}  // namespace orrery
