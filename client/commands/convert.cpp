#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/output_file.h"
#include "client/page/page.h"
#include "client/report/csv.h"
#include "client/report/json.h"
#include "client/report/report.h"
#include "client/report/source.h"
#include "client/system/console.h"
#include "client/text/utf8.h"
#include "orrery_version.h"

namespace orrery {
namespace {

struct ConvertOptions {
    std::vector<std::string> reports;
    std::string format;
    std::string output;
    bool redact = false, isQuiet = false, forSpreadsheet = false;
};

report::CsvReader CsvReaderOf(const ConvertOptions& options)
{
    return options.forSpreadsheet ? report::CsvReader::kSpreadsheet : report::CsvReader::kDatabase;
}

struct Format {
    std::string_view name;
    bool takesSeveral;
    void (*write)(const report::Report&, const report::Source&, const ConvertOptions&,
                  const TextSink&);
};

constexpr auto kFormats = std::to_array<Format>({
    {"json", false,
     [](const report::Report& report, const report::Source& source, const ConvertOptions&,
        const TextSink& sink) { report::WriteJson(report, source, sink); }},
    {"jsonl", true,
     [](const report::Report& report, const report::Source& source, const ConvertOptions&,
        const TextSink& sink) { report::WriteJsonLine(report, source, sink); }},
    {"csv", true,
     [](const report::Report& report, const report::Source& source, const ConvertOptions& options,
        const TextSink& sink) { report::WriteCsv(report, source, CsvReaderOf(options), sink); }},
    {"html", false,
     [](const report::Report& report, const report::Source&, const ConvertOptions&,
        const TextSink& sink) { report::WriteHtml(report, sink); }},
});

const Format& FormatOf(const ConvertOptions& options)
{
    const Format& format = *std::ranges::find(kFormats, options.format, &Format::name);
    if (options.reports.size() > 1 && !format.takesSeveral)
        throw CommandError(ExitCode::kInput, "--to " + options.format +
                                                 " takes one report; several make one file with "
                                                 "--to jsonl or --to csv");
    if (options.forSpreadsheet && format.name != "csv")
        throw CommandError(ExitCode::kInput, "--spreadsheet goes with --to csv only");
    return format;
}

/// A report's path tells who it is of, which a redacted one must not.
report::Source SourceOf(const ConvertOptions& options, std::size_t at)
{
    const std::string& path = options.reports[at];
    return {options.redact ? "report-" + std::to_string(at + 1) : path,
            report::FileTime(PathFromUtf8(path)), options.redact, ORRERY_VERSION_TEXT};
}

/// Hands out the reports one after another, each as soon as it is read. Of several, one that cannot be
/// read is told and left out.
/// @throws CommandError for a single report, or the last of several, when none can be read
void WriteReports(const ConvertOptions& options, const Format& format, const TextSink& sink,
                  ExitCode* result)
{
    bool isFirst = true;
    for (std::size_t at = 0; at < options.reports.size(); ++at) {
        std::optional<report::Report> report;
        try {
            report = OpenReport(options.reports[at], options.redact, {}, options.isQuiet);
        } catch (const CommandError& error) {
            if (isFirst && at + 1 == options.reports.size())
                throw;
            PrintError(error.what());
            *result = error.code();
            continue;
        }
        if (isFirst && format.name == "csv")
            report::WriteCsvHead(CsvReaderOf(options), sink);
        isFirst = false;
        format.write(*report, SourceOf(options, at), options, sink);
    }
}

void ConvertReports(const ConvertOptions& options, ExitCode* result)
{
    const Format& format = FormatOf(options);
    CheckReports(options.reports);
    for (const std::string& path : options.reports)
        CheckOutputFile(options.output, PathFromUtf8(path));
    const TextSource text = [&](const TextSink& sink) {
        WriteReports(options, format, sink, result);
    };
    WriteOrPrint(options.output, options.output == kStandardStream ? ForOutput(text) : text);
}

}  // namespace

void AddConvertCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand convert =
        commandLine.AddCommand("convert", "Convert reports to JSON, CSV or a page to look at");
    const auto options = std::make_shared<ConvertOptions>();
    convert.Operands("REPORT.tsv", &options->reports,
                     "The reports to read; more than one for jsonl and csv");
    std::vector<std::string> names;
    for (const Format& format : kFormats)
        names.emplace_back(format.name);
    convert.Choice("--to", names, &options->format,
                   "json: grouped by section and instance, with numbers as numbers\n"
                   "jsonl: the same on one line for each report\n"
                   "csv: one fact a row, for a database\n"
                   "html: a page for a browser");
    convert.OutputOption(&options->output);
    convert.RedactFlag(&options->redact);
    convert.QuietFlag(&options->isQuiet);
    convert.Flag("--spreadsheet", &options->forSpreadsheet,
                 "With csv: what Excel and LibreOffice open, with texts as texts");
    convert.Footer(
        "All forms are UTF-8. A file appears under its name only when it is complete.\n\n"
        "Of several reports, those that can be read are converted.\n\n"
        "Examples:\n  orreryctl convert report.tsv --to html -o report.html\n"
        "  orreryctl convert front-desk.tsv workshop.tsv --to csv --spreadsheet -o all.csv\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    convert.Does([options, result] { ConvertReports(*options, result); });
}

}  // namespace orrery
