#include "client/fleet/ask.h"

#include <algorithm>
#include <array>
#include <vector>

#include <nlohmann/json.hpp>

#include "client/text/terminal_text.h"

namespace orrery::fleet {
namespace {

constexpr std::size_t kGap = 2;  // between the columns of a table

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

/// Writes some columns of a table. What is too long for the last one goes on in lines of its own.
void WriteColumns(const std::vector<std::vector<std::string>>& table,
                  const std::vector<std::size_t>& columns, const std::vector<std::size_t>& widths,
                  const std::vector<bool>& isNumber, Charset charset, const TextSink& sink)
{
    std::string line;
    for (const auto& row : table) {
        line.clear();
        std::size_t begin = 0;
        for (const std::size_t i : columns) {
            std::string text = row[i];
            if (Columns(text) > widths[i])
                text = i == columns.back() ? Wrapped(text, begin, begin + widths[i]).substr(begin)
                                           : Shortened(text, widths[i], charset);
            text.erase(text.find_last_not_of('\n') + 1);
            const std::string blanks(widths[i] - std::min(Columns(text), widths[i]), ' ');
            line += begin == 0 ? "" : "  ";
            line += isNumber[i] ? blanks + text : text + blanks;
            begin += widths[i] + kGap;
        }
        line.erase(line.find_last_not_of(' ') + 1);
        sink(line += '\n');
    }
}

/// The columns of each part of a table. What tells the rows apart begins each part.
std::vector<std::vector<std::size_t>> PartsOf(std::size_t leading, std::size_t columns,
                                              std::vector<std::size_t>* widths)
{
    std::vector<std::size_t> lead;
    std::size_t leadWidth = 0;
    for (std::size_t i = 0; i < leading; ++i) {
        auto& width = (*widths)[i];
        width = std::min(width, columns / 3);
        leadWidth += width + kGap;
        lead.push_back(i);
    }
    std::vector<std::vector<std::size_t>> parts{lead};
    std::size_t used = leadWidth;
    for (std::size_t i = leading; i < widths->size(); ++i) {
        auto& width = (*widths)[i];
        width = std::min(width, columns - leadWidth);
        if (used + width > columns) {
            parts.push_back(lead);
            used = leadWidth;
        }
        parts.back().push_back(i);
        used += width + kGap;
    }
    return parts;
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

void WriteTable(CDatabase& database, const View& view, const std::optional<std::string>& bound,
                const report::ShowStyle& style, const TextSink& sink)
{
    std::vector<std::vector<std::string>> table{ColumnsOf(view)};
    const std::size_t count = table.front().size();
    std::vector<bool> isNumber(count);
    std::vector<std::size_t> widths(count);
    Ask(database, view, bound, [&](std::span<const Value> row) {
        auto& texts = table.emplace_back();
        for (std::size_t i = 0; i < row.size(); ++i) {
            isNumber[i] = isNumber[i] || std::holds_alternative<std::int64_t>(row[i]);
            texts.push_back(Escaped(TextOf(row[i]), style.values));
        }
    });
    for (const auto& row : table)
        for (std::size_t i = 0; i < count; ++i)
            widths[i] = std::max(widths[i], Columns(row[i]));
    const std::size_t leading = table.front().front() == "machine" ? 2 : 1;
    std::size_t longest = 0;
    for (const std::size_t width : widths)
        longest += width + kGap;
    const auto parts = PartsOf(leading, style.shorten ? style.columns : longest, &widths);
    for (const auto& columns : parts) {
        if (&columns != &parts.front())
            sink("\n");
        WriteColumns(table, columns, widths, isNumber, style.charset, sink);
    }
}

void WriteAnswer(CDatabase& database, const View& view, const std::optional<std::string>& bound,
                 AnswerForm form, const TextSink& sink)
{
    const auto columns = ColumnsOf(view);
    const auto rows = [&](const RowSink& onRow) { Ask(database, view, bound, onRow); };
    std::string line;
    switch (form) {
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
