#include "client/fleet/report_facts.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>

#include "client/fleet/schema.h"
#include "client/report/parser.h"
#include "client/text/utf8.h"

namespace orrery::fleet {
namespace {

using report::CCompletenessCheck;
using report::ComesFirst;
using report::Instance;
using report::Property;
using report::Report;

constexpr std::string_view kElapsedTimes = "ET";

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// Whether all characters of a text in UTF-16LE are of ASCII, and none is U+0000.
bool IsAscii(std::string_view bytes)
{
    std::array<unsigned char, 2> all{};
    bool hasNull = false;
    for (std::size_t at = 0; at + 1 < bytes.size(); at += 2) {
        all[0] |= static_cast<unsigned char>(bytes[at]);
        all[1] |= static_cast<unsigned char>(bytes[at + 1]);
        hasNull |= bytes[at] == 0;
    }
    return all[0] < 0x80 && all[1] == 0 && !hasNull;
}

/// Makes UTF-8 of UTF-16LE.
/// @return whether every character could be spelled
bool Decode(std::string_view bytes, std::vector<char>* text)
{
    if (IsAscii(bytes)) {
        text->resize(bytes.size() / 2);
        char* const to = text->data();
        for (std::size_t at = 0; at < text->size(); ++at)
            to[at] = bytes[2 * at];
        return true;
    }
    std::u16string units(bytes.size() / 2, u'\0');
    for (std::size_t at = 0; at < units.size(); ++at)
        units[at] = static_cast<char16_t>(static_cast<unsigned char>(bytes[2 * at]) |
                                          static_cast<unsigned char>(bytes[2 * at + 1]) << 8);
    std::ranges::replace(units, u'\0', u'\uFFFD');
    std::string utf8;
    utf8.reserve(units.size() + units.size() / 2);
    if (AppendUtf8(units, &utf8))
        return false;
    text->assign(utf8.begin(), utf8.end());
    return true;
}

std::string WithoutNulls(std::string text)
{
    for (std::size_t at = 0; (at = text.find('\0', at)) != text.npos;)
        text.replace(at, 1, kReplacement);
    return text;
}

/// The index of a line as the library writes it, and the tab after it.
/// @param at is moved behind them
std::optional<std::int32_t> ReadIndex(std::string_view line, std::size_t* at)
{
    std::int32_t index = 0;
    const char* const begin = line.data() + *at;
    const char* const end = line.data() + line.size();
    const auto [stop, error] = std::from_chars(begin, end, index);
    if (error != std::errc{} || stop == end || *stop != '\t' || *begin == '-' ||
        (*begin == '0' && stop != begin + 1))
        return std::nullopt;
    *at += static_cast<std::size_t>(stop - begin) + 1;
    return index;
}

std::string Hex(const XXH128_hash_t& hash)
{
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(32);
    for (const XXH64_hash_t half : {hash.high64, hash.low64})
        for (int shift = 60; shift >= 0; shift -= 4)
            text += kDigits[half >> shift & 0xF];
    return text;
}

class CDigest {
public:
    CDigest() { XXH3_128bits_reset(&state_); }
    void Add(std::string_view bytes) { XXH3_128bits_update(&state_, bytes.data(), bytes.size()); }
    std::string Text() const { return Hex(XXH3_128bits_digest(&state_)); }

private:
    XXH3_state_t state_;
};

}  // namespace

bool IsLatestOnly(const CReportFacts::Run& run) noexcept
{
    return run.term != nullptr && IsLatestOnly(*run.term);
}

std::optional<CReportFacts> CReportFacts::Read(std::string_view bytes)
{
    CReportFacts facts;
    if (bytes.size() % 2 != 0 || !Decode(bytes, &facts.text_) || !facts.ReadLines())
        return std::nullopt;
    return facts;
}

/// @return whether everything is as the library writes it
bool CReportFacts::ReadLines()
{
    const std::string_view text{text_.data(), text_.size()};
    if (!text.ends_with('\n'))
        return false;
    // A fact is rarely shorter, and a property has some of them.
    constexpr std::size_t kFactBytes = 24, kRuns = 96;
    facts_.reserve(text.size() / kFactBytes);
    runs_.reserve(kRuns);
    CCompletenessCheck completeness;
    const auto endRun = [&] {
        completeness.OnFacts(sections_.back().name, runs_.back().property,
                             facts_.size() - runs_.back().first, facts_.back().instance);
        EndRun();
    };
    std::string_view section, lastIndexText;
    bool isElapsed = false;
    const auto endSection = [&] {
        if (section.empty() || isElapsed)
            return;
        endRun();
        EndSection();
    };
    for (std::size_t begin = 0; begin < text.size();) {
        const auto* const lineFeed =
            static_cast<const char*>(std::memchr(text.data() + begin, '\n', text.size() - begin));
        const auto end = static_cast<std::size_t>(lineFeed - text.data());
        // Bytes are at least as many as the units that the library counts.
        if (end - begin >= report::CReportParser::kLongestLine ||
            (end > begin && lineFeed[-1] == '\r'))
            return false;
        const std::string_view line = text.substr(begin, end - begin);
        const bool isSameSection = !section.empty() && line.size() > section.size() &&
                                   line[section.size()] == '\t' && line.starts_with(section);
        std::size_t at = section.size() + 1;
        if (!isSameSection) {
            const std::size_t tab = line.find('\t');
            const std::string_view next = line.substr(0, std::min(tab, line.size()));
            if (next.empty() || tab == line.npos ||
                !std::ranges::all_of(next, [](char unit) { return unit > ' ' && unit < '\x7F'; }))
                return false;
            if (!section.empty() && !ComesFirst(section, next))
                return false;
            endSection();
            section = next;
            isElapsed = section == kElapsedTimes;
            at = tab + 1;
        }
        const std::size_t indexAt = at;
        const auto index = ReadIndex(line, &at);
        if (!index)
            return false;
        // The library orders indexes as texts: 10 is before 2.
        const std::string_view indexText = line.substr(indexAt, at - indexAt - 1);
        const std::size_t tab = line.find('\t', at);
        if (tab == line.npos)
            return false;
        const std::string_view property = line.substr(at, tab - at), value = line.substr(tab + 1);
        if (isElapsed) {
            if (*index != 0 || !property.empty())
                return false;
            completeness.OnFacts(section, property, 1, 0);
            elapsedTimes_.emplace_back(value);
        } else {
            const bool isSameProperty = isSameSection && runs_.back().property == property;
            if (isSameProperty) {
                if (indexText <= lastIndexText)
                    return false;
                Run& run = runs_.back();
                run.lines = {run.lines.data(), run.lines.size() + line.size() + 1};
            } else {
                if (isSameSection) {
                    if (!ComesFirst(runs_.back().property, property))
                        return false;
                    endRun();
                } else {
                    sections_.push_back({section, runs_.size(), runs_.size(), "", "", false});
                }
                runs_.push_back({property, report::FindTerm(section, property),
                                 text.substr(begin, line.size() + 1), facts_.size(), 0});
            }
            facts_.push_back({*index, value});
            lastIndexText = indexText;
        }
        begin = end + 1;
    }
    endSection();
    completeness_ = completeness.Result(true);
    return true;
}

CReportFacts CReportFacts::Of(const Report& report)
{
    struct Told {
        const Property* property;
        std::int32_t instance;
        std::string index;
    };
    CReportFacts facts;
    std::size_t size = 0;
    for (const report::Section& section : report.sections)
        for (const Instance& instance : section.instances)
            for (const Property& property : instance.properties)
                size += section.name.size() + property.name.size() + property.value.size() + 16;
    // The views must not lose what they are of.
    facts.text_.reserve(size * kReplacement.size());
    for (const report::Section& section : report.sections) {
        std::vector<Told> all;
        for (const Instance& instance : section.instances)
            for (const Property& property : instance.properties)
                all.push_back({&property, instance.index, std::to_string(instance.index)});
        if (all.empty())
            continue;
        std::ranges::stable_sort(all, [](const Told& one, const Told& other) {
            if (one.property->name != other.property->name)
                return ComesFirst(one.property->name, other.property->name);
            return one.index < other.index;
        });
        for (const Told& told : all) {
            const std::size_t begin = facts.text_.size();
            const std::string_view name = facts.AddText(section.name);
            facts.AddText('\t' + told.index + '\t');
            const std::string_view property = facts.AddText(told.property->name);
            facts.AddText("\t");
            const std::string_view value = facts.AddText(told.property->value);
            facts.AddText("\n");
            const bool isFirst = &told == &all.front();
            if (isFirst)
                facts.sections_.push_back({name, facts.runs_.size(), 0, "", "", false});
            if (!isFirst && facts.runs_.back().property != property)
                facts.EndRun();
            if (isFirst || facts.runs_.back().property != property)
                facts.runs_.push_back({property,
                                       report::FindTerm(name, property),
                                       {facts.text_.data() + begin, 0},
                                       facts.facts_.size(),
                                       0});
            facts.facts_.push_back({told.instance, value});
            Run& run = facts.runs_.back();
            run.lines = {run.lines.data(),
                         static_cast<std::size_t>(facts.text_.data() + facts.text_.size() -
                                                  run.lines.data())};
        }
        facts.EndRun();
        facts.EndSection();
    }
    for (const std::string& time : report.elapsedTimes)
        facts.elapsedTimes_.emplace_back(WithoutNulls(time));
    facts.completeness_ = report.completeness;
    return facts;
}

std::string_view CReportFacts::AddText(std::string_view text)
{
    const std::size_t begin = text_.size();
    for (const char unit : text)
        if (unit == '\0')
            text_.insert(text_.end(), kReplacement.begin(), kReplacement.end());
        else
            text_.push_back(unit);
    return {text_.data() + begin, text_.size() - begin};
}

void CReportFacts::EndRun()
{
    Run& run = runs_.back();
    run.last = facts_.size();
    const auto facts = std::span{facts_}.subspan(run.first);
    if (std::ranges::is_sorted(facts, {}, &Fact::instance))
        return;
    // Mostly all numbers from 0 on are there, each of which tells the place.
    const auto count = static_cast<std::int32_t>(facts.size());
    if (std::ranges::max(facts, {}, &Fact::instance).instance < count) {
        std::vector<Fact> sorted(facts.size());
        for (const Fact& fact : facts)
            sorted[static_cast<std::size_t>(fact.instance)] = fact;
        std::ranges::copy(sorted, facts.begin());
    } else {
        std::ranges::sort(facts, {}, &Fact::instance);
    }
}

void CReportFacts::EndSection()
{
    Section& section = sections_.back();
    section.last = runs_.size();
    CDigest history, latest;
    for (const Run& run : RunsOf(section)) {
        section.hasLatest = section.hasLatest || IsLatestOnly(run);
        (IsLatestOnly(run) ? latest : history).Add(run.lines);
    }
    // That there is an instance is kept with the history, even where nothing else of it is.
    if (section.hasLatest) {
        std::vector<std::int32_t> present, others;
        for (const Run& run : RunsOf(section))
            for (const Fact& fact : FactsOf(run))
                (IsLatestOnly(run) ? others : present).push_back(fact.instance);
        std::ranges::sort(present);
        std::ranges::sort(others);
        std::vector<std::int32_t> only;
        std::ranges::set_difference(others, present, std::back_inserter(only));
        const auto again = std::ranges::unique(only);
        only.erase(again.begin(), again.end());
        for (const std::int32_t instance : only)
            history.Add(std::to_string(instance) + '\n');
    }
    section.historyDigest = history.Text();
    section.latestDigest = latest.Text();
}

Report CReportFacts::Pick(const report::FactFilter& isPicked) const
{
    Report report;
    for (const Section& section : sections_) {
        report::Section picked;
        for (const Run& run : RunsOf(section)) {
            if (!isPicked(section.name, run.property))
                continue;
            auto instance = picked.instances.begin();
            for (const Fact& fact : FactsOf(run)) {
                instance = std::ranges::lower_bound(instance, picked.instances.end(), fact.instance,
                                                    {}, &Instance::index);
                if (instance == picked.instances.end() || instance->index != fact.instance)
                    instance = picked.instances.insert(instance, {fact.instance, {}});
                instance->properties.push_back(
                    {std::string{run.property}, std::string{fact.value}});
            }
        }
        if (picked.instances.empty())
            continue;
        picked.name = section.name;
        report.sections.push_back(std::move(picked));
    }
    report.elapsedTimes = elapsedTimes_;
    report.completeness = completeness_;
    return report;
}

}  // namespace orrery::fleet
