#pragma once

namespace orrery::prove {

/// What Windows answers about windows and accounts on the made machine: a desktop on which somebody
/// works, so that a run looks for the user and acts as the user for a while.
/// @return a function of the signature of the named one; null where Windows itself may answer
void* MadeAnswer(const char* name);

}  // namespace orrery::prove
