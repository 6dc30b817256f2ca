#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace orrery {

/// A case of a file in tests/data/cases: what it is about, and its texts by name.
struct Case {
    std::string what;
    std::map<std::string, std::string> texts;

    /// The text of that name; empty where the case has none.
    std::string operator[](const std::string& name) const
    {
        const auto found = texts.find(name);
        return found != texts.end() ? found->second : "";
    }
};

/// The text with "«1B»" for a character by its number, "«40 x»" for forty of a character, and a line
/// that ends in "«»" joined to the next one.
std::string Expanded(std::string_view text);

/// The cases of a file. "# what" begins a case and "-- name" a text of it, whose blank lines at the
/// end do not count.
/// @param names of all texts that a case may have
std::vector<Case> Cases(const std::string& name, const std::vector<std::string>& names);

}  // namespace orrery
