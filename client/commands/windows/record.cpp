#include <windows.h>

#include <array>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/system/console.h"
#include "client/machine/record.h"
#include "client/system/output_file.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::string output;
    bool isRedacted = false, isForced = false, isQuiet = false;
};

/// A file that may have been passed on must not come to hold what it was meant to leave out.
void KeepRedacted(const Options& options)
{
    std::array<char, 4096> start{};
    std::ifstream earlier{PathFromUtf8(options.output), std::ios::binary};
    earlier.read(start.data(), start.size());
    if (machine::SaysRedacted({start.data(), static_cast<std::size_t>(earlier.gcount())}))
        throw CommandError(ExitCode::kInput,
                           '"' + options.output +
                               "\" is redacted and would be replaced by what is not; give "
                               "--redact, another name, or --force to replace it all the same");
}

void RecordMachine(const Options& options)
{
    const bool isFile = options.output != kStandardStream;
    // A slip must not replace a report.
    if (isFile && !options.output.ends_with(".machine"))
        throw CommandError(ExitCode::kInput, "the file's name \"" + options.output +
                                                 "\" does not end in \".machine\" in lower case; "
                                                 "use for example \"pc.machine\"");
    CheckOutputFile(options.output, {});
    if (isFile && !options.isRedacted && !options.isForced)
        KeepRedacted(options);
    // A drive without a medium fails instead of asking whoever sits at the machine for a disk.
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS);
    machine::Record record;
    machine::RecordWindows(&record);
    machine::RecordWmi(&record);
    if (options.isRedacted)
        machine::Redact(&record);
    if (!options.isQuiet)
        for (const std::string& problem : record.problems)
            PrintError("not recorded: " + problem);
    WriteOrPrint(options.output, WholeText(machine::FormatRecord(record)));
}

}  // namespace

void AddRecordCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    CCommand record = commandLine.AddCommand(
        "record", "Write down what this PC answers to the library, so that others can replay it");
    const auto options = std::make_shared<Options>();
    record.Operand("OUT.machine", &options->output,
                   "The file to write; its name ends in \".machine\" in lower case. \"-\" is "
                   "standard output");
    record.Flag("--redact", &options->isRedacted,
                "Replace serial numbers, addresses, names of networks, of this PC and of its "
                "user");
    record.Flag("--force", &options->isForced, "Replace a redacted file even by one that is not");
    record.QuietFlag(&options->isQuiet);
    record.Footer(
        "The file is text: read it before you pass it on. It holds what reports are made of and\n"
        "nothing else of this PC; nothing is changed by asking. What could not be recorded is "
        "told\n"
        "here and at the top of the file. As an administrator more of it can be.\n\n"
        "Example:\n  orreryctl record --redact odd-pc.machine\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    record.Does([options] { RecordMachine(*options); });
}

}  // namespace orrery
