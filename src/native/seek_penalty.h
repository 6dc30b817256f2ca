#pragma once

#include "store/wide_string.h"

namespace orrery {

/// Asks a drive itself whether it is a solid state drive. Opening a drive takes administrative
/// rights.
/// @param devicePath such as "\\.\PHYSICALDRIVE0"
/// @return "SSD" or "HDD"; empty when the drive cannot be opened or does not tell
WideString ProbeDiskType(const wchar_t* devicePath);

}  // namespace orrery
