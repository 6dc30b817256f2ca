#include "client/report/diff.h"

#include <algorithm>
#include <cstddef>
#include <deque>
#include <functional>
#include <iterator>
#include <span>
#include <unordered_map>
#include <utility>

#include "client/report/vocabulary.h"
#include "client/text/fold_case.h"

namespace orrery::report {
namespace {

constexpr std::string_view kElapsedSection = "ET";

/// Properties that identify an instance together, when at least one of them has a value.
using Identity = std::vector<std::string_view>;

/// The properties by which the instances of a section are known.
std::span<const Term> NamesOf(std::string_view section)
{
    const auto terms = TermsOf(section);
    return terms.empty() ? TermsOf("") : terms;
}

/// What identifies the instances of a section, strongest first. A fall-back finds what is still the
/// same thing although the identity changed: an adapter with a random hardware address, a volume
/// under another letter.
/// @return none for a section that has one instance, with nothing but its index
std::vector<Identity> IdentitiesOf(std::string_view section)
{
    Identity all;
    std::vector<Identity> identities;
    for (const Role role : {Role::kIdentity, Role::kFallback, Role::kBeside})
        for (const Term& term : NamesOf(section))
            if (term.role == role) {
                all.push_back(term.property);
                if (role != Role::kBeside)
                    identities.push_back({term.property});
            }
    if (all.size() > 1)
        identities.insert(identities.begin(), all);
    return identities;
}

/// Appends a text so that no two lists of texts look the same.
void AppendPart(std::string_view text, std::string* key)
{
    *key += std::to_string(text.size()) + ':';
    *key += text;
}

/// Whether a value tells anything apart: neither "" nor "0" nor "00-00-00-00-00-00".
bool Identifies(const std::string* value)
{
    return value && value->find_first_not_of("0-:. ") != std::string::npos;
}

/// @return empty when none of the properties identifies the instance
std::string KeyOf(const Instance& instance, const Identity& identity)
{
    std::string key;
    bool identifies = false;
    for (const std::string_view name : identity) {
        const std::string* const value = instance.Find(name);
        AppendPart(value ? FoldCase(*value) : std::string{}, &key);
        identifies = identifies || Identifies(value);
    }
    return identifies ? key : std::string{};
}

/// Everything that lasts about an instance; never empty.
std::string ContentOf(std::string_view section, const Instance& instance)
{
    std::string content = "=";
    for (const Property& property : instance.properties)
        if (const Role role = RoleOf(section, property.name);
            role != Role::kPassing && role != Role::kWholeSection) {
            AppendPart(property.name, &content);
            AppendPart(property.value, &content);
        }
    return content;
}

/// The pairs of two sections while they are being found.
class CMatcher {
public:
    using Key = std::function<std::string(const Instance&)>;

    CMatcher(const Section& before, const Section& after)
        : before_(before),
          after_(after),
          matches_(before.instances.size(), nullptr),
          isTaken_(after.instances.size(), false)
    {}

    /// Pairs, in their order, the instances of equal keys that have no match yet; an empty key
    /// matches nothing.
    void MatchBy(const Key& beforeKey, const Key& afterKey)
    {
        std::unordered_map<std::string, std::deque<std::size_t>> candidates;
        for (std::size_t at = 0; at < after_.instances.size(); ++at)
            if (!isTaken_[at])
                if (std::string key = afterKey(after_.instances[at]); !key.empty())
                    candidates[std::move(key)].push_back(at);
        for (std::size_t at = 0; at < before_.instances.size(); ++at) {
            if (matches_[at])
                continue;
            const auto found = candidates.find(beforeKey(before_.instances[at]));
            if (found == candidates.end() || found->second.empty())
                continue;
            matches_[at] = &after_.instances[found->second.front()];
            isTaken_[found->second.front()] = true;
            found->second.pop_front();
        }
    }

