#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/commands/terminal_style.h"
#include "client/system/console.h"
#include "client/report/show.h"

namespace orrery {
namespace {

struct Options {
    std::string path;
    std::vector<std::string> sections;
    bool redact = false;
};

void ShowReport(const Options& options)
{
    const report::Report report = OpenReport(
        options.path, options.redact, report::KeepSelected(options.sections, options.redact));
    const auto selection = report::SelectSections(report, options.sections);
    const report::ShowStyle style = StyleOf(OutputTerminal());
    PrintOrFail([&](const TextSink& sink) { report::WriteTables(report, selection, style, sink); });
}

}  // namespace

void AddShowCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    CCommand show = commandLine.AddCommand("show", "Show a report as tables");
    const auto options = std::make_shared<Options>();
    show.Operand("REPORT.tsv", &options->path, "The report to show");
    show.MoreOperands("SECTION", &options->sections,
                      "Sections to show, \"ET\" for the elapsed times; all when none is named");
    show.Flag("--redact", &options->redact,
              "Show placeholders instead of serial numbers, addresses and names");
    show.Footer(
        "Empty values are shown as \"-\", and nothing stands where an instance has no such value.\n"
        "On a terminal, values that do not fit are shortened; a file or pipe gets them whole.\n\n"
        "Examples:\n  orreryctl show report.tsv\n"
        "  orreryctl show report.tsv LogicalDisk NetworkAdapter\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    show.Does([options] { ShowReport(*options); });
}

}  // namespace orrery
