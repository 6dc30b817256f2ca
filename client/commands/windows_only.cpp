#include <string>

#include "client/commands/command_line.h"

namespace orrery {
namespace {

/// Takes a command with whatever follows it, so as to say where it runs. Not in the help.
void AddRefusal(CLI::App& app, const std::string& name)
{
    CLI::App* const command = app.add_subcommand(name)->group("");
    command->set_help_flag();
    command->prefix_command();
    command->callback([name] {
        throw CommandError(ExitCode::kInput, name +
                                                 " runs on Windows only; use orreryctl.exe on the "
                                                 "PC that you want to know about");
    });
}

}  // namespace

void AddCollectCommand(CLI::App& app, ExitCode* /*result*/)
{
    AddRefusal(app, "collect");
}

void AddDoctorCommand(CLI::App& app, ExitCode* /*result*/)
{
    AddRefusal(app, "doctor");
}

void AddRecordCommand(CLI::App& app, ExitCode* /*result*/)
{
    AddRefusal(app, "record");
}

}  // namespace orrery