    std::vector<InstancePair> Pairs() const
    {
        std::vector<InstancePair> pairs;
        for (std::size_t at = 0; at < before_.instances.size(); ++at)
            pairs.emplace_back(&before_.instances[at], matches_[at]);
        for (std::size_t at = 0; at < after_.instances.size(); ++at)
            if (!isTaken_[at])
                pairs.emplace_back(nullptr, &after_.instances[at]);
        return pairs;
    }

private:
    const Section& before_;
    const Section& after_;
    std::vector<const Instance*> matches_;  // of the instances before
    std::vector<bool> isTaken_;             // of the instances after
};

/// Takes what belongs to the section as a whole out of its instances, and leaves out what passes.
/// Instances of which nothing is left go.
Section Prepare(const Section& section, bool withPassing, Instance* whole)
{
    Section prepared{section.name, {}};
    for (const Instance& instance : section.instances) {
        Instance rest{instance.index, {}};
        for (const Property& property : instance.properties) {
            // A second one, which the library never writes, stays with its instance.
            const Role role = RoleOf(section.name, property.name);
            if (role == Role::kWholeSection && whole->Find(property.name) == nullptr)
                whole->properties.push_back(property);
            else if (withPassing || role != Role::kPassing)
                rest.properties.push_back(property);
        }
        if (!rest.properties.empty())
            prepared.instances.push_back(std::move(rest));
    }
    return prepared;
}

std::vector<PropertyChange> CompareInstances(const Instance& before, const Instance& after)
{
    std::unordered_map<std::string_view, const std::string*> values;
    for (const Property& property : after.properties)
        values[property.name] = &property.value;
    std::vector<PropertyChange> changes;
    for (const Property& property : before.properties) {
        const auto value = values.find(property.name);
        if (value == values.end()) {
            changes.push_back({property.name, property.value, std::nullopt});
            continue;
        }
        if (*value->second != property.value)
            changes.push_back({property.name, property.value, *value->second});
        values.erase(value);
    }
    for (const Property& property : after.properties)
        if (values.contains(property.name))
            changes.push_back({property.name, std::nullopt, property.value});
    return changes;
}

/// What a person calls an instance: "name (addition)"; for want of both, what identifies it.
std::string LabelOf(std::string_view section, const Instance& instance)
{
    std::string name, addition;
    for (const Term& term : NamesOf(section))
        if (const std::string* const value = instance.Find(term.property);
            value != nullptr && !value->empty() && term.label != Label::kNone) {
            std::string& part = term.label == Label::kAddition ? addition : name;
            if (part.empty())
                part = *value;
        }
    if (!name.empty() && !addition.empty())
        return name + " (" + addition + ')';
    if (!name.empty() || !addition.empty())
        return name.empty() ? addition : name;
    for (const Identity& identity : IdentitiesOf(section))
        if (const std::string* const value = instance.Find(identity.front());
            value != nullptr && !value->empty())
            return *value;
    return {};
}

InstanceChange AddedOrRemoved(std::string_view section, const Instance* before,
                              const Instance* after)
{
    const Instance& instance = before ? *before : *after;
    InstanceChange change;
    change.label = LabelOf(section, instance);
    (before ? change.before : change.after) = instance.index;
    for (const Property& property : instance.properties)
        if (!property.value.empty()) {
            PropertyChange& fact = change.properties.emplace_back();
            fact.name = property.name;
            (before ? fact.before : fact.after) = property.value;
        }
    return change;
}

std::vector<InstanceChange> CompareSections(const Section& before, const Section& after,
                                            bool withPassing)
{
    Instance wholeBefore, wholeAfter;
    const Section first = Prepare(before, withPassing, &wholeBefore);
    const Section second = Prepare(after, withPassing, &wholeAfter);
    std::vector<InstanceChange> changes;
    if (auto properties = CompareInstances(wholeBefore, wholeAfter); !properties.empty())
        changes.push_back({"", 0, 0, std::move(properties)});
    for (const auto& [old, now] : MatchInstances(first, second)) {
        if (!old || !now)
            changes.push_back(AddedOrRemoved(before.name, old, now));
        else if (auto properties = CompareInstances(*old, *now); !properties.empty())
            changes.push_back(
                {LabelOf(before.name, *now), old->index, now->index, std::move(properties)});
    }
    return changes;
}

/// The elapsed times as a section: an instance with a property for each category, or with numbers in
/// place of the names when not every category has run.
Section ElapsedSection(const std::vector<std::string>& times, bool withNames)
{
    Section section{std::string{kElapsedSection}, {}};
    Instance instance;
    for (std::size_t at = 0; at < times.size(); ++at)
        instance.properties.push_back(
            {withNames ? std::string{kCategories[at]} : std::to_string(at + 1), times[at]});
    if (!times.empty())
        section.instances.push_back(std::move(instance));
    return section;
}

using SectionsByName = std::unordered_map<std::string_view, const Section*>;

SectionsByName ByName(const Report& report)
{
    SectionsByName sections;
    for (const Section& section : report.sections)
        sections.emplace(section.name, &section);
    return sections;
}

std::vector<std::string> SectionNames(const Report& before, const Report& after)
{
    std::vector<std::string> names;
    for (const Report* const report : {&before, &after})
        for (const Section& section : report->sections)
            names.push_back(section.name);
    std::sort(names.begin(), names.end(), &ComesFirst);
    names.erase(std::unique(names.begin(), names.end()), names.end());
    return names;
}

/// Takes out what another report, or this one, cannot have because it is cut.
void RemoveBeyond(const Completeness& cut, Report* report)
{
    if (!cut.isCut())
        return;
    std::erase_if(report->sections, [&cut](Section& section) {
        if (section.name != cut.section)
            return cut.IsBeyond(section.name, "", "");
        for (Instance& instance : section.instances)
            std::erase_if(instance.properties,
                          [&, index = std::to_string(instance.index)](const Property& property) {
                              return cut.IsBeyond(section.name, property.name, index);
                          });
        std::erase_if(section.instances,
                      [](const Instance& instance) { return instance.properties.empty(); });
        return section.instances.empty();
    });
    if (cut.section == kElapsedSection || cut.IsBeyond(kElapsedSection, "", ""))
        report->elapsedTimes.clear();
}

std::optional<SectionChange> CompareSection(const std::string& name, const Section* before,
                                            const Section* after, bool withPassing)
{
    if (!after)
        return SectionChange{name, SectionState::kOnlyBefore, {}};
    if (!before)
        return SectionChange{name, SectionState::kOnlyAfter, {}};
    auto instances = CompareSections(*before, *after, withPassing);
    if (instances.empty())
        return std::nullopt;
    return SectionChange{name, SectionState::kChanged, std::move(instances)};
}

}  // namespace

std::vector<InstancePair> MatchInstances(const Section& before, const Section& after)
{
    CMatcher matcher{before, after};
    const auto matchBy = [&matcher](const CMatcher::Key& key) { matcher.MatchBy(key, key); };
    const auto index = [](const Instance& instance) { return std::to_string(instance.index); };
    const auto identities = IdentitiesOf(before.name);
    if (identities.empty()) {
        matchBy(index);
        return matcher.Pairs();
    }

    const auto content = [&](const Instance& instance) { return ContentOf(before.name, instance); };
    for (const Identity& identity : identities) {
        const auto key = [&](const Instance& instance) { return KeyOf(instance, identity); };
        // Of several that are called the same, first those that did not change.
        matchBy([&](const Instance& instance) {
            const std::string id = key(instance);
            return id.empty() ? id : id + content(instance);
        });
        matchBy(key);
    }

    const auto isNameless = [&](const Instance& instance) {
        return std::all_of(identities.begin(), identities.end(), [&](const Identity& identity) {
            return KeyOf(instance, identity).empty();
        });
    };
    const auto any = [](const Instance&) { return std::string{"any"}; };
    const auto nameless = [&](const Instance& instance) {
        return std::string{isNameless(instance) ? "any" : ""};
    };
    matchBy([&](const Instance& instance) {
        return isNameless(instance) ? content(instance) : std::string{};
    });
    matchBy(nameless);
    // Something that the reports know more or less about.
    matcher.MatchBy(nameless, any);
    matcher.MatchBy(any, nameless);
    return matcher.Pairs();
}

std::vector<SectionChange> CompareReports(const Report& before, const Report& after,
                                          bool withPassing)
{
    if (before.completeness.isCut() || after.completeness.isCut()) {
        Report old = before, now = after;
        for (Report* const report : {&old, &now}) {
            RemoveBeyond(before.completeness, report);
            RemoveBeyond(after.completeness, report);
            report->completeness = {};
        }
        return CompareReports(old, now, withPassing);
    }
    std::vector<SectionChange> changes;
    const auto compare = [&](const std::string& name, const Section* old, const Section* now) {
        if (auto change = CompareSection(name, old, now, withPassing))
            changes.push_back(std::move(*change));
    };
    const SectionsByName olds = ByName(before), nows = ByName(after);
    const auto find = [](const SectionsByName& sections, const std::string& name) {
        const auto found = sections.find(name);
        return found != sections.end() ? found->second : nullptr;
    };
    for (const std::string& name : SectionNames(before, after))
        compare(name, find(olds, name), find(nows, name));
    if (withPassing) {
        const std::size_t all = kCategories.size();
        const bool withNames =
            before.elapsedTimes.size() == all && after.elapsedTimes.size() == all;
        const Section old = ElapsedSection(before.elapsedTimes, withNames);
        const Section now = ElapsedSection(after.elapsedTimes, withNames);
        if (before.elapsedTimes != after.elapsedTimes)
            compare(std::string{kElapsedSection}, old.instances.empty() ? nullptr : &old,
                    now.instances.empty() ? nullptr : &now);
    }
    return changes;
}

}  // namespace orrery::report
