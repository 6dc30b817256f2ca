#include "client/fleet/export.h"

#include <algorithm>
#include <functional>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/fleet/ask.h"
#include "client/fleet/history.h"
#include "client/fleet/schema.h"
#include "client/system/exit_codes.h"
#include "client/system/new_file.h"

namespace orrery::fleet {
namespace {

/// A file of the export: a table with its columns.
struct ExportTable {
    std::string name;
    std::vector<std::pair<std::string, ColumnType>> columns;
    bool isView = false;  ///< whose times are texts already
};

using enum ColumnType;

/// The tables that are none of a section.
const std::vector<ExportTable>& OtherTables()
{
    static const std::vector<ExportTable> tables{
        {"machine",
         {{"machine", kNumber},
          {"name", kText},
          {"maker", kText},
          {"model", kText},
          {"serial", kText},
          {"uuid", kText},
          {"installation", kText},
          {"identity", kText},
          {"first_seen", kTime},
          {"last_seen", kTime}}},
        {"collected",
         {{"machine", kNumber},
          {"section", kText},
          {"digest", kText},
          {"since", kTime},
          {"seen", kTime},
          {"complete", kTruth},
          {"rights", kText},
          {"empty", kText}},
         true},
        {"other_fact",
         {{"machine", kNumber},
          {"section", kText},
          {"property", kText},
          {"instance", kNumber},
          {"valid_from", kTime},
          {"valid_to", kTime},
          {"value", kText}}},
        {"elapsed",
         {{"machine", kNumber},
          {"place", kNumber},
          {"category", kText},
          {"milliseconds", kNumber},
          {"value", kText},
          {"at", kTime},
          {"complete", kTruth}}},
        {"change",
         {{"machine", kNumber},
          {"at", kTime},
          {"section", kText},
          {"place", kNumber},
          {"day", kDate},
          {"label", kText},
          {"property", kText},
          {"before", kText},
          {"after", kText}}},
        {"machine_conflict", {{"machine", kNumber}, {"other", kNumber}, {"reason", kText}}},
        {"machine_event",
         {{"machine", kNumber}, {"at", kTime}, {"event", kText}, {"detail", kText}}},
        {"machine_placeholder", {{"machine", kNumber}, {"property", kText}, {"value", kText}}},
    };
    return tables;
}

std::vector<ExportTable> AllTables()
{
    std::vector<ExportTable> tables = OtherTables();
    for (const SectionTable& section : SectionTables()) {
        ExportTable table{section.name, {{"machine", kNumber}, {"instance", kNumber}}};
        if (!section.isLatestOnly) {
            table.columns.emplace_back("valid_from", kTime);
            table.columns.emplace_back("valid_to", kTime);
        }
        for (const Column& column : section.columns)
            table.columns.emplace_back(column.name, column.type);
        tables.push_back(std::move(table));
    }
    return tables;
}

std::string QueryFor(const ExportTable& table, Engine engine)
{
    std::string list;
    for (const auto& [name, type] : table.columns) {
        const std::string quoted = '"' + name + '"';
        list += list.empty() ? "" : ", ";
        list += type == kTime && !table.isView ? TimeText(engine, quoted)
                : type == kDate && engine == Engine::kPostgres
                    ? "to_char(" + quoted + ", 'YYYY-MM-DD')"
                    : quoted;
    }
    return "SELECT " + list + " FROM " + table.name + " ORDER BY 1, 2, 3" +
           (table.columns.size() > 4 ? ", 4, 5" : "");
}

std::string CsvRow(const ExportTable& table, std::span<const Value> row)
{
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        line += i == 0 ? "" : ",";
        if (table.columns[i].second == kTruth && !IsNull(row[i]))
            line += NumberIn(row[i]) != 0 ? "true" : "false";
        else
            AppendCsv(row[i], &line);
    }
    return line + "\r\n";
}

std::string JsonRow(const ExportTable& table, std::span<const Value> row)
{
    nlohmann::ordered_json object = nlohmann::ordered_json::object();
    for (std::size_t i = 0; i < row.size(); ++i) {
        auto& member = object[table.columns[i].first];
        if (IsNull(row[i]))
            continue;
        if (table.columns[i].second == kTruth)
            member = NumberIn(row[i]) != 0;
        else if (const auto* const number = std::get_if<std::int64_t>(&row[i]))
            member = *number;
        else
            member = std::string{TextIn(row[i])};
    }
    return object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) + '\n';
}

/// How an engine's script names the types and loads a file.
struct Script {
    const char* name;
    const char *text, *number, *truth, *date, *time;
    std::function<std::string(const ExportTable&, const std::string& columns, ExportForm)> load;
    const char *before = "", *after = "";

    const char* TypeOf(ColumnType type) const
    {
        switch (type) {
            case kNumber:
                return number;
            case kTruth:
                return truth;
            case kDate:
                return date;
            case kTime:
                return time;
            default:
                return text;
        }
    }
};

std::string DuckColumns(const ExportTable& table, const Script& script)
{
    std::string columns;
    for (const auto& [name, type] : table.columns)
        columns += (columns.empty() ? "'" : ", '") + name + "': '" + script.TypeOf(type) + '\'';
    return columns;
}

