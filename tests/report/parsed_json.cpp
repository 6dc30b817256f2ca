#include "parsed_json.h"

#include <nlohmann/json.hpp>

namespace orrery {

CParsedJson::CParsedJson(std::string_view text)
    : json_(std::make_shared<nlohmann::json>(nlohmann::json::parse(text)))
{}

std::string CParsedJson::At(const std::string& pointer) const
{
    return json_->value(nlohmann::json::json_pointer{pointer}, nlohmann::json{}).dump();
}

std::string InOrder(std::string_view json)
{
    return nlohmann::json::parse(json).dump();
}

}  // namespace orrery
