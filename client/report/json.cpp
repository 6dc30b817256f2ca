#include "client/report/json.h"

#include <nlohmann/json.hpp>

#include "client/report/machine.h"
#include "client/report/number.h"

namespace orrery::report {
namespace {

using Json = nlohmann::ordered_json;

// To be raised when a reader of the present form would misunderstand the new one.
constexpr int kFormatVersion = 1;

/// Adds a member that the object does not have yet. The ordinary way looks for it first, which takes
/// too long in a report with very many properties.
void AppendMember(Json* object, std::string_view name, Json value)
{
    object->get_ref<Json::object_t&>().emplace_back(std::string{name}, std::move(value));
}

Json ToJson(const Instance& instance)
{
    Json properties = Json::object();
    for (const auto& [name, value] : instance.properties)
        AppendMember(&properties, name, value);
    Json object = Json::object();
    AppendMember(&object, "index", instance.index);
    AppendMember(&object, "properties", std::move(properties));
    return object;
}

Json ToJson(const Section& section)
{
    Json instances = Json::array();
    for (const Instance& instance : section.instances)
        instances.push_back(ToJson(instance));
    return instances;
}

/// A time as a number, or as it is when it is none.
Json Milliseconds(const std::string& text)
{
    const auto number = ParseNumber(text);
    return number ? Json(*number) : Json(text);
}

Json ElapsedTimes(const Report& report)
{
    Json times = Json::array();
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at) {
        const std::string_view category = ElapsedCategory(report, at);
        times.push_back({{"category", category.empty() ? Json() : Json(category)},
                         {"milliseconds", Milliseconds(report.elapsedTimes[at])}});
    }
    return times;
}

}  // namespace

std::string ToJson(const Report& report)
{
    const std::string* const machine = MachineName(report);
    Json sections = Json::object();
    for (const Section& section : report.sections)
        AppendMember(&sections, section.name, ToJson(section));
    Json warnings = Json::array();
    for (const Warning& warning : report.warnings)
        warnings.push_back({{"line", warning.line}, {"text", warning.text}});

    const Json document = {{"format", "orrery-report"},
                           {"formatVersion", kFormatVersion},
                           {"machine", machine != nullptr ? Json(*machine) : Json()},
                           {"sections", std::move(sections)},
                           {"elapsedTimes", ElapsedTimes(report)},
                           {"warnings", std::move(warnings)}};
    constexpr int kIndent = 2;
    return document.dump(kIndent, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace orrery::report
