#include "client/report/diff_text.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <utility>

#include "client/report/completeness_json.h"
#include "client/report/ordered_json.h"
#include "client/report/units.h"

namespace orrery::report {
namespace {

constexpr int kFormatVersion = 1;

/// How the differences are laid out.
struct Layout {
    std::size_t columns;  // 0 for any
    Charset charset;

    std::string Show(std::string_view text) const { return Escaped(text, charset); }
    /// A value in its unit, with what stands in the report beside it where that tells more.
    std::string ShowValue(const std::optional<std::string>& value, std::string_view section,
                          std::string_view property, bool isExact = false) const
    {
        if (!value)
            return "(not reported)";
        if (value->empty())
            return "(empty)";
        // An elapsed time has its category in place of a property.
        const std::string readable =
            Readable(section, section == "ET" ? "" : property, *value).text;
        return Show(readable) + (isExact && readable != *value ? " (" + Show(*value) + ')' : "");
    }
};

/// "before -> after", on two lines when it does not fit on one.
std::string ChangeText(std::string_view section, const PropertyChange& property, std::size_t indent,
                       const Layout& layout)
{
    constexpr std::string_view kArrow = " -> ";
    std::string text = layout.ShowValue(property.before, section, property.name);
    std::string after = layout.ShowValue(property.after, section, property.name);
    if (text == after) {
        text = layout.ShowValue(property.before, section, property.name, true);
        after = layout.ShowValue(property.after, section, property.name, true);
    }
    const std::size_t width = indent + Columns(text) + kArrow.size() + Columns(after);
    if (layout.columns != 0 && width > layout.columns)
        text.append("\n").append(indent - (kArrow.size() - 1), ' ').append(kArrow.substr(1));
    else
        text += kArrow;
    return text + after;
}

std::string PropertyLines(std::string_view section, const InstanceChange& instance,
                          std::size_t indent, const Layout& layout)
{
    std::size_t nameWidth = 0;
    for (const PropertyChange& property : instance.properties)
        nameWidth = std::max(nameWidth, Columns(layout.Show(property.name)));
    std::string lines;
    for (const PropertyChange& property : instance.properties) {
        const std::string name = layout.Show(property.name);
        lines.append(indent, ' ').append(name).append(nameWidth - Columns(name) + 2, ' ');
        if (instance.isAdded() || instance.isRemoved())
            lines += layout.ShowValue(property.before ? property.before : property.after, section,
                                      property.name);
        else
            lines += ChangeText(section, property, indent + nameWidth + 2, layout);
        lines += '\n';
    }
    return lines;
}

/// "+ name", with the index where the name alone does not tell which instance is meant.
std::string HeadingOf(const InstanceChange& instance, bool isAmbiguous, const Layout& layout)
{
    std::string heading = instance.isAdded() ? "+ " : instance.isRemoved() ? "- " : "~ ";
    heading += layout.Show(instance.label);
    if (instance.label.empty() || isAmbiguous)
        heading.append(instance.label.empty() ? "index " : ", index ")
            .append(std::to_string(instance.before ? *instance.before : *instance.after));
    return heading;
}

std::string FormatSection(const SectionChange& section, const Layout& layout)
{
    std::map<std::string_view, int> labels;
    for (const InstanceChange& instance : section.instances)
        ++labels[instance.label];
    std::string text;
    for (const InstanceChange& instance : section.instances) {
        // The one instance of a section needs no heading.
        const bool isPlain = instance.label.empty() && instance.before == 0 && instance.after == 0;
        if (!isPlain)
            text.append(2, ' ')
                .append(HeadingOf(instance, labels[instance.label] > 1, layout))
                .append("\n");
        text += PropertyLines(section.name, instance, isPlain ? 2 : 6, layout);
    }
    return text;
}

Json JsonOf(const InstanceChange& instance)
{
    Json properties = Json::object();
    for (const PropertyChange& property : instance.properties) {
        Json values = Json::object();
        if (property.before)
            values["old"] = *property.before;
        if (property.after)
            values["new"] = *property.after;
        AppendMember(&properties, property.name, std::move(values));
    }
    Json json;
    json["change"] = instance.isAdded() ? "added" : instance.isRemoved() ? "removed" : "changed";
    json["label"] = instance.label;
    if (instance.before)
        json["oldIndex"] = *instance.before;
    if (instance.after)
        json["newIndex"] = *instance.after;
    json["properties"] = std::move(properties);
    return json;
}

const char* InWords(SectionState state)
{
    switch (state) {
        case SectionState::kOnlyBefore:
            return "onlyInOld";
        case SectionState::kOnlyAfter:
            return "onlyInNew";
        case SectionState::kChanged:
            break;
    }
    return "changed";
}

}  // namespace

std::string FormatDiff(const std::vector<SectionChange>& changes, const DiffNames& names,
                       int columns, Charset charset)
{
    const Layout layout{static_cast<std::size_t>(std::max(columns, 0)), charset};
    std::string text;
    for (const SectionChange& section : changes) {
        if (!text.empty())
            text += '\n';
        text += layout.Show(section.name) + '\n';
        if (section.state == SectionState::kChanged)
            text += FormatSection(section, layout);
        else
            text += "  not collected in " +
                    layout.Show(section.state == SectionState::kOnlyBefore ? names.after
                                                                           : names.before) +
                    '\n';
    }
    return text;
}

std::string CountOfChanges(const std::vector<SectionChange>& changes)
{
    std::size_t changed = 0, added = 0, removed = 0, notCollected = 0;
    for (const SectionChange& section : changes) {
        if (section.state != SectionState::kChanged)
            ++notCollected;
        for (const InstanceChange& instance : section.instances)
            ++(instance.isAdded() ? added : instance.isRemoved() ? removed : changed);
    }
    const std::initializer_list<std::pair<std::size_t, const char*>> counts{
        {changed, " changed"},
        {added, " added"},
        {removed, " removed"},
        {notCollected, " not collected"}};
    std::string text;
    for (const auto& [count, what] : counts)
        if (count != 0)
            text += (text.empty() ? "" : ", ") + std::to_string(count) + what;
    return text;
}

std::string FormatDiffJson(const std::vector<SectionChange>& changes, const DiffNames& names,
                           bool withPassing, const DiffStates& states)
{
    Json json;
    json["format"] = "orrery-diff";
    json["formatVersion"] = kFormatVersion;
    json["old"] = names.before;
    json["new"] = names.after;
    json["all"] = withPassing;
    json["same"] = changes.empty() && states.areAlike();
    json["completeness"] = {{"old", ToJson(states.before)}, {"new", ToJson(states.after)}};
    json["sections"] = Json::array();
    for (const SectionChange& section : changes) {
        Json entry;
        entry["name"] = section.name;
        entry["change"] = InWords(section.state);
        entry["instances"] = Json::array();
        for (const InstanceChange& instance : section.instances)
            entry["instances"].push_back(JsonOf(instance));
        json["sections"].push_back(std::move(entry));
    }
    return Dump(json) + '\n';
}

}  // namespace orrery::report
