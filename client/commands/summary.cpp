#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/commands/terminal_style.h"
#include "client/report/profile_text.h"
#include "client/system/console.h"
#include "client/system/output_file.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::vector<std::string> paths;
    std::string format = "text", output;
    bool redact = false, isQuiet = false;
};

/// The reports that can be read. Of several, one that cannot be read is told and left out.
std::vector<report::NamedReport> OpenReports(const Options& options, ExitCode* result)
{
    std::vector<report::NamedReport> reports;
    for (const std::string& path : options.paths) {
        try {
            const std::string number = std::to_string(reports.size() + 1);
            reports.push_back({options.redact ? "report-" + number : path,
                               OpenReport(path, options.redact, {}, options.isQuiet)});
        } catch (const CommandError& error) {
            if (options.paths.size() == 1)
                throw;
            PrintError(error.what());
            *result = error.code();
        }
    }
    return reports;
}

ExitCode Summarize(const Options& options)
{
    CheckReports(options.paths);
    for (const std::string& path : options.paths)
        CheckOutputFile(options.output, PathFromUtf8(path));
    ExitCode result = ExitCode::kDone;
    const auto reports = OpenReports(options, &result);
    if (reports.empty())
        return result;
    if (options.format == "json") {
        const TextSource text = WholeText(report::FormatProfilesJson(reports));
        WriteOrPrint(options.output, options.output == kStandardStream ? ForOutput(text) : text);
        return result;
    }
    const report::ShowStyle style =
        options.output == kStandardStream ? StyleOf(OutputTerminal()) : report::ShowStyle{};
    WriteOrPrint(options.output,
                 [&](const TextSink& sink) { report::WriteProfiles(reports, style, sink); });
    return result;
}

}  // namespace

void AddSummaryCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand summary =
        commandLine.AddCommand("summary", "Show what a PC is, on one screen; several as a table");
    const auto options = std::make_shared<Options>();
    summary.Operands("REPORT.tsv", &options->paths, "The reports to read, one for each PC");
    summary.Choice("--to", "FORMAT", {"text", "json"}, &options->format,
                   "text for people (the default), or json");
    summary.OutputOption(&options->output);
    summary.RedactFlag(&options->redact);
    summary.QuietFlag(&options->isQuiet);
    summary.Footer(
        "What a report does not tell is left out. Of several reports, those that can be read are\n"
        "shown.\n\n"
        "Examples:\n  orreryctl summary report.tsv\n"
        "  orreryctl summary front-desk.tsv workshop.tsv --to json\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    summary.Does([options, result] { *result = Summarize(*options); });
}

}  // namespace orrery
