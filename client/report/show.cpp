#include "client/report/show.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string_view>
#include <unordered_map>

#include "client/system/exit_codes.h"
#include "client/report/elapsed_times.h"
#include "client/report/known_values.h"
#include "client/text/fold_case.h"
#include "client/report/redact.h"
#include "client/report/units.h"
#include "client/report/vocabulary.h"
#include "client/text/suggestion.h"

namespace orrery::report {
namespace {

constexpr std::string_view kElapsedName = "ET";
constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 12;    // a column is not shortened below this
constexpr std::size_t kMostColumns = 30;  // of a table; more are for blocks
constexpr std::size_t kMostEmpty = 3;     // values that stand on lines of their own
constexpr std::string_view kEmptyLabel = "Empty";

struct Cell {
    std::string text;
    std::size_t width = 0;
    bool toRight = false;
    bool isNothing = false;  // an empty value, or none
};

using Row = std::vector<Cell>;

/// Whether a section is the one that a user means, in any letter case.
bool IsMeant(std::string_view section, std::string_view name)
{
    return FoldCase(section) == FoldCase(name);
}

/// Whether a property names the instances of a section: it comes first, the others keep their order.
bool IsName(std::string_view section, std::string_view property)
{
    const std::string_view known = TermsOf(section).empty() ? std::string_view{} : section;
    const Term* const term = FindTerm(known, property);
    return term != nullptr && term->label == Label::kName;
}

Cell MakeCell(std::string text, bool toRight = false)
{
    const std::size_t width = Columns(text);
    return {std::move(text), width, toRight, false};
}

Cell ValueCell(std::string_view section, const Property& property, const ShowStyle& style)
{
    if (property.value.empty())
        return {"-", 1, false, true};
    const ReadableValue value = Readable(section, property.name, property.value);
    return MakeCell(Escaped(value.text, style.values), value.isNumber);
}

enum class Emphasis { kHeading, kFaint, kBar };

std::string Emphasized(const std::string& text, Emphasis emphasis, const ShowStyle& style)
{
    if (!style.colours || text.empty())
        return text;
    std::string shown = emphasis == Emphasis::kHeading ? "\x1B[1m"
                        : emphasis == Emphasis::kFaint ? "\x1B[2m"
                                                       : "\x1B[36m";
    return shown.append(text).append("\x1B[0m");
}

/// Lines below a table, faint as what is no value.
std::string EmphasizedLines(const std::string& lines, const ShowStyle& style)
{
    std::string text = lines;
    if (text.ends_with('\n'))
        text.pop_back();
    return Emphasized(text, Emphasis::kFaint, style) + '\n';
}

/// The cell in a column of that width; the last one of a line without blanks after it.
std::string Padded(const Cell& cell, std::size_t width, bool isLast, const ShowStyle& style)
{
    const std::string text =
        cell.width > width ? Shortened(cell.text, width, style.charset) : cell.text;
    const std::size_t blanks =
        width - std::min(width, cell.width > width ? Columns(text) : cell.width);
    if (cell.toRight)
        return std::string(blanks, ' ') + text;
    return text + std::string(isLast ? 0 : blanks, ' ');
}

}  // namespace

std::string FormatHeading(const std::string& name, const std::string& note, const ShowStyle& style)
{
    std::string shown = Escaped(name, style.values);
    if (style.shorten)
        shown = Shortened(shown, style.columns - std::min(style.columns / 2, kGap + note.size()),
                          style.charset);
    std::string text = Emphasized(shown, Emphasis::kHeading, style);
    if (!note.empty())
        text.append(kGap, ' ').append(Emphasized(note, Emphasis::kFaint, style));
    return text.append(1, '\n');
}

namespace {

bool HasNoValue(const Property* property)
{
    return property->value.empty();
}

std::string Joined(const std::vector<std::string>& names)
{
    std::string text;
    for (const std::string& name : names)
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

/// Properties below each other, those that name the instance first and many empty ones together.
std::string FormatProperties(const Section& section, const Instance& instance,
                             const ShowStyle& style)
{
    std::vector<const Property*> ordered;
    for (const Property& property : instance.properties)
        ordered.push_back(&property);
    std::stable_partition(ordered.begin(), ordered.end(), [&section](const Property* property) {
        return IsName(section.name, property->name);
    });

    std::vector<Cell> names;
    std::size_t nameWidth = 0;
    for (const Property* property : ordered) {
        names.push_back(MakeCell(Escaped(property->name, style.values)));
        nameWidth = std::max(nameWidth, names.back().width);
    }
    const bool isFolded = static_cast<std::size_t>(std::count_if(ordered.begin(), ordered.end(),
                                                                 &HasNoValue)) > kMostEmpty;
    if (isFolded)
        nameWidth = std::max(nameWidth, kEmptyLabel.size());
    // A name as long as a line must not push all values out of sight.
    nameWidth = std::min(nameWidth, std::max(style.columns / 2, kNarrowest));
    const std::size_t taken = kGap + nameWidth + kGap;
    const std::size_t room = std::max(style.columns, taken + kNarrowest) - taken;

    std::string text;
    std::vector<std::string> empty;
    for (std::size_t at = 0; at < ordered.size(); ++at) {
        if (isFolded && HasNoValue(ordered[at])) {
            empty.push_back(names[at].text);
            continue;
        }
        Cell value = ValueCell(section.name, *ordered[at], style);
        value.toRight = false;
        const std::size_t width = style.shorten ? std::min(room, value.width) : value.width;
        text += std::string(kGap, ' ') +
                Emphasized(Padded(names[at], nameWidth, false, style), Emphasis::kFaint, style) +
                std::string(kGap, ' ') + Padded(value, width, true, style) + '\n';
    }
    if (!isFolded)
        return text;
    std::string list = Wrapped(Joined(empty), taken, taken + room);
    const Cell label = MakeCell(std::string{kEmptyLabel});
    list.replace(kGap, nameWidth,
                 Emphasized(Padded(label, nameWidth, false, style), Emphasis::kFaint, style));
    return text + list;
}

/// The names of all properties of a section in the order of the columns, or none when they are too
/// many or the table would mostly be empty.
std::vector<std::string_view> ColumnNames(const Section& section)
{
    std::vector<std::string_view> names;
    for (const Instance& instance : section.instances) {
        for (const Property& property : instance.properties) {
            if (std::find(names.begin(), names.end(), property.name) == names.end())
                names.push_back(property.name);
            if (names.size() > kMostColumns)
                return {};
        }
    }
    std::stable_partition(names.begin(), names.end(), [&section](std::string_view property) {
        return IsName(section.name, property);
    });
    return names;
}

std::vector<Row> TableRows(const Section& section, const std::vector<std::string_view>& names,
                           const ShowStyle& style)
{
    Row heading{MakeCell("#", true)};
    std::unordered_map<std::string_view, std::size_t> places;
    for (const std::string_view name : names) {
        places.emplace(name, heading.size());
        heading.push_back(MakeCell(Escaped(name, style.values)));
    }
    std::vector<Row> rows{heading};
    for (const Instance& instance : section.instances) {
        Row row(heading.size(), Cell{"", 0, false, true});
        row.front() = MakeCell(std::to_string(instance.index), true);
        for (const Property& property : instance.properties)
            row[places[property.name]] = ValueCell(section.name, property, style);
        rows.push_back(std::move(row));
    }
    // To the right only where all are numbers, with the heading above them.
    for (std::size_t column = 1; column < heading.size(); ++column) {
        const auto isText = [column](const Row& row) {
            return !row[column].toRight && !row[column].isNothing;
        };
        const auto isNumber = [column](const Row& row) { return row[column].toRight; };
        const bool toRight = std::none_of(rows.begin() + 1, rows.end(), isText) &&
                             std::any_of(rows.begin() + 1, rows.end(), isNumber);
        for (Row& row : rows)
            row[column].toRight = toRight;
    }
    return rows;
}

/// Takes out the columns in which no row has a value.
/// @param kept how many of the first ones stay all the same
/// @return their names
std::vector<std::string> TakeEmptyColumns(std::size_t kept, std::vector<Row>* rows)
{
    std::vector<std::string> names;
    for (std::size_t column = rows->front().size(); column-- > std::max<std::size_t>(kept, 1);) {
        const bool isLast = rows->front().size() == 2;
        const bool isEmpty = std::all_of(rows->begin() + 1, rows->end(), [column](const Row& row) {
            return row[column].isNothing;
        });
        if (!isEmpty || isLast)
            continue;
        names.insert(names.begin(), rows->front()[column].text);
        for (Row& row : *rows)
            row.erase(row.begin() + static_cast<std::ptrdiff_t>(column));
    }
    return names;
}

std::vector<std::size_t> NaturalWidths(const std::vector<Row>& rows)
{
    std::vector<std::size_t> widths(rows.front().size(), 0);
    for (const Row& row : rows)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].width);
    return widths;
}

/// The widths, the widest ones narrowed until a line fits in.
/// @return none when that cannot be done
std::optional<std::vector<std::size_t>> NarrowColumns(std::vector<std::size_t> widths,
                                                      const ShowStyle& style)
{
    std::size_t total = 0;
    for (const std::size_t width : widths)
        total += kGap + width;
    while (total > style.columns) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (!style.shorten || *widest <= kNarrowest)
            return std::nullopt;
        // A value of a million characters must not take a million rounds.
        const std::size_t less = std::min(total - style.columns, *widest - kNarrowest);
        const std::size_t step = std::max<std::size_t>(1, less / widths.size());
        *widest -= step;
        total -= step;
    }
    return widths;
}

