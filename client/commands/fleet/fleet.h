#pragma once

#include <memory>
#include <string>

#include "client/commands/command_line.h"
#include "client/fleet/database.h"

namespace orrery {

/// Where a fleet is kept unless another database is named.
inline constexpr char kFleetDatabase[] = "fleet.db";

/// @throws CommandError (kInput) for an empty name, which SQLite would take for a database that nobody keeps
void CheckDatabaseName(const std::string& name);

/// Opens a database that a fleet has been loaded into.
/// @throws CommandError (kInput) where it is none
std::unique_ptr<fleet::CDatabase> OpenFleet(const std::string& name);

// The commands of "orreryctl fleet".
void AddFleetLoadCommand(CCommand& fleet, ExitCode* result);
void AddFleetAskCommand(CCommand& fleet);
void AddFleetExportCommand(CCommand& fleet, ExitCode* result);
void AddFleetPageCommand(CCommand& fleet);

}  // namespace orrery
