#pragma once

#include <windows.h>

namespace orrery::prove {

/// Lets a module call another function in place of one that it imports by name. The way back is to
/// put the original in again.
/// @param replacement has the signature of the function it stands for
/// @return the function that the module called so far; null when it imports none of this name
void* ReplaceImport(HMODULE module, const char* name, void* replacement);

}  // namespace orrery::prove
