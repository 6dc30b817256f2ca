#include <algorithm>
#include <array>
#include <memory>
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
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Format {
    std::string_view name;
    void (*write)(const report::Report&, const TextSink&);
};

constexpr auto kFormats = std::to_array<Format>({
    {"json", &report::WriteJson},
    {"csv", &report::WriteCsv},
    {"html", &report::WriteHtml},
});

struct ConvertOptions {
    std::string report;
    std::string format;
    std::string output;  // empty for standard output
    bool redact = false;
};

void ConvertReport(const ConvertOptions& options)
{
    if (!options.output.empty())
        CheckOutputFile(options.output, PathFromUtf8(options.report));
    const report::Report report = OpenReport(options.report, options.redact);
    const auto format =
        std::find_if(kFormats.begin(), kFormats.end(),
                     [&options](const Format& each) { return each.name == options.format; });
    const TextSource text = [&](const TextSink& sink) { format->write(report, sink); };
    WriteOrPrint(options.output, options.output.empty() ? ForOutput(text) : text);
}

}  // namespace

void AddConvertCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    CCommand convert =
        commandLine.AddCommand("convert", "Convert a report to JSON, CSV or a page to look at");
    const auto options = std::make_shared<ConvertOptions>();
    convert.Operand("REPORT.tsv", &options->report, "The report to read");
    std::vector<std::string> names;
    for (const Format& format : kFormats)
        names.emplace_back(format.name);
    convert.Choice("--to", names, &options->format,
                   "json: grouped by section and instance\n"
                   "csv: one fact a row, for a database\n"
                   "html: a page for a browser");
    convert.TextOption("-o,--output", "FILE", &options->output,
                       "The file to write, in place of an earlier one; else standard output");
    convert.Flag("--redact", &options->redact,
                 "Replace what identifies the machine, its network or its people");
    convert.Footer(
        "All forms are UTF-8. A file appears under its name only when it is complete.\n\n"
        "Example:\n  orreryctl convert report.tsv --to html -o report.html\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    convert.Does([options] { ConvertReport(*options); });
}

}  // namespace orrery
