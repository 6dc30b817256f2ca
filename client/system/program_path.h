#pragma once

#include <string>

namespace orrery {

/// The absolute path of this program's file.
std::wstring ProgramPath();

}  // namespace orrery
