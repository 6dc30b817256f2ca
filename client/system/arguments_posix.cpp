#include "client/system/arguments.h"

namespace orrery {

std::vector<std::string> ReversedArguments(int count, char** arguments)
{
    std::vector<std::string> reversed;
    for (int at = count - 1; at > 0; --at)
        reversed.emplace_back(arguments[at]);
    return reversed;
}

}  // namespace orrery
