#include "client/fleet/rows.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <iterator>
#include <map>
#include <utility>

#include "client/report/typed_value.h"

namespace orrery::fleet {
namespace {

using report::Instance;
using report::Property;
using report::Section;

/// The two tables of a section; either may be missing.
struct Tables {
    const SectionTable *history = nullptr, *latest = nullptr;
};

const Tables& TablesOf(std::string_view section)
{
    static const auto tables = [] {
        std::map<std::string_view, Tables> all;
        for (const SectionTable& table : SectionTables())
            (table.isLatestOnly ? all[table.section].latest : all[table.section].history) = &table;
        return all;
    }();
    static const Tables none;
    const auto found = tables.find(section);
    return found != tables.end() ? found->second : none;
}

/// The column of a property.
/// @return the number of columns where the table has none
std::size_t ColumnOf(const SectionTable& table, std::string_view property)
{
    return static_cast<std::size_t>(
        std::ranges::find(table.columns, property,
                          [](const Column& column) { return column.term->property; }) -
        table.columns.begin());
}

/// A value as its column holds it.
/// @return NULL where it cannot
Cell ToCell(const Column& column, const std::string& value)
{
    switch (column.type) {
        case ColumnType::kText:
            return value;
        case ColumnType::kNumber:
            if (const auto number = report::ExactNumber(value))
                return *number;
            break;
        case ColumnType::kTruth:
            if (const auto truth = report::ExactTruth(*column.term, value))
                return std::int64_t{*truth};
            break;
        case ColumnType::kDate:
            if (auto date = report::IsoDate(value))
                return std::move(*date);
            break;
        case ColumnType::kTime:
            if (report::IsIsoTime(value))
                return value;
            break;
    }
    return std::monostate{};
}

/// The report's text of what a column holds.
std::string ToText(const Column& column, const Cell& cell)
{
    const auto* const number = std::get_if<std::int64_t>(&cell);
    if (number == nullptr) {
        const std::string& text = std::get<std::string>(cell);
        // "2019-03-04" was "03/04/19".
        return column.type == ColumnType::kDate && text.size() == 10
                   ? text.substr(5, 2) + '/' + text.substr(8, 2) + '/' + text.substr(2, 2)
                   : text;
    }
    if (column.type != ColumnType::kTruth)
        return std::to_string(*number);
    if (column.term->words.empty())
        return *number != 0 ? "true" : "false";
    return *number != 0 ? "1" : "0";
}

/// Builds a part of a section from its facts.
class CPartBuilder {
public:
    explicit CPartBuilder(const SectionTable* table) { part_.table = table; }

    /// Begins an instance, which has a row even where none of its facts has a column.
    void Begin(std::int32_t instance)
    {
        Hash({}, instance, {});
        if (part_.table != nullptr)
            part_.rows.push_back({instance, std::vector<Cell>(part_.table->columns.size())});
    }

    void Add(const Property& property, std::int32_t instance)
    {
        Hash(property.name, instance, property.value);
        const std::size_t at = part_.table != nullptr ? ColumnOf(*part_.table, property.name) : 0;
        if (part_.table == nullptr || at == part_.table->columns.size()) {
            part_.others.push_back({property.name, instance, property.value});
            return;
        }
        Cell cell = ToCell(part_.table->columns[at], property.value);
        if (!std::holds_alternative<std::monostate>(cell))
            part_.rows.back().cells[at] = std::move(cell);
        else if (!property.value.empty())
            part_.others.push_back({property.name, instance, property.value});
        else
            part_.empty +=
                (part_.empty.empty() ? "" : "|") + property.name + '.' + std::to_string(instance);
    }

    /// Leaves out the instance that was begun last if nothing came of it.
    void DropEmpty()
    {
        if (!part_.rows.empty() &&
            std::ranges::all_of(part_.rows.back().cells, [](const Cell& cell) {
                return std::holds_alternative<std::monostate>(cell);
            }))
            part_.rows.pop_back();
    }

    SectionPart Take()
    {
        std::array<char, 40> text{};
        std::snprintf(text.data(), text.size(), "%016llx%016llx",
                      static_cast<unsigned long long>(hash_.high64),
                      static_cast<unsigned long long>(hash_.low64));
        part_.digest = text.data();
        return std::move(part_);
    }

private:
    void Hash(std::string_view property, std::int32_t instance, std::string_view value)
    {
        bytes_.clear();
        bytes_.append(reinterpret_cast<const char*>(&hash_), sizeof hash_);
        bytes_.append(reinterpret_cast<const char*>(&instance), sizeof instance);
        bytes_.append(property).append(1, '\t').append(value);
        hash_ = XXH3_128bits(bytes_.data(), bytes_.size());
    }

