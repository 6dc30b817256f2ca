#include "client/report/json.h"

#include "client/report/completeness_json.h"
#include "client/report/machine.h"
#include "client/report/ordered_json.h"
#include "client/report/typed_json.h"
#include "client/report/typed_value.h"

namespace orrery::report {
namespace {

// To be raised when a reader of the present form would misunderstand the new one.
constexpr int kFormatVersion = 2;

Json ToJson(const Section& section, const Instance& instance)
{
    Json properties = Json::object(), marks = Json::object();
    for (const auto& [name, text] : instance.properties) {
        auto [value, mark] = TypedJsonOf(section.name, name, text);
        if (!mark.empty())
            AppendMember(&marks, name, mark);
        AppendMember(&properties, name, std::move(value));
    }
    Json object = Json::object();
    AppendMember(&object, "index", instance.index);
    AppendMember(&object, "properties", std::move(properties));
    if (!marks.empty())
        AppendMember(&object, "marks", std::move(marks));
    return object;
}

Json ElapsedTimes(const Report& report)
{
    Json times = Json::array();
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at) {
        const std::string_view category = ElapsedCategory(report, at);
        times.push_back({{"category", category.empty() ? Json() : Json(category)},
                         {"milliseconds", TypedJsonOf("ET", "", report.elapsedTimes[at]).value}});
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

/// Writes one object part by part, on lines with an indent or all on one.
class CObjectWriter {
public:
    CObjectWriter(bool isOneLine, const TextSink& sink) : isOneLine_(isOneLine), sink_(sink) {}

    /// Writes a member of the outermost object.
    void Member(std::string_view name, const Json& value)
    {
        Name(name);
        Value(1, value);
    }
    /// Writes the name of such a member, which its value has to follow.
    void Name(std::string_view name)
    {
        sink_(memberEnd_);
        memberEnd_ = ",";
        NewLine(1);
        Value(1, name);
        sink_(isOneLine_ ? ":" : ": ");
    }
    /// Instance by instance, since a report may have any number of them.
    void Sections(const Report& report)
    {
        std::string_view sectionEnd;
        sink_("{");
        for (const Section& section : report.sections) {
            sink_(sectionEnd);
            NewLine(2);
            Value(2, section.name);
            sink_(isOneLine_ ? ":[" : ": [");
            std::string_view instanceEnd;
            for (const Instance& instance : section.instances) {
                sink_(instanceEnd);
                NewLine(3);
                Value(3, ToJson(section, instance));
                instanceEnd = ",";
            }
            NewLine(2);
            sink_("]");
            sectionEnd = ",";
        }
        if (!report.sections.empty())
            NewLine(1);
        sink_("}");
    }
    void End()
    {
        NewLine(0);
        sink_("}\n");
    }

private:
    void NewLine(std::size_t depth)
    {
        if (!isOneLine_)
            sink_('\n' + std::string(2 * depth, ' '));
    }
    /// Writes a value inside of as many objects and arrays; line feeds in texts are escaped.
    void Value(std::size_t depth, const Json& value)
    {
        if (isOneLine_) {
            sink_(Dump(value, -1));
            return;
        }
        std::string text;
        for (const char character : Dump(value)) {
            text += character;
            if (character == '\n')
                text.append(2 * depth, ' ');
        }
        sink_(text);
    }

    bool isOneLine_;
    const TextSink& sink_;
    std::string_view memberEnd_ = "{";
};

void Write(const Report& report, const Source& source, bool isOneLine, const TextSink& sink)
{
    const std::string* const machine = MachineName(report);
    CObjectWriter object{isOneLine, sink};
    object.Member("format", "orrery-report");
    object.Member("formatVersion", kFormatVersion);
    object.Member("clientVersion", source.clientVersion);
    object.Member("report", source.name);
    object.Member("fileTime", source.fileTime ? Json(FormatIsoTime(*source.fileTime)) : Json());
    object.Member("redacted", source.isRedacted);
    object.Member("machine", machine != nullptr ? Json(*machine) : Json());
    object.Member("completeness", ToJson(report.completeness));
    object.Name("sections");
    object.Sections(report);
    object.Member("elapsedTimes", ElapsedTimes(report));
    object.Member("warnings", Warnings(report));
    object.End();
}

}  // namespace

void WriteJson(const Report& report, const Source& source, const TextSink& sink)
{
    Write(report, source, false, sink);
}

void WriteJsonLine(const Report& report, const Source& source, const TextSink& sink)
{
    Write(report, source, true, sink);
}

}  // namespace orrery::report
