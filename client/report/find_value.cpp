#include "client/report/find_value.h"

#include <algorithm>
#include <charconv>
#include <set>

#include "client/report/machine.h"
#include "client/report/redact.h"
#include "client/report/vocabulary.h"
#include "client/system/exit_codes.h"
#include "client/text/fold_case.h"
#include "client/text/suggestion.h"

namespace orrery::report {
namespace {

constexpr std::string_view kElapsed = "ET";

bool IsSame(std::string_view one, std::string_view other)
{
    return one.size() == other.size() && FoldCase(one) == FoldCase(other);
}

[[noreturn]] void FailName(std::string_view text)
{
    throw CommandError(ExitCode::kInput,
                       '"' + std::string{text} +
                           "\" names no value; give SECTION.PROPERTY or, for other instances than "
                           "the first, SECTION.PROPERTY.INDEX, SECTION.*.PROPERTY or "
                           "SECTION[PROPERTY=VALUE].PROPERTY, such as BIOS.Version, "
                           "LogicalDisk.Size.1 or LogicalDisk[DeviceID=C:].FreeSpace");
}

/// Takes "*" or an index.
/// @return whether it is one
bool TakeIndex(std::string_view text, std::optional<std::int32_t>* index)
{
    if (text == "*") {
        index->reset();
        return true;
    }
    std::int32_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || stop != end || number < 0)
        return false;
    *index = number;
    return true;
}

/// Finds a name among those that have one, the one in just these letters first.
template <class Named>
const Named* FindNamed(const std::vector<Named>& all, std::string_view name)
{
    const auto exact = std::find_if(all.begin(), all.end(),
                                    [name](const Named& each) { return each.name == name; });
    const auto found = exact != all.end()
                           ? exact
                           : std::find_if(all.begin(), all.end(), [name](const Named& each) {
                                 return IsSame(each.name, name);
                             });
    return found != all.end() ? &*found : nullptr;
}

/// Keeps the properties that are asked for or choose instances, and the names of the others.
class CKeys {
public:
    explicit CKeys(const std::vector<ValueName>& names) : names_(names) {}

    bool Keep(std::string_view section, std::string_view property)
    {
        constexpr std::size_t kMost = 4096;  // names of a report that the library did not write
        bool isKept = false, isOfSection = false;
        for (const ValueName& name : names_) {
            if (!IsSame(section, name.section))
                continue;
            isOfSection = true;
            isKept = isKept || IsSame(property, name.property) || IsSame(property, name.chosenBy);
        }
        if (isOfSection && keys_.size() < kMost)
            keys_.insert(std::string{section}.append(1, '.').append(property));
        return isKept;
    }
    std::vector<std::string> all() const { return {keys_.begin(), keys_.end()}; }

private:
    const std::vector<ValueName>& names_;
    std::set<std::string> keys_;
};

bool IsChosen(const Instance& instance, const ValueName& name)
{
    if (name.index)
        return instance.index == *name.index;
    if (name.chosenBy.empty())
        return true;
    const Property* const property = FindNamed(instance.properties, name.chosenBy);
    return property != nullptr && IsSame(property->value, name.chosenValue);
}

/// The elapsed time of a category, where the order of the times tells it.
void TakeElapsed(const Report& report, FoundValues* found)
{
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at)
        if (const auto category = ElapsedCategory(report, at);
            !category.empty() && IsSame(category, found->name.property))
            found->values.push_back(
                {std::string{kElapsed}, 0, std::string{category}, report.elapsedTimes[at]});
}

std::string NoSection(const Report& report, FoundValues* found)
{
    std::vector<std::string> known = KnownSections();
    const bool isKnown = std::any_of(known.begin(), known.end(), [found](const std::string& each) {
        return IsSame(each, found->name.section);
    });
    if (isKnown)
        return ": the section is not in this report";
    for (const Section& section : report.sections)
        known.push_back(section.name);
    found->isUnknown = true;
    return ": there is no such section" + Suggestion(found->name.section, known);
}

