#pragma once

#include <string>
#include <string_view>

namespace orrery {

/// The UTF-8 text in lower case, for comparing names as Windows does: letters of the Latin, Greek and
/// Cyrillic alphabets, no others. Every byte keeps its place, so a position in one text is the same
/// position in the other.
std::string FoldCase(std::string_view text);

}  // namespace orrery
