#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "client/exit_codes.h"

namespace orrery {

/// The program's arguments as they were typed, in UTF-8, without its name. They come last first, as
/// the parser takes them.
std::vector<std::string> ReversedArguments(int count, char** arguments);

/// The exit codes as the help of the program and of its commands ends with them.
/// @param codes that the command gives; all when none is named
std::string ExitCodeHelp(std::initializer_list<ExitCode> codes = {});

/// Parses the arguments and runs the command they name.
/// @throws CommandError for arguments that are not understood, with what would have been right
void RunCommandLine(CLI::App& app, const std::vector<std::string>& reversedArguments);

// Each adds its command, with options, help and an example. `result` is what the program returns when
// the command ends without an error.
void AddCollectCommand(CLI::App& app, ExitCode* result);  // Windows only
void AddCollectChildCommand(CLI::App& app);               // Windows only, not for users
void AddDoctorCommand(CLI::App& app, ExitCode* result);   // Windows only
void AddShowCommand(CLI::App& app, ExitCode* result);
void AddGetCommand(CLI::App& app, ExitCode* result);
void AddConvertCommand(CLI::App& app, ExitCode* result);
void AddDiffCommand(CLI::App& app, ExitCode* result);
void AddRecordCommand(CLI::App& app, ExitCode* result);  // Windows only
void AddRedactCommand(CLI::App& app, ExitCode* result);

}  // namespace orrery
