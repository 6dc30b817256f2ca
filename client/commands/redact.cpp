#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/console.h"
#include "client/commands/redact_sidecar.h"
#include "client/system/output_file.h"
#include "client/report/writer.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::string input, output;
    std::vector<std::string> operands;  // what to write, in place of the option
    bool isQuiet = false;
};

void RedactFile(const Options& options)
{
    const bool isOption = options.output != kStandardStream;
    if (options.operands.size() + (isOption ? 1 : 0) > 1)
        throw CommandError(ExitCode::kInput,
                           "there is more than one file to write; give OUT.tsv "
                           "once, or -o");
    const std::string& output =
        options.operands.empty() ? options.output : options.operands.front();
    if (output == kStandardStream && OutputTerminal().isTerminal)
        throw CommandError(ExitCode::kInput,
                           "a terminal does not show a report; give OUT.tsv, or use \"orreryctl "
                           "show --redact\"");
    CheckOutputFile(output, PathFromUtf8(options.input));
    CSidecarCopy sidecar{options.input, output};
    const report::Report report = OpenReport(options.input, true, {}, options.isQuiet);
    sidecar.Write(report);
    WriteOrPrint(output, [&report](const TextSink& sink) { WriteReport(report, sink); });
}

}  // namespace

void AddRedactCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    CCommand redact = commandLine.AddCommand(
        "redact", "Write a copy of a report without what identifies the machine");
    const auto options = std::make_shared<Options>();
    redact.Operand("IN.tsv", &options->input, "The report to read");
    redact.MoreOperands("OUT.tsv", &options->operands,
                        "The report to write, another file than IN.tsv; the same as -o");
    redact.OutputOption(&options->output);
    redact.QuietFlag(&options->isQuiet);
    redact.Footer(
        "Serial numbers, MAC and IP addresses, names of wireless networks, of the computer, its\n"
        "domain and its user become placeholders such as \"serial-1\" or \"ip-2\"; equal values "
        "stay\n"
        "equal. Models, sizes, versions and network masks stay, and so do labels of volumes "
        "unless\n"
        "they hold one of those names. An earlier OUT.tsv is replaced when all is written.\n\n"
        "Where IN.json is the report's sidecar, OUT.json gets a copy of it, with placeholders for "
        "the\nname, the UUID and the installation.\n\n"
        "Example:\n  orreryctl redact report.tsv to-share.tsv\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    redact.Does([options] { RedactFile(*options); });
}

}  // namespace orrery
