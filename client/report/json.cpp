#include "client/report/json.h"

#include "client/report/completeness_json.h"
#include "client/report/machine.h"
#include "client/report/number.h"
#include "client/report/ordered_json.h"

namespace orrery::report {
namespace {

// To be raised when a reader of the present form would misunderstand the new one.
constexpr int kFormatVersion = 1;

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

Json Warnings(const Report& report)
{
    Json warnings = Json::array();
    for (const Warning& warning : report.warnings)
        warnings.push_back({{"line", warning.line}, {"text", warning.text}});
    return warnings;
}

/// The value as text that begins on a line of its own, inside of as many objects and arrays.
std::string Nested(int depth, const Json& value)
{
    const std::string lineStart = '\n' + std::string(static_cast<std::size_t>(2 * depth), ' ');
    std::string text = lineStart;
    for (const char character : Dump(value))  // line feeds in texts are escaped
        if (character == '\n')
            text += lineStart;
        else
            text += character;
    return text;
}

/// Writes a member of the outermost object.
void WriteMember(std::string_view name, const Json& value, const TextSink& sink)
{
    sink(Nested(1, name));
    sink(": ");
    sink(std::string_view{Nested(1, value)}.substr(3));
}

/// Instance by instance, since a report may have any number of them.
void WriteSections(const Report& report, const TextSink& sink)
{
    std::string_view sectionEnd = "{";
    for (const Section& section : report.sections) {
        sink(sectionEnd);
        sink(Nested(2, section.name));
        sink(": [");
        std::string_view instanceEnd;
        for (const Instance& instance : section.instances) {
            sink(instanceEnd);
            sink(Nested(3, ToJson(instance)));
            instanceEnd = ",";
        }
        sink("\n    ]");
        sectionEnd = ",";
    }
    sink(report.sections.empty() ? "{}" : "\n  }");
}

}  // namespace

void WriteJson(const Report& report, const TextSink& sink)
{
    const std::string* const machine = MachineName(report);
    sink("{");
    WriteMember("format", "orrery-report", sink);
    sink(",");
    WriteMember("formatVersion", kFormatVersion, sink);
    sink(",");
    WriteMember("machine", machine != nullptr ? Json(*machine) : Json(), sink);
    sink(",\n  \"sections\": ");
    WriteSections(report, sink);
    sink(",");
    WriteMember("elapsedTimes", ElapsedTimes(report), sink);
    sink(",");
    WriteMember("completeness", ToJson(report.completeness), sink);
    sink(",");
    WriteMember("warnings", Warnings(report), sink);
    sink("\n}\n");
}

}  // namespace orrery::report
