#include "client/commands/fleet/fleet.h"

#include "client/fleet/schema.h"

namespace orrery {

void CheckDatabaseName(const std::string& name)
{
    // Such as the variable of a script that was never set.
    if (name.empty())
        throw CommandError(ExitCode::kInput,
                           "the name of the database is empty; give that of a file, or "
                           "postgresql://...");
}

std::unique_ptr<fleet::CDatabase> OpenFleet(const std::string& name)
{
    CheckDatabaseName(name);
    auto database = fleet::OpenDatabase(name, false);
    fleet::CheckSchema(*database);
    return database;
}

void AddFleetCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand fleet = commandLine.AddCommand(
        "fleet", "Keep the reports of many PCs in a database and answer from it");
    AddFleetLoadCommand(fleet, result);
    AddFleetAskCommand(fleet);
    AddFleetPageCommand(fleet);
    AddFleetExportCommand(fleet, result);
    fleet.Footer(
        "Examples:\n  orreryctl fleet load reports\n"
        "  orreryctl fleet ask windows11");
}

}  // namespace orrery