/// The columns of each part of a table that is folded so that its lines fit in.
using Parts = std::vector<std::vector<std::size_t>>;

/// @param named how many columns tell which instance a row is: the index, and the first name where
///              there is one. Each part has them.
Parts FoldColumns(const std::vector<std::size_t>& widths, std::size_t named, const ShowStyle& style)
{
    Parts parts;
    std::size_t used = style.columns;
    for (std::size_t column = 1; column < widths.size(); ++column) {
        if (used + kGap + widths[column] > style.columns) {
            parts.push_back({0});
            used = kGap + widths[0];
            for (std::size_t name = 1; name < std::min(named, column); ++name) {
                parts.back().push_back(name);
                used += kGap + widths[name];
            }
        }
        parts.back().push_back(column);
        used += kGap + widths[column];
    }
    return parts;
}

/// Whether there are no more than two parts, none of them too wide.
bool FitsIn(const Parts& parts, const std::vector<std::size_t>& widths, const ShowStyle& style)
{
    return parts.size() <= 2 && std::all_of(parts.begin(), parts.end(), [&](const auto& columns) {
               std::size_t used = 0;
               for (const std::size_t column : columns)
                   used += kGap + widths[column];
               return used <= style.columns;
           });
}

std::string FormatPart(const std::vector<Row>& rows, const std::vector<std::size_t>& columns,
                       const std::vector<std::size_t>& widths, const ShowStyle& style)
{
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (const std::size_t column : columns)
            line += std::string(kGap, ' ') +
                    Padded(row[column], widths[column], column == columns.back(), style);
        while (line.ends_with(' '))
            line.pop_back();
        const bool isHeading = &row == &rows.front();
        text += (isHeading ? Emphasized(line, Emphasis::kFaint, style) : line) + '\n';
    }
    return text;
}