std::string NoElapsed(const Report& report, const ValueName& name)
{
    if (report.elapsedTimes.size() != kCategories.size())
        return ": a run that was not complete does not tell the category of a time";
    const auto isCategory = [&name](std::string_view each) { return IsSame(each, name.property); };
    if (std::any_of(kCategories.begin(), kCategories.end(), isCategory))
        return ": elapsed times have no index";
    std::vector<std::string> known;
    for (const std::string_view category : kCategories)
        known.push_back(std::string{kElapsed} + '.' + std::string{category});
    return Suggestion(std::string{kElapsed} + '.' + name.property, known);
}

bool HasProperty(const Section& section, std::string_view property)
{
    return std::any_of(section.instances.begin(), section.instances.end(),
                       [property](const Instance& each) {
                           return FindNamed(each.properties, property) != nullptr;
                       });
}

/// Why there is no value, though other instances have the property.
/// @param withValues whether the report's own values may be named
std::string OtherPlaces(const Section& section, const ValueName& name, bool withValues)
{
    constexpr std::size_t kMost = 12;
    std::vector<std::string> chosenBy;
    std::string indexes;
    std::size_t count = 0;
    for (const Instance& instance : section.instances) {
        if (const Property* const property = FindNamed(instance.properties, name.chosenBy))
            chosenBy.push_back(property->value);
        if (FindNamed(instance.properties, name.property) == nullptr)
            continue;
        if (count < kMost)
            indexes += (count == 0 ? "" : ", ") + std::to_string(instance.index);
        ++count;
    }
    const bool isAnyChosen = std::any_of(chosenBy.begin(), chosenBy.end(), [&](const auto& each) {
        return IsSame(each, name.chosenValue);
    });
    if (name.chosenBy.empty() || isAnyChosen)
        return ": it is there with the index " + indexes + (count > kMost ? ", ..." : "");
    return ": no " + name.chosenBy + " is \"" + name.chosenValue + '"' +
           (withValues ? Suggestion(name.chosenValue, chosenBy) : "");
}

/// How many letters in a row two names have in common.
std::size_t CommonLetters(std::string_view one, std::string_view other)
{
    constexpr std::size_t kLongest = 64;
    const std::string first = FoldCase(one.substr(0, kLongest));
    const std::string second = FoldCase(other.substr(0, kLongest));
    std::size_t most = 0;
    for (std::size_t at = 0; at < first.size(); ++at)
        while (at + most < first.size() &&
               second.find(std::string_view{first}.substr(at, most + 1)) != second.npos)
            ++most;
    return most;
}

/// What there is in place of a property that the section lacks.
/// @param keys of all sections that are asked for
std::string OtherProperties(const Section& section, const ValueName& name,
                            const std::vector<std::string>& keys)
{
    for (const Term& term : TermsOf(section.name))
        if (IsSame(term.property, name.property))
            return ": the property is not in this report";
    if (std::string close = Suggestion(name.section + '.' + name.property, keys); !close.empty())
        return close;
    constexpr std::size_t kFewLetters = 4, kMostListed = 12;
    const std::string start = section.name + '.';
    const std::string* nearest = nullptr;
    std::size_t most = kFewLetters - 1, count = 0;
    std::string list;
    for (const std::string& key : keys) {
        if (!key.starts_with(start))
            continue;
        const std::string_view property = std::string_view{key}.substr(start.size());
        if (const std::size_t common = CommonLetters(name.property, property); common > most) {
            most = common;
            nearest = &key;
        }
        if (++count <= kMostListed)
            list.append(count == 1 ? "" : ", ").append(property);
    }
    if (nearest != nullptr)
        return "; the nearest is \"" + *nearest + '"';
    return list.empty() ? list : ": the section has " + list + (count > kMostListed ? ", ..." : "");
}

