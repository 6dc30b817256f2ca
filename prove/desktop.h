#pragma once

#include <span>

namespace orrery::prove {

/// A function that answers in place of the named one, whose signature it has.
struct MadeAnswer {
    const char* name;
    void* answer;
};

/// What Windows answers about windows and accounts on the made machine: a desktop on which somebody
/// works, so that a run looks for the user and acts as the user for a while.
std::span<const MadeAnswer> MadeAnswers();

}  // namespace orrery::prove