    SectionPart part_;
    XXH128_hash_t hash_{};
    std::string bytes_;  // kept for its memory
};

/// Every text of a report, with what is done to it.
template <class Text, class Report>
bool AnyText(Report& report, const Text& onText)
{
    bool any = false;
    for (auto& section : report.sections) {
        any = onText(section.name) || any;
        for (auto& instance : section.instances)
            for (auto& property : instance.properties) {
                any = onText(property.name) || any;
                any = onText(property.value) || any;
            }
    }
    for (auto& time : report.elapsedTimes)
        any = onText(time) || any;
    return any;
}

/// Adds a section. Names that only differ in what UTF-8 or a database cannot spell have become the same.
void Join(SectionRows section, std::vector<SectionRows>* sections)
{
    const auto same = std::ranges::find(*sections, section.section, &SectionRows::section);
    if (same == sections->end()) {
        sections->push_back(std::move(section));
        return;
    }
    for (const auto part : {&SectionRows::history, &SectionRows::latest}) {
        SectionPart& joined = (*same).*part;
        SectionPart& added = section.*part;
        std::ranges::move(added.others, std::back_inserter(joined.others));
        joined.digest = added.digest;
    }
}

}  // namespace

Value AsValue(const Cell& cell) noexcept
{
    if (const auto* const number = std::get_if<std::int64_t>(&cell))
        return *number;
    if (const auto* const text = std::get_if<std::string>(&cell))
        return std::string_view{*text};
    return std::monostate{};
}

Cell AsCell(const Value& value)
{
    if (const auto* const number = std::get_if<std::int64_t>(&value))
        return *number;
    if (const auto* const text = std::get_if<std::string_view>(&value))
        return std::string{*text};
    return std::monostate{};
}

bool HasNulls(const report::Report& report)
{
    return AnyText(report, [](const std::string& text) { return text.find('\0') != text.npos; });
}

report::Report WithoutNulls(report::Report report)
{
    AnyText(report, [](std::string& text) {
        for (std::size_t at = 0; (at = text.find('\0', at)) != text.npos;)
            text.replace(at, 1, "\xEF\xBF\xBD");
        return true;
    });
    return report;
}

std::vector<SectionRows> RowsOf(const report::Report& report)
{
    std::vector<SectionRows> result;
    result.reserve(report.sections.size());
    for (const Section& section : report.sections) {
        const Tables& tables = TablesOf(section.name);
        CPartBuilder history{tables.history}, latest{tables.latest};
        for (const Instance& instance : section.instances) {
            history.Begin(instance.index);
            latest.Begin(instance.index);
            for (const Property& property : instance.properties) {
                const report::Term* const term = report::FindTerm(section.name, property.name);
                (term != nullptr && IsLatestOnly(*term) ? latest : history)
                    .Add(property, instance.index);
            }
            latest.DropEmpty();
        }
        Join({section.name, history.Take(), latest.Take()}, &result);
    }
    return result;
}

std::string EmptyInHistory(std::string_view section, std::string_view empty)
{
    std::string kept;
    for (std::size_t begin = 0; begin < empty.size();) {
        const std::size_t end = std::min(empty.find('|', begin), empty.size());
        const std::string_view place = empty.substr(begin, end - begin);
        const report::Term* const term =
            report::FindTerm(section, place.substr(0, place.rfind('.')));
        if (term == nullptr || !IsLatestOnly(*term))
            (kept += kept.empty() ? "" : "|") += place;
        begin = end + 1;
    }
    return kept;
}

Section SectionOf(std::string_view section, const SectionPart& part)
{
    std::map<std::int32_t, Instance> instances;
    const auto add = [&](std::int32_t index, std::string name, std::string value) {
        Instance& instance = instances[index];
        instance.index = index;
        instance.properties.push_back({std::move(name), std::move(value)});
    };
    for (const Row& row : part.rows) {
        instances[row.instance].index = row.instance;
        for (std::size_t i = 0; i < row.cells.size(); ++i)
            if (!std::holds_alternative<std::monostate>(row.cells[i])) {
                const Column& column = part.table->columns[i];
                add(row.instance, std::string{column.term->property}, ToText(column, row.cells[i]));
            }
    }
    for (const OtherFact& fact : part.others)
        add(fact.instance, fact.property, fact.value);
    for (std::size_t begin = 0; begin < part.empty.size();) {
        const std::size_t end = std::min(part.empty.find('|', begin), part.empty.size());
        const std::string_view place = std::string_view{part.empty}.substr(begin, end - begin);
        const std::size_t dot = place.rfind('.');
        std::int32_t index = 0;
        if (dot != std::string_view::npos)
            std::from_chars(place.data() + dot + 1, place.data() + place.size(), index);
        add(index, std::string{place.substr(0, dot)}, "");
        begin = end + 1;
    }
    Section result{std::string{section}, {}};
    for (auto& [index, instance] : instances) {
        std::ranges::sort(instance.properties, [](const Property& one, const Property& other) {
            return report::ComesFirst(one.name, other.name);
        });
        result.instances.push_back(std::move(instance));
    }
    return result;
}

std::string SelectList(const SectionTable& table, Engine engine)
{
    std::string list;
    for (const Column& column : table.columns) {
        const std::string name = '"' + column.name + '"';
        list += list.empty() ? "" : ", ";
        list += column.type == ColumnType::kTime && engine == Engine::kPostgres
                    ? "to_char(" + name + R"(, 'YYYY-MM-DD"T"HH24:MI:SS"Z"'))"
                    : name;
    }
    return list;
}

}  // namespace orrery::fleet
