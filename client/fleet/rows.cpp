#include "client/fleet/rows.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <map>
#include <ranges>
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

constexpr std::size_t kNoColumn = static_cast<std::size_t>(-1);

/// The place of a property among the columns of the table that holds it.
std::size_t ColumnOf(const report::Term& term)
{
    static const auto columns = [] {
        std::vector<std::size_t> all(report::Vocabulary().size(), kNoColumn);
        for (const SectionTable& table : SectionTables())
            for (std::size_t i = 0; i < table.columns.size(); ++i)
                all[static_cast<std::size_t>(table.columns[i].term - report::Vocabulary().data())] =
                    i;
        return all;
    }();
    return columns[static_cast<std::size_t>(&term - report::Vocabulary().data())];
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

}  // namespace

const SectionTable* HistoryTable(std::string_view section)
{
    return TablesOf(section).history;
}

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

SectionPart PartRows::Copy() const
{
    SectionPart part{table, {}, {}, empty};
    for (std::size_t i = 0; i < instances.size(); ++i) {
        Row& row = part.rows.emplace_back(Row{instances[i], {}});
        for (const Value& cell : CellsOf(i))
            row.cells.push_back(AsCell(cell));
    }
    for (const Other& other : others)
        part.others.push_back(
            {std::string{other.property}, other.instance, std::string{other.value}});
    return part;
}

void CSectionRows::Make(const CReportFacts& facts, const CReportFacts::Section& section)
{
    made_.clear();
    const Tables& tables = TablesOf(section.name);
    history.table = tables.history;
    latest.table = tables.latest;
    MakePart(facts, section, false, &history);
    MakePart(facts, section, true, &latest);
}

void CSectionRows::MakePart(const CReportFacts& facts, const CReportFacts::Section& section,
                            bool isLatest, PartRows* part)
{
    part->instances.clear();
    part->cells.clear();
    part->others.clear();
    part->empty.clear();
    // Every instance has a row in the history, even where none of its facts has a column.
    std::vector<std::int32_t> together;
    const auto runs = facts.RunsOf(section);
    for (const auto& run : runs) {
        const auto all = facts.FactsOf(run);
        if ((isLatest && !IsLatestOnly(run)) ||
            std::ranges::equal(part->instances, all, {}, {}, &CReportFacts::Fact::instance))
            continue;
        together.clear();
        std::ranges::set_union(part->instances,
                               std::views::transform(all, &CReportFacts::Fact::instance),
                               std::back_inserter(together));
        part->instances.swap(together);
    }
    const std::size_t columns = part->table != nullptr ? part->table->columns.size() : 0;
    part->cells.resize(part->instances.size() * columns);

    std::vector<std::pair<std::int32_t, std::string_view>> empty;
    for (const auto& run : runs) {
        if (IsLatestOnly(run) != isLatest)
            continue;
        const std::size_t column =
            part->table != nullptr && run.term != nullptr ? ColumnOf(*run.term) : kNoColumn;
        if (column == kNoColumn) {
            for (const auto& fact : facts.FactsOf(run))
                part->others.push_back({run.property, fact.instance, fact.value});
            continue;
        }
        std::size_t row = 0;
        for (const auto& fact : facts.FactsOf(run)) {
            while (part->instances[row] != fact.instance)
                ++row;
            Value cell = ToCell(part->table->columns[column], fact.value);
            if (!IsNull(cell))
                part->cells[row * columns + column] = cell;
            else if (!fact.value.empty())
                part->others.push_back({run.property, fact.instance, fact.value});
            else
                empty.emplace_back(fact.instance, run.property);
        }
    }
    std::ranges::stable_sort(part->others, {}, &PartRows::Other::instance);
    std::ranges::stable_sort(empty, {}, [](const auto& each) { return each.first; });
    for (const auto& [instance, property] : empty)
        part->empty.append(part->empty.empty() ? "" : "|")
            .append(property)
            .append(1, '.')
            .append(std::to_string(instance));
    if (part->table == nullptr) {
        part->instances.clear();
    } else if (isLatest) {
        std::size_t kept = 0;
        for (std::size_t row = 0; row < part->instances.size(); ++row) {
            if (std::ranges::all_of(part->CellsOf(row), &IsNull))
                continue;
            std::ranges::copy(part->CellsOf(row),
                              part->cells.begin() + static_cast<std::ptrdiff_t>(kept * columns));
            part->instances[kept++] = part->instances[row];
        }
        part->instances.resize(kept);
        part->cells.resize(kept * columns);
    }
}

/// A value as its column holds it.
/// @return NULL where it cannot
Value CSectionRows::ToCell(const Column& column, std::string_view value)
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
                return std::string_view{made_.emplace_back(std::move(*date))};
            break;
        case ColumnType::kTime:
            if (report::IsIsoTime(value))
                return value;
            break;
    }
    return std::monostate{};
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
