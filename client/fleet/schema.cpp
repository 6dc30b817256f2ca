#include "client/fleet/schema.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <map>
#include <set>

#include "client/fleet/views.h"
#include "client/system/exit_codes.h"

namespace orrery::fleet {
namespace {

using report::Kind;
using report::Role;
using report::Term;

/// The tables beside those of the sections. TIME stands for the engine's type of a time.
///
/// A time is that of a report. What holds from a report on ends at the time of the report that no longer
/// says so, or has no end.
constexpr std::string_view kTables = R"(
CREATE TABLE IF NOT EXISTS fleet_schema (version BIGINT NOT NULL, views TEXT NOT NULL);

CREATE TABLE IF NOT EXISTS machine (
  machine BIGINT NOT NULL PRIMARY KEY,
  name TEXT NOT NULL, maker TEXT NOT NULL, model TEXT NOT NULL, serial TEXT NOT NULL,
  uuid TEXT NOT NULL, installation TEXT NOT NULL, identity TEXT NOT NULL,
  first_seen TIME NOT NULL, last_seen TIME NOT NULL);

CREATE TABLE IF NOT EXISTS machine_key (
  machine BIGINT NOT NULL, kind TEXT NOT NULL, value TEXT NOT NULL,
  PRIMARY KEY (machine, kind, value));
CREATE INDEX IF NOT EXISTS machine_key_by_value ON machine_key (value);

CREATE TABLE IF NOT EXISTS machine_conflict (
  machine BIGINT NOT NULL, other BIGINT NOT NULL, reason TEXT NOT NULL,
  PRIMARY KEY (machine, other, reason));

CREATE TABLE IF NOT EXISTS machine_event (
  machine BIGINT NOT NULL, at TIME NOT NULL, event TEXT NOT NULL, detail TEXT NOT NULL,
  PRIMARY KEY (machine, at, event));

CREATE TABLE IF NOT EXISTS machine_placeholder (
  machine BIGINT NOT NULL, property TEXT NOT NULL, value TEXT NOT NULL,
  PRIMARY KEY (machine, property));

CREATE TABLE IF NOT EXISTS report_time (
  machine BIGINT NOT NULL, at TIME NOT NULL, complete TRUTH NOT NULL, PRIMARY KEY (machine, at));

CREATE TABLE IF NOT EXISTS report_gap (
  machine BIGINT NOT NULL, section TEXT NOT NULL, at TIME NOT NULL,
  PRIMARY KEY (machine, section, at));

CREATE TABLE IF NOT EXISTS report_file (
  host TEXT NOT NULL, path TEXT NOT NULL, size BIGINT NOT NULL, modified BIGINT NOT NULL,
  sidecar BIGINT NOT NULL, machine BIGINT NOT NULL, PRIMARY KEY (host, path));

CREATE TABLE IF NOT EXISTS collected_section (
  machine BIGINT NOT NULL, section TEXT NOT NULL, digest TEXT NOT NULL,
  since TIME NOT NULL, seen TIME, complete TRUTH NOT NULL, rights TEXT NOT NULL,
  empty TEXT NOT NULL, PRIMARY KEY (machine, section));
CREATE INDEX IF NOT EXISTS overview_by_who_sees_all ON collected_section (machine)
  WHERE section = 'SystemOverview' AND rights IN ('LocalSystem', 'administrator');

CREATE TABLE IF NOT EXISTS former_empty (
  machine BIGINT NOT NULL, section TEXT NOT NULL, upto TIME NOT NULL, empty TEXT NOT NULL,
  PRIMARY KEY (machine, section, upto));

CREATE TABLE IF NOT EXISTS latest_digest (
  machine BIGINT NOT NULL, section TEXT NOT NULL, digest TEXT NOT NULL,
  PRIMARY KEY (machine, section));

CREATE TABLE IF NOT EXISTS other_fact (
  machine BIGINT NOT NULL, section TEXT NOT NULL, property TEXT NOT NULL, instance BIGINT NOT NULL,
  latest TRUTH NOT NULL, valid_from TIME, valid_to TIME, value TEXT NOT NULL);
CREATE INDEX IF NOT EXISTS other_fact_by_machine ON other_fact (machine, section);
CREATE INDEX IF NOT EXISTS other_fact_current ON other_fact (machine) WHERE valid_to IS NULL;

CREATE TABLE IF NOT EXISTS elapsed (
  machine BIGINT NOT NULL, place BIGINT NOT NULL, category TEXT NOT NULL, milliseconds BIGINT,
  value TEXT, at TIME NOT NULL, complete TRUTH NOT NULL, PRIMARY KEY (machine, place));

CREATE TABLE IF NOT EXISTS change (
  machine BIGINT NOT NULL, at TIME NOT NULL, place BIGINT NOT NULL, day DATE NOT NULL,
  section TEXT NOT NULL, label TEXT NOT NULL, property TEXT NOT NULL, before TEXT, after TEXT,
  PRIMARY KEY (machine, at, section, place));
CREATE INDEX IF NOT EXISTS change_by_day ON change (day);
)";

ColumnType TypeOf(const Term& term)
{
    switch (term.kind) {
        case Kind::kText:
        case Kind::kWord:
            return ColumnType::kText;
        case Kind::kFlag:
            return ColumnType::kTruth;
        case Kind::kDate:
            return ColumnType::kDate;
        case Kind::kTime:
            return ColumnType::kTime;
        default:
            return ColumnType::kNumber;
    }
}

std::vector<SectionTable> MakeTables()
{
    std::map<std::string_view, std::pair<SectionTable, SectionTable>> tables;
    for (const Term& term : report::Vocabulary()) {
        // Elapsed times and what no section of today has are stored otherwise.
        if (term.section.empty() || term.property.empty())
            continue;
        auto& [history, latest] = tables[term.section];
        const std::string name = SnakeCase(term.section);
        history = {name, term.section, false, std::move(history.columns)};
        latest = {name + "_now", term.section, true, std::move(latest.columns)};
        (IsLatestOnly(term) ? latest : history)
            .columns.push_back({SnakeCase(term.property), TypeOf(term), &term});
    }
    std::vector<SectionTable> result;
    for (auto& [section, both] : tables)
        for (SectionTable* const table : {&both.first, &both.second})
            if (!table->columns.empty())
                result.push_back(std::move(*table));
    return result;
}

std::string WithTypes(std::string text, Engine engine)
{
    for (const auto& [word, type] :
         {std::pair{" TIME", ColumnType::kTime}, std::pair{" TRUTH", ColumnType::kTruth},
          std::pair{" DATE", ColumnType::kDate}})
        for (std::size_t at = 0; (at = text.find(word, at)) != std::string::npos; ++at)
            text.replace(at + 1, std::string_view{word}.size() - 1, TypeName(engine, type));
    return text;
}

std::string StatementsFor(const SectionTable& table, Engine engine)
{
    const std::string time{TypeName(engine, ColumnType::kTime)};
    std::string text = "CREATE TABLE IF NOT EXISTS " + table.name +
                       " (machine BIGINT NOT NULL, instance BIGINT NOT NULL";
    if (!table.isLatestOnly)
        text += ", valid_from " + time + " NOT NULL, valid_to " + time;
    for (const Column& column : table.columns)
        text += ", \"" + column.name + "\" " + std::string{TypeName(engine, column.type)};
    text += table.isLatestOnly ? ", PRIMARY KEY (machine, instance))"
                               : ", PRIMARY KEY (machine, instance, valid_from))";
    // Rows beside each other are a machine's, so that what belongs together is read together.
    text += engine == Engine::kSqlite ? " WITHOUT ROWID;" : ";";
    if (!table.isLatestOnly)
        text += "CREATE INDEX IF NOT EXISTS " + table.name + "_current ON " + table.name +
                " (machine) WHERE valid_to IS NULL;";
    return text;
}

std::set<std::string> ColumnsOf(CDatabase& database, const std::string& table)
{
    std::set<std::string> columns;
    database.Query(database.engine() == Engine::kSqlite
                       ? "SELECT name FROM pragma_table_info('" + table + "')"
                       : "SELECT column_name FROM information_schema.columns WHERE table_schema = "
                         "'public' AND table_name = '" +
                             table + "'",
                   [&](std::span<const Value> row) { columns.emplace(TextIn(row[0])); });
    return columns;
}

/// @return 0 where the database has no tables of ours
std::int64_t VersionOf(CDatabase& database)
{
    if (ColumnsOf(database, "fleet_schema").empty())
        return 0;
    std::int64_t version = 0;
    database.Query("SELECT version FROM fleet_schema",
                   [&](std::span<const Value> row) { version = NumberIn(row[0]); });
    return version;
}

void RefuseNewer(std::int64_t version)
{
    if (version > kSchemaVersion)
        throw CommandError(
            ExitCode::kInput,
            "the database was made by a newer orreryctl; use that one, or another database");
}

}  // namespace

