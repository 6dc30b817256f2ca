#include <string>

#include "client/commands/command_line.h"

namespace orrery {
namespace {

/// Takes a command with whatever follows it, so as to say where it runs. Not in the help.
void AddRefusal(CCommandLine& commandLine, const std::string& name)
{
    CCommand command = commandLine.AddHiddenCommand(name);
    command.AnyArguments();
    command.Does([name] {
        throw CommandError(ExitCode::kInput, name +
                                                 " runs on Windows only; use orreryctl.exe on the "
                                                 "PC that you want to know about");
    });
}

}  // namespace

void AddCollectCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    AddRefusal(commandLine, "collect");
}

void AddDoctorCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    AddRefusal(commandLine, "doctor");
}

void AddRecordCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    AddRefusal(commandLine, "record");
}

}  // namespace orrery
