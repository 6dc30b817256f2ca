#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace orrery::report {

using Json = nlohmann::ordered_json;

// Reader and writer are compiled once, since they are the library's slowest part to compile.

/// Adds a member that the object does not have yet. The ordinary way looks for it first, which takes
/// too long with very many members.
void AppendMember(Json* object, std::string_view name, Json value);

/// The value as text in UTF-8. What is no UTF-8, as paths may be, is replaced.
/// @param indent of each level; -1 for one line without blanks
std::string Dump(const Json& value, int indent = 2);

/// @return a discarded value if the text is no JSON
Json ParseJson(std::string_view text);

}  // namespace orrery::report