std::string SectionTable::ColumnList() const
{
    std::string list;
    for (const Column& column : columns)
        list += (list.empty() ? "\"" : ", \"") + column.name + '"';
    return list;
}

const std::vector<SectionTable>& SectionTables()
{
    static const std::vector<SectionTable> tables = MakeTables();
    return tables;
}

bool IsLatestOnly(const report::Term& term) noexcept
{
    return term.role == Role::kPassing || term.role == Role::kMoving;
}

std::string SnakeCase(std::string_view name)
{
    const auto is = [&](std::size_t at, int (*kind)(int)) {
        return at < name.size() && kind(static_cast<unsigned char>(name[at])) != 0;
    };
    std::string result;
    for (std::size_t i = 0; i < name.size(); ++i) {
        // A word begins after a small letter or a digit, and with the last capital before small ones.
        if (i > 0 && is(i, &std::isupper) &&
            (!is(i - 1, &std::isupper) || is(i + 1, &std::islower)))
            result += '_';
        result += static_cast<char>(std::tolower(static_cast<unsigned char>(name[i])));
    }
    return result;
}

std::string_view TypeName(Engine engine, ColumnType type) noexcept
{
    const bool isServer = engine == Engine::kPostgres;
    switch (type) {
        case ColumnType::kText:
            return "TEXT";
        case ColumnType::kNumber:
            return "BIGINT";
        case ColumnType::kTruth:
            return isServer ? "BOOLEAN" : "INTEGER";
        case ColumnType::kDate:
            return isServer ? "DATE" : "TEXT";
        case ColumnType::kTime:
            return isServer ? "TIMESTAMPTZ" : "TEXT";
    }
    return "TEXT";
}

