#include <windows.h>

#include <memory>
#include <string>

#include "client/commands/command_line.h"
#include "client/system/console.h"
#include "client/machine/record.h"
#include "client/system/output_file.h"

namespace orrery {
namespace {

void RecordMachine(const std::string& output, bool isRedacted)
{
    // A slip must not replace a report.
    if (!output.ends_with(".machine"))
        throw CommandError(ExitCode::kInput, "the file's name \"" + output +
                                                 "\" does not end in \".machine\" in lower case; "
                                                 "use for example \"pc.machine\"");
    CheckOutputFile(output, {});
    // A drive without a medium fails instead of asking whoever sits at the machine for a disk.
    SetErrorMode(GetErrorMode() | SEM_FAILCRITICALERRORS);
    machine::Record record;
    machine::RecordWindows(&record);
    machine::RecordWmi(&record);
    if (isRedacted)
        machine::Redact(&record);
    for (const std::string& problem : record.problems)
        PrintError("not recorded: " + problem);
    WriteOutputFile(output, WholeText(machine::FormatRecord(record)));
}

}  // namespace

void AddRecordCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    CCommand record = commandLine.AddCommand(
        "record", "Write down what this PC answers to the library, so that others can replay it");
    const auto output = std::make_shared<std::string>();
    const auto isRedacted = std::make_shared<bool>(false);
    record.Operand("OUT.machine", output.get(),
                   "The file to write; its name ends in \".machine\" in lower case");
    record.Flag("--redact", isRedacted.get(),
                "Replace serial numbers, addresses, names of networks, of this PC and of its "
                "user");
    record.Footer(
        "The file is text: read it before you pass it on. It holds what reports are made of and\n"
        "nothing else of this PC; nothing is changed by asking. What could not be recorded is "
        "told\n"
        "here and at the top of the file. As an administrator more of it can be.\n\n"
        "Example:\n  orreryctl record --redact odd-pc.machine\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected}));
    record.Does([output, isRedacted] { RecordMachine(*output, *isRedacted); });
}

}  // namespace orrery
