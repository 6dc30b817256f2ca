#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/console.h"
#include "client/report/report.h"
#include "client/text/terminal_text.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

ExitCode CheckReport(const std::string& path)
{
    const Terminal terminal = OutputTerminal();
    const Charset charset =
        terminal.isTerminal && !terminal.unicode ? Charset::kAscii : Charset::kUnicode;
    const auto keepNothing = [](std::string_view, std::string_view) { return false; };
    const auto completeness = report::ReadReport(PathFromUtf8(path), keepNothing).completeness;
    const std::string text = Describe(completeness);
    PrintOrFail(WholeText(Escaped(path, charset) + ": " +
                          (text.empty() ? "the report is whole" : text) + '\n'));
    using State = report::Completeness::State;
    return completeness.state == State::kWhole ? ExitCode::kDone
           : completeness.isCut()              ? ExitCode::kInput
                                               : ExitCode::kNo;
}

/// @return the worst of the answers
ExitCode CheckReports(const std::vector<std::string>& paths)
{
    ExitCode worst = ExitCode::kDone;
    for (const std::string& path : paths) {
        ExitCode code = ExitCode::kInput;
        try {
            code = CheckReport(path);
        } catch (const CommandError& error) {
            if (error.code() != ExitCode::kInput)
                throw;
            PrintError(error.what());
        }
        worst = std::max(worst, code);
    }
    return worst;
}

}  // namespace

void AddCheckCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand check = commandLine.AddCommand("check", "Say whether reports are whole, for scripts");
    const auto paths = std::make_shared<std::vector<std::string>>();
    check.Operands("REPORT.tsv", paths.get(), "The reports to check");
    check.Footer(
        "A report is whole when it ends as a run of all categories ends one. A run that was\n"
        "cancelled in time lacks categories; what else is missing was cut off, by a full disk\n"
        "or a copy that was broken off, and the report cannot be used. Of several reports the\n"
        "worst one counts.\n\n"
        "Example:\n  orreryctl check monday.tsv friday.tsv\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfCheck));
    check.Does([paths, result] { *result = CheckReports(*paths); });
}

}  // namespace orrery
