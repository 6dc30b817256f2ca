#include "client/report/find_value.h"
#include "client/report/ordered_json.h"
#include "client/report/typed_json.h"

namespace orrery::report {
namespace {

constexpr int kFormatVersion = 2;

Json JsonOf(const std::string& name, const FoundValue& found)
{
    auto [value, mark] = TypedJsonOf(found.section, found.property, found.value);
    Json json = {{"name", name},
                 {"section", found.section},
                 {"index", found.index},
                 {"property", found.property},
                 {"value", std::move(value)}};
    if (!mark.empty())
        json["mark"] = mark;
    return json;
}

}  // namespace

std::string FormatValuesJson(const std::string& path, const Lookup& lookup)
{
    Json values = Json::array(), missing = Json::array();
    for (const FoundValues& found : lookup.found) {
        for (const FoundValue& each : found.values)
            values.push_back(JsonOf(found.name.text, each));
        if (found.values.empty())
            missing.push_back(found.name.text);
    }
    return Dump({{"format", "orrery-values"},
                 {"formatVersion", kFormatVersion},
                 {"report", path},
                 {"values", std::move(values)},
                 {"missing", std::move(missing)}}) +
           '\n';
}

}  // namespace orrery::report
