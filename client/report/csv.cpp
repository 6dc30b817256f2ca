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

/// The letters that a number, a time, a date or a truth value may have besides its digits.
constexpr auto kValueWords = std::to_array<std::string_view>(
    {"a", "am", "d", "e", "false", "p", "pm", "t", "true", "z", "\u00A3", "\u00A5", "\u20AC"});
/// Months of the languages whose spreadsheets are most used; the first three letters will do.
constexpr auto kMonths = std::to_array<std::string_view>(
    {"abril",     "agosto",     "ao\u00FBt", "april",     "august",        "avril",
     "december",  "dezember",   "dicembre",  "diciembre", "d\u00E9cembre", "enero",
     "february",  "febrero",    "februar",   "febbraio",  "f\u00E9vrier",  "gennaio",
     "giugno",    "january",    "janvier",   "januar",    "juillet",       "juin",
     "july",      "julio",      "june",      "junio",     "juli",          "juni",
     "luglio",    "maggio",     "mai",       "march",     "marzo",         "mars",
     "may",       "mayo",       "m\u00E4rz", "november",  "novembre",      "noviembre",
     "october",   "octobre",    "octubre",   "oktober",   "ottobre",       "september",
     "septembre", "septiembre", "settembre"});

bool IsValueWord(std::string_view word)
{
    constexpr std::size_t kShortestMonth = 3;
    return std::ranges::find(kValueWords, word) != kValueWords.end() ||
           (word.size() >= kShortestMonth &&
            std::ranges::any_of(
                kMonths, [word](std::string_view month) { return month.starts_with(word); }));
}

/// The text with "0" for the wide digits of East Asian systems.
std::string WithPlainDigits(std::string_view text)
{
    constexpr std::string_view kWideStart = "\xEF\xBC";
    std::string plain{text};
    for (std::size_t at = 0; (at = plain.find(kWideStart, at)) != std::string::npos; ++at) {
        const auto last = static_cast<unsigned char>(at + 2 < plain.size() ? plain[at + 2] : 0);
        if (last >= 0x90 && last <= 0x99)
            plain.replace(at, 3, 1, '0');
    }
    return plain;
}

/// Whether a spreadsheet may see a number, a time, a date or a truth value in a text: it holds digits,
/// and no words but those of such values.
bool LooksLikeValue(std::string_view text)
{
    constexpr std::size_t kLongestValue = 256;
    if (text.size() > kLongestValue)
        return text.find_first_not_of("0123456789") == std::string_view::npos;
    const std::string folded = FoldCase(WithPlainDigits(text));
    if (folded == "true" || folded == "false")
        return true;
    bool hasDigits = false;
    std::string word;
    for (const char unit : folded + ' ') {
        const auto byte = static_cast<unsigned char>(unit);
        if (byte >= 0x80 || (unit >= 'a' && unit <= 'z')) {
            word += unit;
            continue;
        }
        hasDigits = hasDigits || (unit >= '0' && unit <= '9');
        if (!word.empty() && !IsValueWord(word))
            return false;
        word.clear();
    }
    return hasDigits;
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

/// Whether a value may be a number in a cell. More digits than fifteen would be rounded.
bool IsPlain(std::string_view section, std::string_view property, const std::string& value)
{
    constexpr std::size_t kExactDigits = 15;
    return value.size() <= kExactDigits && ExactNumber(value) &&
           !TypedJsonOf(section, property, value).value.is_string();
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
