#include "client/commands/open_report.h"

#include "client/console.h"
#include "client/exit_codes.h"
#include "client/report/reader.h"
#include "client/report/redact.h"

namespace orrery {

report::Report OpenReport(const std::string& path, bool redact)
{
    report::Report report = report::ReadReport(report::PathFromUtf8(path));
    if (redact)
        report::Redact(&report);
    PrintWarnings(path, report.warnings);
    return report;
}

void PrintWarnings(const std::string& path, const std::vector<report::Warning>& warnings)
{
    for (const report::Warning& warning : warnings) {
        std::string message = "warning: \"" + path + '"';
        if (warning.line != 0)
            message += ", line " + std::to_string(warning.line);
        PrintError(message + ": " + warning.text);
    }
}

void PrintOrFail(const std::string& text)
{
    if (!Print(text))
        throw CommandError(ExitCode::kReport,
                           "standard output does not take the text; check the space on its disk");
}

}  // namespace orrery