/// No column wider than what has the table fit in, or as narrow as they may be.
std::vector<std::size_t> CappedColumns(const std::vector<std::size_t>& whole, std::size_t named,
                                       const ShowStyle& style)
{
    std::vector<std::size_t> widths;
    for (std::size_t cap = std::max(style.columns, kNarrowest); cap >= kNarrowest; --cap) {
        widths = whole;
        for (std::size_t& width : widths)
            width = std::min(width, cap);
        if (FitsIn(FoldColumns(widths, named, style), widths, style))
            break;
    }
    return widths;
}

/// The instances as rows, in one part or two; empty when that does not fit in, unless it is forced
/// into as many parts as it takes.
std::string FormatTable(const Section& section, const ShowStyle& style, bool isForced)
{
    const auto names = ColumnNames(section);
    if (names.empty())
        return "";
    auto rows = TableRows(section, names, style);
    const bool isNamed = IsName(section.name, names.front());
    const auto empty = TakeEmptyColumns(isNamed ? 2 : 1, &rows);
    const std::size_t named = isNamed ? 2 : 1;
    const auto whole = NaturalWidths(rows);
    auto widths = NarrowColumns(whole, style).value_or(whole);
    // Two parts say more than one in which many columns are cut.
    constexpr std::size_t kMostCut = 2;
    std::size_t cut = 0;
    for (std::size_t column = 0; column < whole.size(); ++column)
        cut += widths[column] < whole[column] ? 1u : 0u;
    if (cut > kMostCut && FitsIn(FoldColumns(whole, named, style), whole, style))
        widths = whole;
    Parts parts = FoldColumns(widths, named, style);
    if (!FitsIn(parts, widths, style)) {
        if (!isForced)
            return "";
        widths = CappedColumns(whole, named, style);
        parts = FoldColumns(widths, named, style);
    }
    std::string text;
    for (const auto& columns : parts)
        text.append(text.empty() ? 0 : 1, '\n').append(FormatPart(rows, columns, widths, style));
    if (!empty.empty())
        text += EmphasizedLines(
            Wrapped(std::string{kEmptyLabel} + ": " + Joined(empty), kGap, style.columns), style);
    return text;
}

