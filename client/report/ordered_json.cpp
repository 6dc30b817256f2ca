#include "client/report/ordered_json.h"

#include <utility>

namespace orrery::report {

void AppendMember(Json* object, std::string_view name, Json value)
{
    object->get_ref<Json::object_t&>().emplace_back(std::string{name}, std::move(value));
}

std::string Dump(const Json& value, int indent)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

Json ParseJson(std::string_view text)
{
    return Json::parse(text, nullptr, false);
}

}  // namespace orrery::report
