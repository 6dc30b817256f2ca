#include "client/commands/command_line.h"

namespace orrery {

void AddFleetCommand(CCommandLine& commandLine, ExitCode* /*result*/)
{
    CCommand command = commandLine.AddHiddenCommand("fleet");
    command.AnyArguments();
    command.Does([] {
        throw CommandError(
            ExitCode::kInput,
            "this orreryctl was built without SQLite and PostgreSQL; use the one for "
            "Linux, where the reports are");
    });
}

}  // namespace orrery
