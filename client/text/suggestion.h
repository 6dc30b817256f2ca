#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orrery {

/// The end of a message about a word that is not known: "; did you mean "show"?" with the word that
/// is nearest to it, in any letter case, or nothing when none is near.
std::string Suggestion(std::string_view word, const std::vector<std::string>& known);

}  // namespace orrery
