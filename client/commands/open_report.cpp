#include "client/commands/open_report.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "client/system/console.h"
#include "client/system/output_file.h"
#include "client/report/redact.h"
#include "client/text/utf8.h"

namespace orrery {

report::Report OpenReport(const std::string& path, bool redact, const report::FactFilter& isKept,
                          bool isQuiet)
{
    report::Report report = report::ReadReport(PathFromUtf8(path), isKept);
    if (redact)
        report::Redact(&report);
    if (!isQuiet)
        PrintWarnings(path, report.warnings, report.completeness);
    return report;
}

std::string ReportName(const std::string& path)
{
    return path == kStandardStream ? "standard input" : path;
}

void CheckReports(const std::vector<std::string>& paths)
{
    if (std::count(paths.begin(), paths.end(), kStandardStream) > 1)
        throw CommandError(ExitCode::kInput,
                           "standard input, \"-\", can be read once only; name a file for all "
                           "reports but one");
}

void PrintWarnings(const std::string& path, const std::vector<report::Warning>& warnings,
                   const report::Completeness& completeness)
{
    const std::string start =
        "warning: " + (path == kStandardStream ? ReportName(path) : '"' + path + '"');
    if (const std::string text = Describe(completeness); !text.empty())
        PrintError(start + ": " + text);
    for (const report::Warning& warning : warnings) {
        std::string message = start;
        if (warning.line != 0)
            message += ", line " + std::to_string(warning.line);
        PrintError(message + ": " + warning.text);
    }
}

void PrintOrFail(const TextSource& text, ExitCode failure)
{
    constexpr std::size_t kPartBytes = 65536;
    std::string waiting;
    bool isTaken = true;
    text([&](std::string_view part) {
        waiting += part;
        if (waiting.size() < kPartBytes)
            return;
        isTaken = isTaken && Print(waiting);
        waiting.clear();
    });
    if (!isTaken || !Print(waiting))
        throw CommandError(failure,
                           "standard output does not take the text; check that its disk has space "
                           "left and its reader still runs");
}

TextSource ForOutput(TextSource text)
{
    const Terminal terminal = OutputTerminal();
    if (!terminal.isTerminal)
        return text;
    return [text = std::move(text), terminal](const TextSink& sink) {
        std::string rest;  // the line that has not ended yet, so that no character is cut
        text([&](std::string_view part) {
            rest += part;
            const std::size_t whole = rest.rfind('\n') + 1;  // 0 without an end
            sink(ShownOn(terminal, std::string_view{rest}.substr(0, whole)));
            rest.erase(0, whole);
        });
        sink(ShownOn(terminal, rest));
    };
}

void WriteOrPrint(const std::string& output, const TextSource& text)
{
    if (output == kStandardStream)
        PrintOrFail(text);
    else
        WriteOutputFile(output, text);
}

}  // namespace orrery