/// The instances one after the other.
std::string FormatBlocks(const Section& section, const ShowStyle& style)
{
    std::string text;
    for (const Instance& instance : section.instances) {
        std::string number(kGap, ' ');
        number.append(1, '#').append(std::to_string(instance.index));
        text.append(text.empty() ? 0 : 1, '\n')
            .append(Emphasized(number, Emphasis::kHeading, style))
            .append(1, '\n')
            .append(FormatProperties(section, instance, style));
    }
    return text;
}

/// Why values of the section are as they are, each reason once.
std::string FormatReasons(const Section& section, const ShowStyle& style)
{
    std::vector<std::string> reasons;
    for (const Instance& instance : section.instances)
        for (const auto& [name, value] : instance.properties) {
            const std::string_view why = ExplainValue(section.name, name, value);
            if (why.empty())
                continue;
            const std::string shown =
                Escaped(Readable(section.name, name, value).text, style.values);
            std::string reason = Escaped(name, style.values) + " is " +
                                 (value.empty() ? "empty" : '"' + shown + '"') + ": ";
            reason += why;
            constexpr std::size_t kMost = 100;  // a report may say anything
            if (reasons.size() < kMost &&
                std::find(reasons.begin(), reasons.end(), reason) == reasons.end())
                reasons.push_back(std::move(reason));
        }
    std::string text;
    for (const std::string& reason : reasons)
        text += Wrapped(reason, kGap, style.columns);
    return text.empty() ? text : '\n' + EmphasizedLines(text, style);
}

std::string FormatSection(const Section& section, const ShowStyle& style)
{
    const std::size_t count = section.instances.size();
    if (count == 1 && section.instances.front().index == 0)
        return FormatHeading(section.name, "", style) +
               FormatProperties(section, section.instances.front(), style);
    const std::string table = FormatTable(section, style, false);
    return FormatHeading(section.name,
                         std::to_string(count) + (count == 1 ? " instance" : " instances"), style) +
           (table.empty() ? FormatBlocks(section, style) : table);
}

Cell TimeCell(const ElapsedTime& time, const ShowStyle& style)
{
    const std::string value = time.value.empty() ? "-" : Escaped(time.value, style.values);
    return MakeCell(time.milliseconds ? value + " ms" : value, true);
}

std::string FormatElapsedTimes(const Report& report, const ShowStyle& style)
{
    const std::size_t count = report.elapsedTimes.size();
    std::string text = FormatHeading("Elapsed times", "slowest first", style);
    if (count != kCategories.size())
        text += "  " + std::to_string(count) + " of " + std::to_string(kCategories.size()) +
                " categories, numbered as in the report\n";
    const auto times = SlowestFirst(report);
    std::size_t nameWidth = 0, timeWidth = 0;
    for (const ElapsedTime& time : times) {
        nameWidth = std::max(nameWidth, Columns(time.name));
        timeWidth = std::max(timeWidth, TimeCell(time, style).width);
    }
    timeWidth = std::min(timeWidth, style.shorten ? style.columns / 2 : timeWidth);
    constexpr std::size_t kLongestBar = 60;
    const std::size_t taken = kGap + nameWidth + kGap + timeWidth + kGap;
    const std::size_t length =
        std::min(kLongestBar, style.columns > taken ? style.columns - taken : 0);
    const auto slowest = times.empty() ? 0 : times.front().milliseconds.value_or(0);
    for (const ElapsedTime& time : times) {
        const double share = slowest <= 0 ? 0.0
                                          : static_cast<double>(time.milliseconds.value_or(0)) /
                                                static_cast<double>(slowest);
        const std::string bar =
            Emphasized(BarText(share, length, style.charset), Emphasis::kBar, style);
        text += std::string(kGap, ' ') + Padded(MakeCell(time.name), nameWidth, false, style) +
                std::string(kGap, ' ') + Padded(TimeCell(time, style), timeWidth, false, style) +
                std::string(bar.empty() ? 0 : kGap, ' ') + bar + '\n';
    }
    return text;
}

