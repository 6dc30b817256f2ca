#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/commands/terminal_style.h"
#include "client/system/console.h"
#include "client/report/show.h"
#include "client/system/output_file.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::string path;
    std::vector<std::string> sections;
    std::string output;
    bool redact = false, isQuiet = false, explain = false;
};

ExitCode ShowReport(const Options& options)
{
    CheckOutputFile(options.output, PathFromUtf8(options.path));
    const report::Report report =
        OpenReport(options.path, options.redact,
                   report::KeepSelected(options.sections, options.redact), options.isQuiet);
    const auto selection = report::SelectSections(report, options.sections);
    report::ShowStyle style =
        options.output == kStandardStream ? StyleOf(OutputTerminal()) : report::ShowStyle{};
    style.explain = options.explain;
    WriteOrPrint(options.output, [&](const TextSink& sink) {
        report::WriteTables(report, selection, style, sink);
    });
    for (const std::string& section : selection.missing)
        PrintError("the section \"" + section + "\" is not in this report");
    return selection.missing.empty() ? ExitCode::kDone : ExitCode::kNo;
}

}  // namespace

void AddShowCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand show = commandLine.AddCommand("show", "Show a report as tables");
    const auto options = std::make_shared<Options>();
    show.Operand("REPORT.tsv", &options->path, "The report to show");
    show.MoreOperands("SECTION", &options->sections,
                      "Sections to show, \"ET\" for the elapsed times; all when none is named");
    show.Flag("--explain", &options->explain, "Say why values look odd, and what to do about them");
    show.OutputOption(&options->output);
    show.RedactFlag(&options->redact);
    show.QuietFlag(&options->isQuiet);
    show.Footer(
        "Empty values are shown as \"-\", and nothing stands where an instance has no such value;\n"
        "where many are empty they are only named.\n"
        "On a terminal, values that do not fit are shortened; a file or pipe gets them whole.\n\n"
        "Examples:\n  orreryctl show report.tsv\n"
        "  orreryctl show report.tsv LogicalDisk NetworkAdapter\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfShow));
    show.Does([options, result] { *result = ShowReport(*options); });
}

}  // namespace orrery
