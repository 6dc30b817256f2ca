#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "client/system/exit_codes.h"

namespace orrery {

/// The exit codes as the help of the program and of its commands ends with them.
/// @param codes that the command gives, besides kNo; all when none is named
/// @param no what kNo means; empty where it is never given
std::string ExitCodeHelp(std::initializer_list<ExitCode> codes, const std::string& no = "");

/// Takes an option's value for a number of seconds.
CLI::Validator SecondsFrom(std::uint32_t least, std::uint32_t most);

/// Parses the arguments and runs the command they name.
/// @throws CommandError for arguments that are not understood, with what would have been right
void RunCommandLine(CLI::App& app, const std::vector<std::string>& reversedArguments);

// Each adds its command, with options, help and an example. `result` is what the program returns when
// the command ends without an error. Those that need Windows say so elsewhere, and no more.
void AddCollectCommand(CLI::App& app, ExitCode* result);  // needs Windows
void AddCollectChildCommand(CLI::App& app);               // not for users, and Windows only
void AddDoctorCommand(CLI::App& app, ExitCode* result);   // needs Windows
void AddShowCommand(CLI::App& app, ExitCode* result);
void AddGetCommand(CLI::App& app, ExitCode* result);
void AddConvertCommand(CLI::App& app, ExitCode* result);
void AddDiffCommand(CLI::App& app, ExitCode* result);
void AddRecordCommand(CLI::App& app, ExitCode* result);  // needs Windows
void AddRedactCommand(CLI::App& app, ExitCode* result);

}  // namespace orrery
