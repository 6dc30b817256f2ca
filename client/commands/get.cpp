#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/report/find_value.h"
#include "client/report/reader.h"
#include "client/system/console.h"
#include "client/system/output_file.h"
#include "client/text/terminal_text.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::string path, format = "text", output;
    bool redact = false, isQuiet = false;
    std::vector<std::string> names;
};

/// One value a line, as they are; a terminal is not sent what it would act on.
std::string ValueLines(const report::Lookup& lookup, const Terminal& terminal)
{
    const Charset charset = terminal.unicode ? Charset::kUnicode : Charset::kAscii;
    std::string lines;
    for (const auto& found : lookup.found)
        for (const auto& each : found.values)
            lines += (terminal.isTerminal ? Escaped(each.value, charset) : each.value) + '\n';
    return lines;
}

ExitCode GetValues(const Options& options)
{
    std::vector<report::ValueName> names;
    for (const std::string& name : options.names)
        names.push_back(report::ParseValueName(name));
    CheckOutputFile(options.output, PathFromUtf8(options.path));
    const report::Lookup lookup =
        report::FindValues(PathFromUtf8(options.path), names, options.redact);
    if (!options.isQuiet)
        PrintWarnings(options.path, lookup.warnings, lookup.completeness);
    const Terminal terminal = options.output == kStandardStream ? OutputTerminal() : Terminal{};
    const bool isJson = options.format == "json";
    const TextSource text = WholeText(
        isJson ? report::FormatValuesJson(options.redact ? "report-1" : options.path, lookup)
               : ValueLines(lookup, terminal));
    WriteOrPrint(options.output, isJson && terminal.isTerminal ? ForOutput(text) : text);
    ExitCode result = ExitCode::kDone;
    for (const auto& [name, values, hint, isUnknown] : lookup.found) {
        if (!values.empty())
            continue;
        PrintError("the report " + report::Quoted(PathFromUtf8(options.path)) + " has no value " +
                   name.text + (hint.empty() ? "; \"orreryctl show\" shows what it has" : hint));
        result = std::max(result, isUnknown ? ExitCode::kInput : ExitCode::kNo);
    }
    return result;
}

}  // namespace

void AddGetCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand get = commandLine.AddCommand("get", "Print values of a report, for scripts");
    const auto options = std::make_shared<Options>();
    get.Operand("REPORT.tsv", &options->path, "The report to read");
    get.Operands("SECTION.PROPERTY[.INDEX]", &options->names,
                 "The values to print, in any letter case; the index is 0 unless given");
    get.Choice("--to", "FORMAT", {"text", "json"}, &options->format, "text (unless given) or json");
    get.OutputOption(&options->output);
    get.RedactFlag(&options->redact);
    get.QuietFlag(&options->isQuiet);
    get.Footer(
        "Prints the values as they are, each with a line feed. In place of an index, \"*\" stands\n"
        "for all instances, and SECTION[PROPERTY=VALUE] chooses instances by another property.\n"
        "\"ET\" and a category stand for an elapsed time in milliseconds, in a report that has "
        "all\n"
        "of them.\n\n"
        "Examples:\n  orreryctl get report.tsv BIOS.SerialNumber ComputerSystem.Name\n"
        "  orreryctl get report.tsv LogicalDisk.FreeSpace.1\n"
        "  orreryctl get report.tsv LogicalDisk.*.FreeSpace --to json\n"
        "  orreryctl get report.tsv \"NetworkAdapter[NetConnectionStatus=Connected].IPAddress\"\n"
        "  orreryctl get report.tsv ET.Network\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfGet));
    get.Does([options, result] { *result = GetValues(*options); });
}

}  // namespace orrery