std::vector<Script> Scripts()
{
    Script duck{"load.duckdb.sql", "VARCHAR", "BIGINT", "BOOLEAN", "DATE", "TIMESTAMPTZ", {}};
    const Script types = duck;
    duck.load = [types](const ExportTable& table, const std::string&, ExportForm form) {
        const std::string columns = "columns = {" + DuckColumns(table, types) + "}";
        return "CREATE OR REPLACE TABLE \"" + table.name + "\" AS SELECT * FROM " +
               (form == ExportForm::kCsv
                    ? "read_csv('" + table.name +
                          ".csv', header = true, delim = ',', quote = '\"', escape = '\"', nullstr "
                          "= '', "
                          "allow_quoted_nulls = false, auto_detect = false, parallel = false, "
                          "max_line_size = 16777216, " +
                          columns + ")"
                    : "read_json('" + table.name + ".jsonl', format = 'newline_delimited', " +
                          columns + ")") +
               ";\nCOPY \"" + table.name + "\" TO '" + table.name + ".parquet' (FORMAT parquet);\n";
    };
    const Script click{
        "load.clickhouse.sql",
        "Nullable(String)",
        "Nullable(Int64)",
        "Nullable(Bool)",
        "Nullable(Date32)",
        "Nullable(DateTime64(0, 'UTC'))",
        [](const ExportTable& table, const std::string& columns, ExportForm form) {
            return "CREATE OR REPLACE TABLE `" + table.name + "` (" + columns +
                   ") ENGINE = MergeTree ORDER BY tuple();\nINSERT INTO `" + table.name +
                   "` FROM INFILE '" + table.name +
                   (form == ExportForm::kCsv
                        ? ".csv' SETTINGS format_csv_null_representation = '', "
                          "input_format_csv_empty_as_default = 0, date_time_input_format = "
                          "'best_effort' "
                          "FORMAT CSVWithNames;\n"
                        : ".jsonl' SETTINGS date_time_input_format = 'best_effort' FORMAT "
                          "JSONEachRow;\n");
        }};
    const Script postgres{
        "load.postgresql.sql",
        "TEXT",
        "BIGINT",
        "BOOLEAN",
        "DATE",
        "TIMESTAMPTZ",
        [](const ExportTable& table, const std::string& columns, ExportForm form) {
            const std::string create = "DROP TABLE IF EXISTS \"" + table.name +
                                       "\";\nCREATE TABLE \"" + table.name + "\" (" + columns +
                                       ");\n";
            if (form == ExportForm::kCsv)
                return create + "\\copy \"" + table.name + "\" FROM '" + table.name +
                       ".csv' WITH (FORMAT csv, HEADER true)\n";
            // No line of JSON holds these two, so that each is one value.
            return create + "CREATE TEMP TABLE lines (line jsonb);\n\\copy lines FROM '" +
                   table.name +
                   ".jsonl' WITH (FORMAT csv, QUOTE E'\\x01', DELIMITER E'\\x02')\nINSERT INTO \"" +
                   table.name + "\" SELECT r.* FROM lines, jsonb_populate_record(NULL::\"" +
                   table.name + "\", line) r;\nDROP TABLE lines;\n";
        },
        "\\set ON_ERROR_STOP on\nSET client_encoding = 'UTF8';\nSET client_min_messages = "
        "warning;\nBEGIN;\n",
        "COMMIT;\n"};
    return {duck, click, postgres};
}

void Publish(CNewFile& file, const std::filesystem::path& path)
{
    if (const std::error_code error = file.Publish())
        throw CommandError(ExitCode::kReport,
                           "cannot write " + path.string() + ": " + error.message());
}

}  // namespace

ExportResult Export(CDatabase& database, const std::filesystem::path& folder, ExportForm form)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
        throw CommandError(ExitCode::kReport, "the folder \"" + folder.string() +
                                                  "\" cannot be made: " + error.message() +
                                                  "; choose another one");
    ExportResult result;
    const auto tables = AllTables();
    for (const ExportTable& table : tables) {
        const auto path = folder / (table.name + (form == ExportForm::kCsv ? ".csv" : ".jsonl"));
        CNewFile file{path};
        if (form == ExportForm::kCsv) {
            std::string head;
            for (const auto& [name, type] : table.columns)
                head += (head.empty() ? "" : ",") + name;
            file.Write(head + "\r\n");
        }
        database.Query(QueryFor(table, database.engine()), [&](std::span<const Value> row) {
            file.Write(form == ExportForm::kCsv ? CsvRow(table, row) : JsonRow(table, row));
            ++result.rows;
        });
        Publish(file, path);
        ++result.files;
    }
    for (const Script& script : Scripts()) {
        const auto path = folder / script.name;
        CNewFile file{path};
        file.Write(script.before);
        for (const ExportTable& table : tables) {
            std::string columns;
            for (const auto& [name, type] : table.columns)
                columns += (columns.empty() ? "\"" : ", \"") + name + "\" " + script.TypeOf(type);
            file.Write(script.load(table, columns, form));
        }
        file.Write(script.after);
        Publish(file, path);
        ++result.files;
    }
    return result;
}

}  // namespace orrery::fleet
