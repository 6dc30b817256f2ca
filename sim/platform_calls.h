#pragma once

#include <set>
#include <string>
#include <vector>

namespace orrery::sim {

/// What a call takes from the system or gives back.
struct ResourceUse {
    bool isTaken;
    std::string resource;
    int place;  ///< 0 for the result, -1 for the thread's own, else the number of the argument
};

/// A function that the library calls, as platform_calls.txt tells of it.
struct PlatformCall {
    std::string name;  ///< of a method after its interface and "::"
    int method = -1;   ///< its place in the interface; -1 for a function
    std::string arguments;
    int words =
        -1;  ///< of arguments, which the function itself removes on x86; -1 where it does not
    std::string result;
    std::string fails;
    std::vector<ResourceUse> uses;
};

struct PlatformCalls {
    std::vector<PlatformCall> calls;
    std::set<std::string> own;  ///< functions that ask the machine for nothing

    /// The place of a function in the list; -1 when it is not there.
    int Find(const std::string& name) const;
};

/// The list, read once.
/// @throw std::runtime_error naming a line that cannot be read
const PlatformCalls& KnownCalls();

}  // namespace orrery::sim
