#pragma once

#include <string>
#include <vector>

namespace orrery {

/// The program's arguments as they were typed, in UTF-8, without its name. They come last first, as
/// the parser of the command line takes them.
/// @param count, arguments what main was given
std::vector<std::string> ReversedArguments(int count, char** arguments);

}  // namespace orrery
