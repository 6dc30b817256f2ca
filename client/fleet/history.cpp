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

std::string TimeSeconds(Engine engine, const std::string& column)
{
    return engine == Engine::kPostgres ? "CAST(date_part('epoch', " + column + ") AS BIGINT)"
                                       : column;
}

std::optional<std::int64_t> SecondsIn(const Value& value)
{
    if (IsNull(value))
        return std::nullopt;
    const auto* const number = std::get_if<std::int64_t>(&value);
    return number != nullptr ? *number : report::SecondsOf(TextIn(value));
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

CHistory::CSorted::CSorted(const std::vector<Kept>& rows)
{
    for (const Kept& row : rows)
        rows_.push_back(&row);
    std::ranges::sort(rows_, {}, [](const Kept* row) { return row->facts(); });
}

const CHistory::Kept* CHistory::CSorted::Find(const Kept& sought) const
{
    const auto found = std::ranges::lower_bound(rows_, sought.facts(), {},
                                                [](const Kept* row) { return row->facts(); });
    return found != rows_.end() && (*found)->facts() == sought.facts() ? *found : nullptr;
}

void CHistory::Change(std::int64_t machine, std::string section, SectionPart part,
                      std::string emptyBefore, std::int64_t time)
{
    auto changing = std::make_unique<Changing>(
        Changing{machine, std::move(section), std::move(part), std::move(emptyBefore), time, {}});
    const std::pair key{std::string_view{changing->section}, machine};
    changing_.emplace(key, std::move(changing));
}

void CHistory::MakeChanges(
    const std::function<void(std::int64_t machine, std::uint64_t changes)>& onChanged)
{
    if (changing_.empty())
        return;
    const std::string time{TypeName(database_.engine(), ColumnType::kTime)};
    database_.Run(
        "CREATE TEMPORARY TABLE IF NOT EXISTS changed_section (of_machine BIGINT, of_section "
        "TEXT);"
        "CREATE TEMPORARY TABLE IF NOT EXISTS closed_row (of_section TEXT, of_machine BIGINT, "
        "of_instance BIGINT, of_from " +
        time + ", of_to " + time + "); DELETE FROM changed_section; DELETE FROM closed_row");
    ReadChanging();
    CRowWriter& closed =
        WriterOf("closed_row", "of_section, of_machine, of_instance, of_from, of_to");
    CRowWriter& changes =
        WriterOf("change", "machine, at, place, day, section, label, property, before, after");
    for (const auto& [key, changing] : changing_)
        onChanged(changing->machine, MakeChange(*changing, closed, changes));
    closed.Finish();
    database_.Run("ANALYZE closed_row");
    const SectionTable* last = nullptr;
    for (const auto& [key, changing] : changing_) {
        const SectionTable* const table = changing->part.table;
        if (table == nullptr || std::exchange(last, table) == table)
            continue;
        database_.Query("UPDATE " + table->name +
                            " SET valid_to = of_to FROM closed_row WHERE of_section = $1 AND "
                            "machine = of_machine AND instance = of_instance AND valid_from = "
                            "of_from",
                        std::array<Value, 1>{key.first}, &Ignore);
    }
    FinishRows();
    changing_.clear();
}

/// Fetches the rows that the changing sections have.
void CHistory::ReadChanging()
{
    CRowWriter& wanted = WriterOf("changed_section", "of_machine, of_section");
    for (const auto& [key, changing] : changing_)
        wanted.Add(std::array<Value, 2>{changing->machine, key.first});
    wanted.Finish();
    database_.Run("ANALYZE changed_section");
    const Engine engine = database_.engine();
    const std::string from = TimeSeconds(engine, "valid_from");
    const SectionTable* last = nullptr;
    for (const auto& [key, changing] : changing_) {
        const SectionTable* const table = changing->part.table;
        if (table == nullptr || std::exchange(last, table) == table)
            continue;
        database_.Query(
            "SELECT machine, instance, " + from + ", " + SelectList(*table, engine) +
                " FROM changed_section JOIN " + table->name +
                " ON machine = of_machine WHERE of_section = $1 AND valid_to IS NULL ORDER BY "
                "machine, instance",
            std::array<Value, 1>{key.first}, [&](std::span<const Value> row) {
                Kept kept;
                kept.row.instance = static_cast<std::int32_t>(NumberIn(row[1]));
                kept.from = FormatIsoTime(SecondsIn(row[2]).value_or(0));
                for (const Value& value : row.subspan(3))
                    kept.row.cells.push_back(AsCell(value));
                changing_.at({key.first, NumberIn(row[0])})->before.push_back(std::move(kept));
            });
    }
    database_.Query(
        "SELECT machine, section, instance, " + from +
            ", property, value FROM changed_section JOIN other_fact ON machine = of_machine AND "
            "section = of_section WHERE NOT latest AND valid_to IS NULL ORDER BY machine, "
            "section, instance, property",
        [&](std::span<const Value> row) {
            Kept kept;
            kept.isOther = true;
            kept.other = {std::string{TextIn(row[4])}, static_cast<std::int32_t>(NumberIn(row[2])),
                          std::string{TextIn(row[5])}};
            kept.from = FormatIsoTime(SecondsIn(row[3]).value_or(0));
            changing_.at({TextIn(row[1]), NumberIn(row[0])})->before.push_back(std::move(kept));
        });
}

std::uint64_t CHistory::MakeChange(const Changing& changing, CRowWriter& closed,
                                   CRowWriter& changes)
{
    const SectionPart& part = changing.part;
    const Place place{changing.machine, changing.section, part.table};
    const std::string now = FormatIsoTime(changing.time);
    std::vector<Kept> after;
    for (const Row& row : part.rows)
        after.push_back({false, row, {}, now, ""});
    for (const OtherFact& fact : part.others)
        after.push_back({true, {}, fact, now, ""});

    SectionPart old{part.table, {}, {}, EmptyInHistory(changing.section, changing.emptyBefore)};
    if (old.empty != part.empty)
        SetEmpty(place, now, old.empty);
    const CSorted given{after}, present{changing.before};
    for (const Kept& kept : changing.before) {
        if (kept.isOther)
            old.others.push_back(kept.other);
        else
            old.rows.push_back(kept.row);
        if (given.Find(kept) != nullptr)
            continue;
        if (kept.isOther)
            Set(place, kept, "valid_to", now);
        else
            closed.Add(std::array<Value, 5>{std::string_view{place.section}, place.machine,
                                            std::int64_t{kept.row.instance},
                                            std::string_view{kept.from}, std::string_view{now}});
    }
    for (const Kept& kept : after)
        if (present.Find(kept) == nullptr)
            Open(place, kept);
    return AddChanges(place, now, SectionOf(changing.section, old),
                      SectionOf(changing.section, part), changes);
}

bool CHistory::Holds(std::int64_t machine, const std::string& section, const SectionPart& part,
                     std::int64_t time)
{
    const auto valid = ValidAt({machine, section, part.table}, FormatIsoTime(time));
    const CSorted rows{valid};
    return valid.size() == part.rows.size() + part.others.size() &&
           std::ranges::all_of(part.rows,
                               [&](const Row& row) {
                                   return rows.Find({false, row, {}, "", ""}) != nullptr;
                               }) &&
           std::ranges::all_of(part.others, [&](const OtherFact& fact) {
               return rows.Find({true, {}, fact, "", ""}) != nullptr;
           });
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
    const CSorted givenRows{given}, beforeRows{before}, startingRows{starting};

    for (const Kept& kept : before) {
        if (givenRows.Find(kept) != nullptr)
            continue;
        Set(place, kept, "valid_to", now);
        if (kept.to.empty() || kept.to > then) {
            Kept again = kept;
            again.from = then;
            Open(place, again);
        }
    }
    for (const Kept& kept : given) {
        if (beforeRows.Find(kept) != nullptr)
            continue;
        if (const Kept* const later = startingRows.Find(kept))
            Set(place, *later, "valid_from", now);
        else
            Open(place, kept);
    }

    FinishRows();
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
    changes += AddChanges(place, then, SectionOf(section, part),
                          SectionOfKept(place, ValidAt(place, then), emptyAfter));
    FinishRows();
    return changes;
}

void CHistory::Keep(std::int64_t machine, const std::string& emptyNow, std::int64_t time,
                    const std::function<bool(const report::Term&)>& isKept,
                    report::Section* section)
{
    const Place place{machine, section->name, HistoryTable(section->name)};
    const std::string now = FormatIsoTime(time);
    auto& instances = section->instances;
    for (const report::Instance& before :
         SectionOfKept(place, ValidAt(place, now), EmptyAt(place, now, emptyNow)).instances)
        for (const report::Property& property : before.properties) {
            const report::Term* const term = report::FindTerm(section->name, property.name);
            if (term == nullptr || !isKept(*term))
                continue;
            auto instance = std::ranges::find(instances, before.index, &report::Instance::index);
            if (instance == instances.end())
                instance = instances.insert(instance, {before.index, {}});
            instance->properties.push_back(property);
        }
}

report::Section CHistory::SectionOfKept(const Place& place, const std::vector<Kept>& all,
                                        const std::string& empty)
{
    SectionPart rows{place.table, {}, {}, empty};
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
    WriterOf(table, columns).Add(values);
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
    return AddChanges(
        place, time, before, after,
        WriterOf("change", "machine, at, place, day, section, label, property, before, after"));
}

std::uint64_t CHistory::AddChanges(const Place& place, const std::string& time,
                                   const report::Section& before, const report::Section& after,
                                   CRowWriter& changes)
{
    report::Report old, now;
    old.sections.push_back(before);
    now.sections.push_back(after);
    const auto compared = report::CompareReports(old, now, false);
    std::int64_t number = 0;
    const auto text = [](const std::optional<std::string>& value) {
        return value ? Value{std::string_view{*value}} : Value{};
    };
    for (const auto& section : compared)
        for (const auto& instance : section.instances)
            for (const auto& property : instance.properties) {
                changes.Add(std::array<Value, 9>{
                    place.machine, std::string_view{time}, number++,
                    std::string_view{time}.substr(0, 10), std::string_view{place.section},
                    std::string_view{instance.label}, std::string_view{property.name},
                    text(property.before), text(property.after)});
            }
    return static_cast<std::uint64_t>(number);
}

void CHistory::FinishRows()
{
    for (const auto& [table, writer] : writers_)
        writer->Finish();
}

CRowWriter& CHistory::WriterOf(const std::string& table, const std::string& columns)
{
    auto& writer = writers_[table];
    if (writer == nullptr)
        writer = database_.Insert(table, columns);
    return *writer;
}

}  // namespace orrery::fleet
