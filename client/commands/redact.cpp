#include <memory>
#include <string>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/output_file.h"
#include "client/report/writer.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

void RedactFile(const std::string& input, const std::string& output)
{
    CheckOutputFile(output, PathFromUtf8(input));
    const report::Report report = OpenReport(input, true);
    WriteOutputFile(output, [&report](const TextSink& sink) { WriteReport(report, sink); });
}

}  // namespace

void AddRedactCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    CCommand redact = commandLine.AddCommand(
        "redact", "Write a copy of a report without what identifies the machine");
    const auto input = std::make_shared<std::string>(), output = std::make_shared<std::string>();
    redact.Operand("IN.tsv", input.get(), "The report to read");
    redact.Operand("OUT.tsv", output.get(), "The report to write; another file than IN.tsv");
    redact.Footer(
        "Serial numbers, MAC and IP addresses, names of wireless networks, of the computer, its\n"
        "domain and its user become placeholders such as \"serial-1\" or \"ip-2\"; equal values "
        "stay\n"
        "equal. Models, sizes, versions and network masks stay, and so do labels of volumes "
        "unless\n"
        "they hold one of those names. An earlier OUT.tsv is replaced when all is written.\n\n"
        "Example:\n  orreryctl redact report.tsv to-share.tsv\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    redact.Does([input, output] { RedactFile(*input, *output); });
}

}  // namespace orrery
