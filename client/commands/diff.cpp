#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/console.h"
#include "client/system/output_file.h"
#include "client/report/diff.h"
#include "client/report/diff_text.h"
#include "client/report/redact.h"
#include "client/report/section_digests.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct DiffOptions {
    std::string before, after;
    std::string format = "text";
    std::string output;
    bool withPassing = false, redact = false, isQuiet = false;
};

std::string FormatChanges(const std::vector<report::SectionChange>& changes,
                          const report::DiffStates& states, const DiffOptions& options)
{
    const bool isText = options.format != "json";
    const report::DiffNames names =
        options.redact ? report::DiffNames{"report-1", "report-2"}
        : isText       ? report::DiffNames{ReportName(options.before), ReportName(options.after)}
                       : report::DiffNames{options.before, options.after};
    if (options.format == "json")
        return report::FormatDiffJson(changes, names, options.withPassing, states);
    if (changes.empty())
        return std::string{"No differences"} +
               (states.areAlike() ? "" : " up to where a report is cut") +
               (options.withPassing
                    ? ".\n"
                    : ", leaving out elapsed and start times, leases, free space and the clock.\n");
    const Terminal terminal = options.output == kStandardStream ? OutputTerminal() : Terminal{};
    const bool isAscii = terminal.isTerminal && !terminal.unicode;
    return report::FormatDiff(changes, names, terminal.isTerminal ? terminal.columns : 0,
                              isAscii ? Charset::kAscii : Charset::kUnicode) +
           '\n' + CountOfChanges(changes) + '\n';
}

/// What keeps the facts that have to be compared.
report::FactFilter FilterFor(const DiffOptions& options)
{
    // What is equal may hold what has to be replaced elsewhere, and a pipe is read once.
    if (options.redact || options.before == kStandardStream || options.after == kStandardStream)
        return {};
    return report::KeepDifferingSections(PathFromUtf8(options.before), PathFromUtf8(options.after),
                                         options.withPassing);
}

/// Tells when placeholders are compared with what they stand for.
void NoteRedaction(const report::Report& before, const report::Report& after,
                   const DiffOptions& options)
{
    const bool isOldRedacted = report::IsRedacted(before);
    if (options.isQuiet || isOldRedacted == report::IsRedacted(after))
        return;
    PrintError("note: " + ReportName(isOldRedacted ? options.before : options.after) +
               " is redacted and " + ReportName(isOldRedacted ? options.after : options.before) +
               " is not, so names, serial numbers and addresses differ; redact both");
}

ExitCode DiffReports(const DiffOptions& options)
{
    CheckReports({options.before, options.after});
    CheckOutputFile(options.output, PathFromUtf8(options.before));
    CheckOutputFile(options.output, PathFromUtf8(options.after));
    const auto isKept = FilterFor(options);
    report::Report before = OpenReport(options.before, false, isKept, options.isQuiet);
    report::Report after = OpenReport(options.after, false, isKept, options.isQuiet);
    NoteRedaction(before, after, options);
    if (options.redact)
        report::RedactTogether(&before, &after);
    const auto changes = report::CompareReports(before, after, options.withPassing);
    const report::DiffStates states{before.completeness, after.completeness};
    // Scripts tell trouble from a difference by its code.
    const TextSource text = WholeText(FormatChanges(changes, states, options));
    if (options.output == kStandardStream)
        PrintOrFail(options.format == "json" ? ForOutput(text) : text, ExitCode::kInput);
    else
        WriteOutputFile(options.output, text);
    return changes.empty() && states.areAlike() ? ExitCode::kDone : ExitCode::kNo;
}

}  // namespace

void AddDiffCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand diff = commandLine.AddCommand("diff", "Show what changed between two reports");
    const auto options = std::make_shared<DiffOptions>();
    diff.Operand("OLD.tsv", &options->before, "The earlier report");
    diff.Operand("NEW.tsv", &options->after, "The later report");
    diff.Choice("--to", "FORMAT", {"text", "json"}, &options->format,
                "text (unless given) or json");
    diff.Flag("--all", &options->withPassing,
              "Compare elapsed and start times, leases, free space and the clock, too");
    diff.OutputOption(&options->output);
    diff.RedactFlag(&options->redact);
    diff.QuietFlag(&options->isQuiet);
    diff.Footer(
        "Disks, adapters, modules and the like are matched by what identifies them, not by their\n"
        "index: + was added, - was removed, ~ changed. A section that one report does not have at\n"
        "all is \"not collected\" there; this counts as a difference. Where a report is cut the\n"
        "comparison ends, and the reports are not the same.\n\n"
        "Example:\n  orreryctl diff monday.tsv friday.tsv\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfDiff));
    diff.Does([options, result] { *result = DiffReports(*options); });
}

}  // namespace orrery
