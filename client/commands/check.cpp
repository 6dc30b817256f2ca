#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/console.h"
#include "client/report/completeness_json.h"
#include "client/report/ordered_json.h"
#include "client/report/report.h"
#include "client/system/output_file.h"
#include "client/text/terminal_text.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::vector<std::string> paths;
    std::string format = "text", output;
    bool isQuiet = false;
};

/// What was found out about the reports.
struct Answers {
    ExitCode worst = ExitCode::kDone;
    std::string lines;
    report::Json reports = report::Json::array();
};

ExitCode CodeOf(const report::Completeness& completeness)
{
    return completeness.isCut()                                        ? ExitCode::kInput
           : completeness.state == report::Completeness::State::kWhole ? ExitCode::kDone
                                                                       : ExitCode::kNo;
}

ExitCode CheckReport(const std::string& path, const Options& options, Charset charset,
                     Answers* answers)
{
    const auto keepNothing = [](std::string_view, std::string_view) { return false; };
    report::Report report = report::ReadReport(PathFromUtf8(path), keepNothing);
    // What is odd about single lines does not make a report less whole.
    std::erase_if(report.warnings, [](const report::Warning& each) { return each.line != 0; });
    if (!options.isQuiet)
        PrintWarnings(path, report.warnings, {});
    const ExitCode code = CodeOf(report.completeness);
    const std::string text = Describe(report.completeness);
    if (code != ExitCode::kDone || !options.isQuiet)
        answers->lines += Escaped(ReportName(path), charset) + ": " +
                          (text.empty() ? "the report is whole" : text) + '\n';
    answers->reports.push_back({{"report", path}, {"completeness", ToJson(report.completeness)}});
    return code;
}

/// @return the worst of the answers
ExitCode CheckAllReports(const Options& options)
{
    CheckReports(options.paths);
    for (const std::string& path : options.paths)
        CheckOutputFile(options.output, PathFromUtf8(path));
    const Terminal terminal = OutputTerminal();
    const bool isShown = options.output == kStandardStream && terminal.isTerminal;
    const Charset charset = isShown && !terminal.unicode ? Charset::kAscii : Charset::kUnicode;
    Answers answers;
    for (const std::string& path : options.paths) {
        ExitCode code = ExitCode::kInput;
        try {
            code = CheckReport(path, options, charset, &answers);
        } catch (const CommandError& error) {
            if (error.code() != ExitCode::kInput)
                throw;
            PrintError(error.what());
            answers.reports.push_back({{"report", path}, {"error", error.what()}});
        }
        answers.worst = std::max(answers.worst, code);
    }
    if (options.format == "json") {
        const TextSource text = WholeText(report::Dump({{"format", "orrery-check"},
                                                        {"formatVersion", 1},
                                                        {"reports", std::move(answers.reports)}}) +
                                          '\n');
        WriteOrPrint(options.output, isShown ? ForOutput(text) : text);
    } else {
        WriteOrPrint(options.output, WholeText(std::move(answers.lines)));
    }
    return answers.worst;
}

}  // namespace

void AddCheckCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand check = commandLine.AddCommand("check", "Say whether reports are whole, for scripts");
    const auto options = std::make_shared<Options>();
    check.Operands("REPORT.tsv", &options->paths, "The reports to check");
    check.Choice("--to", "FORMAT", {"text", "json"}, &options->format,
                 "text (unless given) or json");
    check.OutputOption(&options->output);
    check.Flag("--quiet", &options->isQuiet,
               "Print errors and reports that are not whole only, no warnings and notes");
    check.Footer(
        "A report is whole when it ends as a run of all categories ends one. A run that was\n"
        "cancelled in time lacks categories; what else is missing was cut off, by a full disk\n"
        "or a copy that was broken off, and the report cannot be used. Of several reports the\n"
        "worst one counts.\n\n"
        "Example:\n  orreryctl check monday.tsv friday.tsv\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfCheck));
    check.Does([options, result] { *result = CheckAllReports(*options); });
}

}  // namespace orrery