void PrepareSchema(CDatabase& database)
{
    CTransaction transaction{database};
    const std::int64_t version = VersionOf(database);
    RefuseNewer(version);
    database.Run(WithTypes(std::string{kTables}, database.engine()));
    for (const SectionTable& table : SectionTables()) {
        const auto present = ColumnsOf(database, table.name);
        database.Run(StatementsFor(table, database.engine()));
        bool isNew = present.empty();
        for (const Column& column : table.columns)
            if (!present.empty() && !present.contains(column.name)) {
                isNew = true;
                database.Run("ALTER TABLE " + table.name + " ADD COLUMN \"" + column.name + "\" " +
                             std::string{TypeName(database.engine(), column.type)});
            }
        // What stood elsewhere until now moves here with the next report, whatever it says.
        if (isNew && version != 0)
            database.Run(std::string{"UPDATE "} +
                         (table.isLatestOnly ? "latest_digest" : "collected_section") +
                         " SET digest = '' WHERE section = '" + std::string{table.section} + '\'');
    }
    // Views that are as they should be are left alone: others may be reading them.
    const std::string views = ViewStatements(database.engine());
    std::string present;
    database.Query("SELECT views FROM fleet_schema",
                   [&](std::span<const Value> row) { present = TextIn(row[0]); });
    if (version != kSchemaVersion || present != views) {
        database.Run(views + "DELETE FROM fleet_schema");
        const auto writer = database.Insert("fleet_schema", "version, views");
        writer->Add(std::array<Value, 2>{std::int64_t{kSchemaVersion}, views});
        writer->Finish();
    }
    transaction.Commit();
}

void CheckSchema(CDatabase& database)
{
    const std::int64_t version = VersionOf(database);
    RefuseNewer(version);
    if (version < kSchemaVersion)
        throw CommandError(
            ExitCode::kInput,
            "the database holds no fleet; \"orreryctl fleet load FOLDER\" loads one");
}

}  // namespace orrery::fleet