[[noreturn]] void FailSelection(const Report& report, const std::string& name)
{
    std::vector<std::string> known;
    std::string list;
    for (const Section& section : report.sections)
        known.push_back(section.name);
    if (!report.elapsedTimes.empty())
        known.emplace_back(kElapsedName);
    for (const std::string& section : known)
        list += (list.empty() ? "" : ", ") + section;
    // What this report has is meant before what others may have.
    std::string suggestion = Suggestion(name, known);
    if (suggestion.empty())
        suggestion = Suggestion(name, KnownSections());
    throw CommandError(ExitCode::kInput,
                       "there is no section \"" + name + '"' + suggestion +
                           "\nThe report has: " + (known.empty() ? "nothing" : list));
}

/// A section that reports may have, as they spell it.
std::optional<std::string> KnownSection(const std::string& name)
{
    for (std::string& known : KnownSections())
        if (IsMeant(known, name))
            return std::move(known);
    return std::nullopt;
}

}  // namespace

FactFilter KeepSelected(const std::vector<std::string>& names, bool withSecrets)
{
    if (names.empty())
        return {};
    // Most facts are of the same section as the one before.
    return [names, withSecrets, last = std::string{}, isSelected = false](
               std::string_view section, std::string_view property) mutable {
        if (section != last) {
            last = section;
            isSelected = std::any_of(names.begin(), names.end(), [section](const auto& name) {
                return IsMeant(section, name);
            });
        }
        return isSelected || (withSecrets && SecretOf(section, property) != Secret::kNothing);
    };
}

Selection SelectSections(const Report& report, const std::vector<std::string>& names)
{
    Selection selection;
    selection.elapsedTimes = names.empty() && !report.elapsedTimes.empty();
    if (names.empty())
        for (const Section& section : report.sections)
            selection.sections.push_back(&section);
    for (const std::string& name : names) {
        const auto matches = [&name](const Section& section) {
            return IsMeant(section.name, name);
        };
        const bool isElapsed = IsMeant(kElapsedName, name) && !report.elapsedTimes.empty();
        selection.elapsedTimes = selection.elapsedTimes || isElapsed;
        const Section* found = report.Find(name);
        if (const auto close =
                std::find_if(report.sections.begin(), report.sections.end(), matches);
            found == nullptr && close != report.sections.end())
            found = &*close;
        if (found == nullptr && !isElapsed) {
            auto known = KnownSection(name);
            if (!known)
                FailSelection(report, name);
            selection.missing.push_back(std::move(*known));
        }
        auto& chosen = selection.sections;
        if (found != nullptr && std::find(chosen.begin(), chosen.end(), found) == chosen.end())
            chosen.push_back(found);
    }
    return selection;
}

void WriteRows(const Section& section, const ShowStyle& style, const TextSink& sink)
{
    ShowStyle wide = style;
    if (!style.shorten)
        wide.columns = std::numeric_limits<std::size_t>::max() / 2;
    const std::string count = std::to_string(section.instances.size());
    sink(FormatHeading(section.name, count + (count == "1" ? " instance" : " instances"), style) +
         FormatTable(section, wide, true));
}

void WriteTables(const Report& report, const Selection& selection, const ShowStyle& style,
                 const TextSink& sink)
{
    std::string_view separator;
    const auto write = [&](const std::string& part) {
        sink(separator);
        sink(part);
        separator = "\n";
    };
    for (const Section* section : selection.sections)
        write(FormatSection(*section, style) +
              (style.explain ? FormatReasons(*section, style) : ""));
    if (selection.elapsedTimes)
        write(FormatElapsedTimes(report, style));
}

}  // namespace orrery::report
