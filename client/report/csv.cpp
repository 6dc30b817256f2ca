#include "client/report/csv.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "client/report/machine.h"
#include "client/report/typed_json.h"
#include "client/report/typed_value.h"
#include "client/text/fold_case.h"

namespace orrery::report {
namespace {

void AppendQuoted(std::string* csv, std::string_view text)
{
    *csv += '"';
    for (const char character : text)
        csv->append(character == '"' ? 2 : 1, character);
    *csv += '"';
}

void AppendText(std::string* csv, std::string_view text)
{
    if (!text.empty() && text.find_first_of(",\"\r\n") == std::string_view::npos)
        *csv += text;
    else
        AppendQuoted(csv, text);
}

/// What a formula begins with, the wide forms of East Asian systems among them.
constexpr auto kFormulaSigns = std::to_array<std::string_view>(
    {"=", "+", "-", "@", "\t", "\r", "\uFF1D", "\uFF0B", "\uFF0D", "\uFF20"});

/// The letters that a number, a time, a date or a truth value may have besides its digits. Months are
/// known by how they begin.
constexpr auto kValueLetters = std::to_array<std::string_view>(
    {"", "a", "am", "d", "e", "false", "p", "pm", "t", "true", "tz", "z"});
constexpr auto kMonths = std::to_array<std::string_view>(
    {"apr", "aug", "dec", "feb", "jan", "jul", "jun", "mar", "may", "nov", "oct", "sep"});

/// Whether a spreadsheet may see a number, a time, a date or a truth value in a text.
bool LooksLikeValue(std::string_view text)
{
    constexpr std::size_t kLongestValue = 64;
    if (text.size() > kLongestValue && text.find_first_not_of("0123456789") != text.npos)
        return false;
    std::string letters;
    bool hasDigits = false;
    for (const char unit : text) {
        const auto byte = static_cast<unsigned char>(unit);
        if (unit >= '0' && unit <= '9')
            hasDigits = true;
        else if (byte >= 0x80 || (unit >= 'A' && unit <= 'Z') || (unit >= 'a' && unit <= 'z'))
            letters += unit;
    }
    letters = FoldCase(letters);
    if (!hasDigits)
        return letters == "true" || letters == "false";
    return std::ranges::find(kValueLetters, letters) != kValueLetters.end() ||
           std::ranges::any_of(kMonths,
                               [&](std::string_view month) { return letters.starts_with(month); });
}

bool IsFormula(std::string_view text)
{
    // Blanks before it do not count everywhere.
    const std::string_view rest = text.substr(std::min(text.find_first_not_of(' '), text.size()));
    return std::ranges::any_of(kFormulaSigns,
                               [&](std::string_view sign) { return rest.starts_with(sign); });
}

/// A text that a spreadsheet shows as it is.
std::string Guarded(std::string_view text)
{
    std::string guarded{text};
    if (IsFormula(text) || LooksLikeValue(text))
        guarded.insert(0, 1, '\'');
    return guarded;
}

/// Whether a value may be a number, or yes or no, in a cell. More digits than fifteen would be rounded.
bool IsPlain(std::string_view section, std::string_view property, const std::string& value)
{
    constexpr std::size_t kExactDigits = 15;
    if (value.size() > kExactDigits)
        return false;
    const Json typed = TypedJsonOf(section, property, value).value;
    return typed.is_number() || typed.is_boolean() || (typed.is_null() && ExactNumber(value));
}

class CCsvWriter {
public:
    CCsvWriter(const Report& report, const Source& source, CsvReader reader, const TextSink& sink)
        : isGuarded_(reader == CsvReader::kSpreadsheet), sink_(sink)
    {
        if (const std::string* const machine = MachineName(report))
            Append(&machine_, *machine);
        Append(&source_, source.name);
    }
    void Add(std::string_view section, std::string_view index, std::string_view property,
             const std::string& value)
    {
        row_ = machine_;
        row_ += ',';
        Append(&row_, section);
        row_ += ',';
        row_ += index;
        row_ += ',';
        Append(&row_, property);
        row_ += ',';
        if (isGuarded_ && IsPlain(section, property, value))
            AppendText(&row_, value);
        else
            Append(&row_, value);
        row_ += ',';
        row_ += source_;
        sink_(row_ += "\r\n");
    }

private:
    void Append(std::string* csv, std::string_view text) const
    {
        if (isGuarded_)
            AppendText(csv, Guarded(text));
        else
            AppendText(csv, text);
    }

    bool isGuarded_;
    const TextSink& sink_;
    std::string machine_, source_;
    std::string row_;  // kept for its memory
};

}  // namespace

void WriteCsvHead(CsvReader reader, const TextSink& sink)
{
    if (reader == CsvReader::kSpreadsheet)
        sink("\xEF\xBB\xBF");
    sink("machine,section,index,property,value,report\r\n");
}

void WriteCsv(const Report& report, const Source& source, CsvReader reader, const TextSink& sink)
{
    CCsvWriter writer{report, source, reader, sink};
    for (const Section& section : report.sections)
        for (const Instance& instance : section.instances)
            for (const auto& [name, value] : instance.properties)
                writer.Add(section.name, std::to_string(instance.index), name, value);
    for (std::size_t at = 0; at < report.elapsedTimes.size(); ++at)
        writer.Add("ET", std::to_string(at), ElapsedCategory(report, at), report.elapsedTimes[at]);
}

}  // namespace orrery::report
