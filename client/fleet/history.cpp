#include "client/fleet/history.h"

#include <algorithm>
#include <array>
#include <utility>

#include "client/report/diff.h"
#include "client/report/typed_value.h"

namespace orrery::fleet {
namespace {

using report::FormatIsoTime;

void Ignore(std::span<const Value> /*row*/) {}

Value OrNull(const std::string& text)
{
    return text.empty() ? Value{} : Value{std::string_view{text}};
}

}  // namespace

std::string TimeText(Engine engine, const std::string& column)
{
    return engine == Engine::kPostgres
               ? "to_char(" + column + R"( AT TIME ZONE 'UTC', 'YYYY-MM-DD"T"HH24:MI:SS"Z"'))"
               : column;
}

std::optional<std::int64_t> CHistory::NextReport(std::int64_t machine, const std::string& section,
                                                 std::int64_t time)
{
    const std::string text = FormatIsoTime(time);
    std::optional<std::int64_t> next;
    database_.Query(
        "SELECT " + TimeText(database_.engine(), "MIN(at)") +
            " FROM report_time t WHERE machine = $1 AND at > $2 AND NOT EXISTS (SELECT 1 "
            "FROM report_gap g WHERE g.machine = t.machine AND g.section = $3 AND g.at = "
            "t.at)",
        std::array<Value, 3>{machine, text, std::string_view{section}},
        [&](std::span<const Value> row) { next = report::SecondsOf(TextIn(row[0])); });
    return next;
}

std::uint64_t CHistory::Change(std::int64_t machine, const std::string& section,
                               const SectionPart& part, const std::string& emptyBefore,
                               std::int64_t time)
{
    const Place place{machine, section, part.table};
    const std::string now = FormatIsoTime(time);
    const auto before = Read(place, "valid_to IS NULL", "");
    std::vector<Kept> after;
    for (const Row& row : part.rows)
        after.push_back({false, row, {}, now, ""});
    for (const OtherFact& fact : part.others)
        after.push_back({true, {}, fact, now, ""});

    const auto has = [](const std::vector<Kept>& all, const Kept& one) {
        return std::ranges::any_of(all, [&](const Kept& kept) { return kept.HasSameFacts(one); });
    };
    SectionPart old{part.table, {}, {}, EmptyInHistory(section, emptyBefore), ""};
    if (old.empty != part.empty)
        SetEmpty(place, now, old.empty);
    for (const Kept& kept : before) {
        if (kept.isOther)
            old.others.push_back(kept.other);
        else
            old.rows.push_back(kept.row);
        if (!has(after, kept))
            Set(place, kept, "valid_to", now);
    }
    for (const Kept& kept : after)
        if (!has(before, kept))
            Open(place, kept);
    return AddChanges(place, now, SectionOf(section, old), SectionOf(section, part));
}

std::uint64_t CHistory::Insert(std::int64_t machine, const std::string& section,
                               const SectionPart& part, const std::string& emptyNow,
                               std::int64_t time, std::int64_t next)
{
    const Place place{machine, section, part.table};
    const std::string now = FormatIsoTime(time), then = FormatIsoTime(next);
    const std::string emptyBefore = EmptyAt(place, now, emptyNow),
                      emptyAfter = EmptyAt(place, then, emptyNow);
    const auto before = ValidAt(place, now);
    const auto starting = Read(place, "valid_from = $3", then);
    std::vector<Kept> given;
    for (const Row& row : part.rows)
        given.push_back({false, row, {}, now, then});
    for (const OtherFact& fact : part.others)
        given.push_back({true, {}, fact, now, then});
    const auto find = [](const std::vector<Kept>& all, const Kept& one) {
        const auto found =
            std::ranges::find_if(all, [&](const Kept& kept) { return kept.HasSameFacts(one); });
        return found != all.end() ? &*found : nullptr;
    };

    for (const Kept& kept : before) {
        if (find(given, kept) != nullptr)
            continue;
        Set(place, kept, "valid_to", now);
        if (kept.to.empty() || kept.to > then) {
            Kept again = kept;
            again.from = then;
            Open(place, again);
        }
    }
    for (const Kept& kept : given) {
        if (find(before, kept) != nullptr)
            continue;
        if (const Kept* const later = find(starting, kept))
            Set(place, *later, "valid_from", now);
        else
            Open(place, kept);
    }

    if (emptyBefore != part.empty) {
        if (!before.empty())
            SetEmpty(place, now, emptyBefore);
        SetEmpty(place, then, part.empty);
    }
    if (emptyAfter == part.empty)
        database_.Query(
            "DELETE FROM former_empty WHERE machine = $1 AND section = $2 AND upto = $3",
            std::array<Value, 3>{machine, std::string_view{section}, then}, &Ignore);

    // What was told as a change at the next report may have come about with this one.
    database_.Query("DELETE FROM change WHERE machine = $1 AND at = $2 AND section = $3",
                    std::array<Value, 3>{machine, then, section}, &Ignore);
    std::uint64_t changes = 0;
    if (!before.empty())
        changes += AddChanges(place, now, SectionOfKept(place, before, emptyBefore),
                              SectionOf(section, part));
    return changes + AddChanges(place, then, SectionOf(section, part),
                                SectionOfKept(place, ValidAt(place, then), emptyAfter));
}

SectionPart CHistory::WithKept(std::int64_t machine, const std::string& section,
                               const SectionPart& part, const std::string& emptyNow,
                               std::int64_t time,
                               const std::function<bool(const report::Term&)>& isKept)
{
    const Place place{machine, section, part.table};
    const std::string now = FormatIsoTime(time);
    report::Report report;
    report::Section& whole = report.sections.emplace_back(SectionOf(section, part));
    for (const report::Instance& before :
         SectionOfKept(place, ValidAt(place, now), EmptyAt(place, now, emptyNow)).instances)
        for (const report::Property& property : before.properties) {
            const report::Term* const term = report::FindTerm(section, property.name);
            if (term == nullptr || !isKept(*term))
                continue;
            auto instance =
                std::ranges::find(whole.instances, before.index, &report::Instance::index);
            if (instance == whole.instances.end())
                instance = whole.instances.insert(instance, {before.index, {}});
            instance->properties.push_back(property);
        }
    for (report::Instance& instance : whole.instances)
        std::ranges::sort(instance.properties, &report::ComesFirst, &report::Property::name);
    std::ranges::sort(whole.instances, {}, &report::Instance::index);
    return std::move(RowsOf(report).front().history);
}

report::Section CHistory::SectionOfKept(const Place& place, const std::vector<Kept>& all,
                                        const std::string& empty)
{
    SectionPart rows{place.table, {}, {}, empty, ""};
    for (const Kept& kept : all)
        if (kept.isOther)
            rows.others.push_back(kept.other);
        else
            rows.rows.push_back(kept.row);
    return SectionOf(place.section, rows);
}

std::string CHistory::EmptyAt(const Place& place, const std::string& time,
                              const std::string& emptyNow)
{
    std::string empty = EmptyInHistory(place.section, emptyNow);
    database_.Query(
        "SELECT empty FROM former_empty WHERE machine = $1 AND section = $2 AND upto > $3 "
        "ORDER BY upto LIMIT 1",
        std::array<Value, 3>{place.machine, std::string_view{place.section}, time},
        [&](std::span<const Value> row) { empty = TextIn(row[0]); });
    return empty;
}

void CHistory::SetEmpty(const Place& place, const std::string& upto, const std::string& empty)
{
    database_.Query(
        "INSERT INTO former_empty (machine, section, upto, empty) VALUES ($1, $2, $3, $4) "
        "ON CONFLICT (machine, section, upto) DO UPDATE SET empty = excluded.empty",
        std::array<Value, 4>{place.machine, std::string_view{place.section}, upto, empty}, &Ignore);
}

std::vector<CHistory::Kept> CHistory::ValidAt(const Place& place, const std::string& time)
{
    return Read(place, "valid_from <= $3 AND (valid_to IS NULL OR valid_to > $3)", time);
}

std::vector<CHistory::Kept> CHistory::Read(const Place& place, const std::string& condition,
                                           const std::string& time)
{
    std::vector<Kept> rows;
    const Engine engine = database_.engine();
    const std::string times = TimeText(engine, "valid_from") + ", " + TimeText(engine, "valid_to");
    // The statements use $2 also where they need not, since every engine wants all of them used.
    const std::array<Value, 3> parameters{place.machine, std::string_view{place.section}, time};
    const std::span<const Value> given{parameters.data(), time.empty() ? 2U : 3U};
    if (place.table != nullptr)
        database_.Query(
            "SELECT instance, " + times +
                (place.table->columns.empty() ? "" : ", " + SelectList(*place.table, engine)) +
                " FROM " + place.table->name +
                " WHERE machine = $1 AND CAST($2 AS TEXT) IS NOT NULL AND " + condition +
                " ORDER BY instance",
            given, [&](std::span<const Value> row) {
                Kept kept;
                kept.row.instance = static_cast<std::int32_t>(NumberIn(row[0]));
                kept.from = TextIn(row[1]);
                kept.to = TextIn(row[2]);
                for (const Value& value : row.subspan(3))
                    kept.row.cells.push_back(AsCell(value));
                rows.push_back(std::move(kept));
            });
    database_.Query(
        "SELECT instance, " + times +
            ", property, value FROM other_fact WHERE machine = $1 AND section = $2 AND NOT "
            "latest AND " +
            condition + " ORDER BY instance, property",
        given, [&](std::span<const Value> row) {
            Kept kept;
            kept.isOther = true;
            kept.other = {std::string{TextIn(row[3])}, static_cast<std::int32_t>(NumberIn(row[0])),
                          std::string{TextIn(row[4])}};
            kept.from = TextIn(row[1]);
            kept.to = TextIn(row[2]);
            rows.push_back(std::move(kept));
        });
    return rows;
}

void CHistory::Open(const Place& place, const Kept& kept)
{
    std::vector<Value> values{place.machine};
    std::string table, columns;
    if (kept.isOther) {
        table = "other_fact";
        columns = "machine, valid_from, valid_to, instance, section, property, value, latest";
        for (const Value& value :
             {Value{std::string_view{kept.from}}, OrNull(kept.to),
              Value{std::int64_t{kept.other.instance}}, Value{std::string_view{place.section}},
              Value{std::string_view{kept.other.property}},
              Value{std::string_view{kept.other.value}}, Value{std::int64_t{0}}})
            values.push_back(value);
    } else {
        table = place.table->name;
        columns = "machine, valid_from, valid_to, instance, " + place.table->ColumnList();
        values.push_back(std::string_view{kept.from});
        values.push_back(OrNull(kept.to));
        values.push_back(std::int64_t{kept.row.instance});
        for (const Cell& cell : kept.row.cells)
            values.push_back(AsValue(cell));
    }
    const auto writer = database_.Insert(table, columns);
    writer->Add(values);
    writer->Finish();
}

void CHistory::Set(const Place& place, const Kept& kept, const char* column,
                   const std::string& value)
{
    const std::string set = std::string{" SET "} + column +
                            " = $1 WHERE machine = $2 AND valid_from = $3 "
                            "AND instance = $4";
    if (kept.isOther)
        database_.Query("UPDATE other_fact" + set +
                            " AND section = $5 AND property = $6 AND value = $7 AND NOT latest",
                        std::array<Value, 7>{
                            value, place.machine, kept.from, std::int64_t{kept.other.instance},
                            std::string_view{place.section}, kept.other.property, kept.other.value},
                        &Ignore);
    else
        database_.Query(
            "UPDATE " + place.table->name + set,
            std::array<Value, 4>{value, place.machine, kept.from, std::int64_t{kept.row.instance}},
            &Ignore);
}

std::uint64_t CHistory::AddChanges(const Place& place, const std::string& time,
                                   const report::Section& before, const report::Section& after)
{
    report::Report old, now;
    old.sections.push_back(before);
    now.sections.push_back(after);
    const auto changes = report::CompareReports(old, now, false);
    std::int64_t number = 0;
    const auto text = [](const std::optional<std::string>& value) {
        return value ? Value{std::string_view{*value}} : Value{};
    };
    const auto writer = database_.Insert(
        "change", "machine, at, place, day, section, label, property, before, after");
    for (const auto& section : changes)
        for (const auto& instance : section.instances)
            for (const auto& property : instance.properties) {
                writer->Add(std::array<Value, 9>{
                    place.machine, std::string_view{time}, number++,
                    std::string_view{time}.substr(0, 10), std::string_view{place.section},
                    std::string_view{instance.label}, std::string_view{property.name},
                    text(property.before), text(property.after)});
            }
    writer->Finish();
    return static_cast<std::uint64_t>(number);
}

}  // namespace orrery::fleet
