#pragma once

#include <string>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

namespace orrery::report {

using Json = nlohmann::ordered_json;

/// Adds a member that the object does not have yet. The ordinary way looks for it first, which takes
/// too long with very many members.
inline void AppendMember(Json* object, std::string_view name, Json value)
{
    object->get_ref<Json::object_t&>().emplace_back(std::string{name}, std::move(value));
}

/// The value as text in UTF-8. What is no UTF-8, as paths may be, is replaced.
/// @param indent of each level; -1 for one line without blanks
inline std::string Dump(const Json& value, int indent = 2)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

}  // namespace orrery::report
