#include <memory>
#include <string>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/console.h"
#include "client/report/find_value.h"
#include "client/text/suggestion.h"
#include "client/text/terminal_text.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::string path, name;
};

bool GetValue(const Options& options)
{
    const auto name = report::ParseValueName(options.name);
    const report::FoundValue found = report::FindValue(PathFromUtf8(options.path), name);
    PrintWarnings(options.path, found.warnings, found.completeness);
    if (!found.value) {
        const std::string suggestion = Suggestion(options.name, found.alike);
        PrintError("the report \"" + options.path + "\" has no value " + options.name +
                   (suggestion.empty()
                        ? ", in just these letters; \"orreryctl show\" shows what it has"
                        : suggestion));
        return false;
    }
    const Terminal terminal = OutputTerminal();
    const std::string text =
        terminal.isTerminal
            ? Escaped(*found.value, terminal.unicode ? Charset::kUnicode : Charset::kAscii)
            : *found.value;
    PrintOrFail(WholeText(text + '\n'));
    return true;
}

}  // namespace

void AddGetCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand get = commandLine.AddCommand("get", "Print one value of a report, for scripts");
    const auto options = std::make_shared<Options>();
    get.Operand("REPORT.tsv", &options->path, "The report to read");
    get.Operand("SECTION.PROPERTY[.INDEX]", &options->name,
                "The value to print, spelled as in the report; the index is 0 unless given");
    get.Footer(
        "Prints the value as it is, and a line feed. \"ET\" and a category stand for an elapsed "
        "time\n"
        "in milliseconds, in a report that has all of them.\n\n"
        "Examples:\n  orreryctl get report.tsv BIOS.SerialNumber\n"
        "  orreryctl get report.tsv LogicalDisk.FreeSpace.1\n"
        "  orreryctl get report.tsv ET.Network\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfGet));
    get.Does([options, result] {
        if (!GetValue(*options))
            *result = ExitCode::kNo;
    });
}

}  // namespace orrery