void Find(const Report& report, const std::vector<std::string>& keys, bool withValues,
          FoundValues* found)
{
    const ValueName& name = found->name;
    const bool isElapsed = IsSame(name.section, kElapsed) && name.chosenBy.empty();
    const Section* const section = FindNamed(report.sections, name.section);
    if (section != nullptr)
        for (const Instance& instance : section->instances)
            if (IsChosen(instance, name))
                if (const Property* const property = FindNamed(instance.properties, name.property))
                    found->values.push_back(
                        {section->name, instance.index, property->name, property->value});
    if (found->values.empty() && isElapsed && name.index.value_or(0) == 0)
        TakeElapsed(report, found);
    if (!found->values.empty())
        return;
    if (isElapsed)
        found->hint = NoElapsed(report, name);
    else if (section == nullptr)
        found->hint = NoSection(report, found);
    else if (!name.chosenBy.empty() && !HasProperty(*section, name.chosenBy))
        found->hint = ": no " + name.chosenBy + " is there to choose by" +
                      Suggestion(section->name + '.' + name.chosenBy, keys);
    else if (HasProperty(*section, name.property))
        found->hint = OtherPlaces(*section, name, withValues);
    else
        found->hint = OtherProperties(*section, name, keys);
}

/// Puts placeholders in place of what was found, now that it is known where it stands.
void RedactFound(Report* report, Lookup* lookup)
{
    Redact(report);
    for (FoundValues& found : lookup->found)
        for (FoundValue& each : found.values)
            if (const Section* const section = report->Find(each.section)) {
                const auto instance =
                    std::ranges::lower_bound(section->instances, each.index, {}, &Instance::index);
                if (const std::string* const value = instance->Find(each.property))
                    each.value = *value;
            }
}

}  // namespace

ValueName ParseValueName(std::string_view text)
{
    ValueName name;
    name.text = text;
    const std::size_t end = text.find_first_of(".[");
    if (end == 0 || end == std::string_view::npos)
        FailName(text);
    name.section = text.substr(0, end);
    std::string_view rest = text.substr(end + 1);
    if (text[end] == '[') {
        // A value may have brackets of its own, a property has none.
        const std::size_t equals = rest.find('='), close = rest.rfind("].");
        if (close == std::string_view::npos || equals == 0)
            FailName(text);
        if (equals < close) {
            name.chosenBy = rest.substr(0, equals);
            name.chosenValue = rest.substr(equals + 1, close - equals - 1);
        } else if (!TakeIndex(rest.substr(0, close), &name.index)) {
            FailName(text);
        }
        name.property = rest.substr(close + 2);
    } else if (const std::size_t dot = rest.rfind('.'); dot == std::string_view::npos) {
        name.index = 0;
        name.property = rest;
    } else if (TakeIndex(rest.substr(dot + 1), &name.index)) {
        name.property = rest.substr(0, dot);
    } else if (TakeIndex(rest.substr(0, dot), &name.index)) {
        name.property = rest.substr(dot + 1);
    } else {
        FailName(text);
    }
    if (name.property.empty() || name.property.find_first_of(".*[]=") != std::string::npos)
        FailName(text);
    return name;
}

Lookup FindValues(const std::filesystem::path& path, const std::vector<ValueName>& names,
                  bool redact)
{
    CKeys keys{names};
    Report report =
        ReadReport(path, [&keys, redact](std::string_view section, std::string_view property) {
            return keys.Keep(section, property) ||
                   (redact && SecretOf(section, property) != Secret::kNothing);
        });
    Lookup lookup;
    lookup.warnings = report.warnings;
    lookup.completeness = report.completeness;
    const std::vector<std::string> all = keys.all();
    for (const ValueName& name : names) {
        FoundValues& found = lookup.found.emplace_back();
        found.name = name;
        Find(report, all, !redact, &found);
    }
    if (redact)
        RedactFound(&report, &lookup);
    return lookup;
}

}  // namespace orrery::report
