#include "client/report/completeness.h"

#include <algorithm>
#include <utility>

#include "client/report/report.h"
#include "client/text/utf8.h"

namespace orrery::report {
namespace {

using State = Completeness::State;

struct LastKey {
    std::string_view category, section, property;
};

// What comes last of the categories that tell something on every machine, if only that it is not known.
// The other ones may tell nothing at all.
constexpr auto kLastKeys = std::to_array<LastKey>({
    {"BIOS", "BIOS", "Version"},
    {"CompSys", "ComputerSystem", "Name"},
    {"Memory", "PhysicalMemory", "Capacity"},
    {"OS", "OperatingSystem", "Windows10Version"},
    {"SystemOverview", "SystemOverview", "TpmEnabled"},
    {"Video", "VideoController", "Name"},
});

const LastKey* LastKeyOf(std::string_view category)
{
    const auto row =
        std::find_if(kLastKeys.begin(), kLastKeys.end(),
                     [category](const LastKey& key) { return key.category == category; });
    return row != kLastKeys.end() ? &*row : nullptr;
}

std::string Utf8(std::u16string_view text)
{
    std::string utf8;
    AppendUtf8(text, &utf8);
    return utf8;
}

/// "A, B and C"
std::string Listed(const std::vector<std::string_view>& names, const char* lastWord)
{
    std::string list;
    for (std::size_t at = 0; at < names.size(); ++at)
        list.append(at == 0 ? "" : at + 1 < names.size() ? ", " : lastWord).append(names[at]);
    return list;
}

}  // namespace

bool Completeness::IsCutLike(const Completeness& other) const noexcept
{
    if (!isCut() || !other.isCut())
        return isCut() == other.isCut();
    return section == other.section && property == other.property && index == other.index &&
           isWithinLine == other.isWithinLine;
}

bool Completeness::IsBeyond(std::string_view factSection, std::string_view factProperty,
                            std::string_view factIndex) const noexcept
{
    if (!isCut() || section.empty())
        return isCut();
    if (factSection != section)
        return ComesFirst(section, factSection);
    if (factProperty != property)
        return ComesFirst(property, factProperty);
    return isWithinLine ? factIndex >= index : factIndex > index;
}

void CCompletenessCheck::OnFact(const FactView& fact)
{
    isCut_ = fact.isCut;
    if (fact.section != lastSection_ || fact.property != lastProperty_) {
        lastSection_ = fact.section;
        lastProperty_ = fact.property;
        Begin(Utf8(lastSection_), Utf8(lastProperty_));
    }
    Count(1, fact.index);
}

void CCompletenessCheck::OnFacts(std::string_view section, std::string_view property,
                                 std::size_t count, std::int32_t lastIndex)
{
    if (section != section_ || property != property_)
        Begin(std::string{section}, std::string{property});
    Count(count, lastIndex);
}

void CCompletenessCheck::Begin(std::string section, std::string property)
{
    section_ = std::move(section);
    property_ = std::move(property);
    const Term* const term = FindTerm(section_, property_);
    const std::string_view category = term != nullptr ? term->category : std::string_view{};
    category_ = static_cast<std::size_t>(
        std::find(kCategories.begin(), kCategories.end(), category) - kCategories.begin());
    const LastKey* const last = LastKeyOf(category);
    isLastOfCategory_ = last != nullptr && last->section == section_ && last->property == property_;
}

void CCompletenessCheck::Count(std::size_t facts, std::int32_t lastIndex)
{
    index_ = lastIndex;
    elapsedTimes_ += section_ == "ET" && index_ == 0 && property_.empty() ? facts : 0;
    if (category_ == kCategories.size())
        return;
    categories_[category_].any = true;
    categories_[category_].last = categories_[category_].last || isLastOfCategory_;
    if (section_ == "VideoController") {
        adapters_ += property_ == "AdapterRAM" ? facts : 0;
        adapterNames_ += property_ == "Name" ? facts : 0;
    }
}

Completeness CCompletenessCheck::Result(bool endsLine) const
{
    Completeness result;
    result.section = section_;
    result.property = property_;
    result.index = std::to_string(index_);
    result.isWithinLine = !endsLine && isCut_;
    result.endsLine = endsLine;
    result.state = State::kCut;
    // A run of which no category has finished tells nothing at all.
    if (!endsLine || elapsedTimes_ == 0 || elapsedTimes_ > kCategories.size())
        return result;
    if (elapsedTimes_ == kCategories.size()) {
        if (section_ == "VideoController" && property_ == "Name" && adapterNames_ >= adapters_)
            result.state = State::kWhole;
        return result;
    }

    // A category leaves all that it has to tell and its elapsed time, or nothing.
    for (std::size_t at = 0; at < kCategories.size(); ++at) {
        const bool mustTell = LastKeyOf(kCategories[at]) != nullptr;
        if (mustTell && categories_[at].any && !categories_[at].last)
            return result;
        if (!categories_[at].any)
            (mustTell ? result.lacking : result.perhaps).push_back(kCategories[at]);
    }
    result.missing = kCategories.size() - elapsedTimes_;
    if (result.missing < result.lacking.size() ||
        result.missing > result.lacking.size() + result.perhaps.size())
        return result;
    result.state = State::kLacksCategories;
    if (result.missing == result.lacking.size())
        result.perhaps.clear();
    if (result.missing == result.lacking.size() + result.perhaps.size()) {
        result.lacking.insert(result.lacking.end(), result.perhaps.begin(), result.perhaps.end());
        std::sort(result.lacking.begin(), result.lacking.end());
        result.perhaps.clear();
    }
    return result;
}

std::string Describe(const Completeness& completeness)
{
    if (completeness.state == State::kWhole)
        return {};
    if (completeness.isCut())
        return "the report is cut: it does not end as a run ends one, so facts are missing";
    const std::size_t others = completeness.missing - completeness.lacking.size();
    std::string text = "the report lacks " + std::to_string(completeness.missing) +
                       (completeness.missing == 1 ? " category" : " categories") +
                       ", since the run was cancelled: " + Listed(completeness.lacking, " and ");
    if (others != 0)
        text += (completeness.lacking.empty() ? "" : "; and ") + std::to_string(others) + " of " +
                Listed(completeness.perhaps, " and ");
    return text;
}

}  // namespace orrery::report
