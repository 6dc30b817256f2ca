#pragma once

#include <optional>

#include "store/wide_string.h"
#include "support/unique.h"

namespace orrery {

/// Opens a drive for reading and writing, which takes administrative rights.
/// @param devicePath such as "\\.\PHYSICALDRIVE0"
UniqueFile OpenDrive(const wchar_t* devicePath);

/// Asks an open drive whether it takes TRIM commands.
/// @return nothing when it does not tell
std::optional<bool> ReadTrim(HANDLE drive);

/// Asks a drive itself what kind it is, by whether it takes TRIM: solid state drives do, unless what
/// they are connected by passes none; so do thin virtual disks and shingled hard disks. Opening a drive
/// takes administrative rights.
/// @param devicePath such as "\\.\PHYSICALDRIVE0"
/// @return "SSD" or "HDD"; empty when the drive cannot be opened or does not tell
WideString ReadDiskType(const wchar_t* devicePath);

}  // namespace orrery
