#include "client/fleet/ask.h"

#include <algorithm>
#include <array>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/text/terminal_text.h"

namespace orrery::fleet {
namespace {

using RowSink = std::function<void(std::span<const Value>)>;

std::vector<std::string> ColumnsOf(const View& view)
{
    std::vector<std::string> columns;
    for (std::size_t begin = 0; begin < view.columns.size();) {
        const std::size_t end = std::min(view.columns.find(", ", begin), view.columns.size());
        columns.emplace_back(view.columns.substr(begin, end - begin));
        begin = end + 2;
    }
    return columns;
}

void Ask(CDatabase& database, const View& view, const std::optional<std::string>& bound,
         const RowSink& onRow)
{
    std::string condition{view.condition};
    if (bound)
        condition.replace(condition.find('%'), 1,
                          view.option == "since" ? "$1" : "CAST($1 AS BIGINT)");
    const std::string statement = "SELECT " + std::string{view.columns} + " FROM " +
                                  std::string{bound ? view.whole : view.name} +
                                  (bound ? " WHERE " + condition : "") + " ORDER BY " +
                                  std::string{view.order};
    std::vector<Value> parameters;
    if (bound)
        parameters.emplace_back(std::string_view{*bound});
    database.Query(statement, parameters, onRow);
}

std::string TextOf(const Value& value)
{
    if (const auto* const number = std::get_if<std::int64_t>(&value))
        return std::to_string(*number);
    return std::string{TextIn(value)};
}

void WriteTable(const std::vector<std::string>& columns,
                const std::function<void(const RowSink&)>& rows, const TextSink& sink)
{
    std::vector<std::vector<std::string>> table{columns};
    std::vector<bool> isNumber(columns.size());
    std::vector<std::size_t> widths(columns.size());
    rows([&](std::span<const Value> row) {
        auto& texts = table.emplace_back();
        for (std::size_t i = 0; i < row.size(); ++i) {
            isNumber[i] = isNumber[i] || std::holds_alternative<std::int64_t>(row[i]);
            texts.push_back(Escaped(TextOf(row[i]), Charset::kUnicode));
        }
    });
    for (const auto& row : table)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], Columns(row[i]));
    std::string line;
    for (const auto& row : table) {
        line.clear();
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string blanks(widths[i] - Columns(row[i]), ' ');
            line += i == 0 ? "" : "  ";
            line += isNumber[i] ? blanks + row[i] : row[i] + blanks;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        sink(line += '\n');
    }
}

}  // namespace

void AppendCsv(const Value& value, std::string* row)
{
    const auto* const text = std::get_if<std::string_view>(&value);
    if (text == nullptr) {
        *row += TextOf(value);
        return;
    }
    if (!text->empty() && text->find_first_of(",\"\r\n") == std::string_view::npos) {
        *row += *text;
        return;
    }
    *row += '"';
    for (const char unit : *text)
        row->append(unit == '"' ? 2 : 1, unit);
    *row += '"';
}

void WriteAnswer(CDatabase& database, const View& view, const std::optional<std::string>& bound,
                 AnswerForm form, const TextSink& sink)
{
    const auto columns = ColumnsOf(view);
    const auto rows = [&](const RowSink& onRow) { Ask(database, view, bound, onRow); };
    std::string line;
    switch (form) {
        case AnswerForm::kTable:
            WriteTable(columns, rows, sink);
            return;
        case AnswerForm::kCsv:
            for (const std::string& column : columns)
                line += (line.empty() ? "" : ",") + column;
            sink(line += "\r\n");
            rows([&](std::span<const Value> row) {
                line.clear();
                for (std::size_t i = 0; i < row.size(); ++i) {
                    line += i == 0 ? "" : ",";
                    AppendCsv(row[i], &line);
                }
                sink(line += "\r\n");
            });
            return;
        case AnswerForm::kJson: {
            bool isFirst = true;
            sink("[");
            rows([&](std::span<const Value> row) {
                nlohmann::ordered_json object = nlohmann::ordered_json::object();
                for (std::size_t i = 0; i < row.size(); ++i) {
                    auto& member = object[columns[i]];
                    if (const auto* const number = std::get_if<std::int64_t>(&row[i]))
                        member = *number;
                    else if (!IsNull(row[i]))
                        member = std::string{TextIn(row[i])};
                }
                sink((isFirst ? "\n" : ",\n") +
                     object.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
                isFirst = false;
            });
            sink(isFirst ? "]\n" : "\n]\n");
            return;
        }
    }
}

std::int64_t VolumesLeftOut(CDatabase& database, const View& view)
{
    std::int64_t count = 0;
    if (view.leavesOutVolumes)
        database.Query(kVolumesOfNoDrive,
                       [&](std::span<const Value> row) { count = NumberIn(row[0]); });
    return count;
}

}  // namespace orrery::fleet
