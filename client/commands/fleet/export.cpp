#include <filesystem>
#include <string>

#include "client/commands/fleet/fleet.h"
#include "client/fleet/export.h"
#include "client/fleet/load.h"
#include "client/fleet/schema.h"
#include "client/system/console.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::string source, folder, form = "csv";
    bool isQuiet = false;
};

/// A database of the reports in a folder that nobody keeps.
std::unique_ptr<fleet::CDatabase> LoadOnce(const std::string& folder, ExitCode* result)
{
    auto database = fleet::OpenDatabase("", true);
    fleet::PrepareSchema(*database);
    fleet::Load(*database, {folder}, "",
                {[](const fleet::LoadProgress&) {},
                 [&](const fleet::Refusal& refusal) {
                     PrintError(refusal.path + ": " + refusal.reason);
                     *result = ExitCode::kNo;
                 }});
    return database;
}

ExitCode ExportFleet(const Options& options)
{
    if (options.folder.empty())
        throw CommandError(ExitCode::kInput,
                           "-o is missing: give it the folder to write to, such as \"-o tables\"");
    ExitCode result = ExitCode::kDone;
    const bool isFolder = !fleet::IsServer(options.source) &&
                          std::filesystem::is_directory(PathFromUtf8(options.source));
    const auto database = isFolder ? LoadOnce(options.source, &result) : OpenFleet(options.source);
    const auto exported =
        fleet::Export(*database, PathFromUtf8(options.folder),
                      options.form == "csv" ? fleet::ExportForm::kCsv : fleet::ExportForm::kJsonl);
    if (!options.isQuiet)
        Print(std::to_string(exported.rows) + " rows in " + std::to_string(exported.files) +
              " files\n");
    return result;
}

}  // namespace

void AddFleetExportCommand(CCommand& fleet, ExitCode* result)
{
    CCommand command =
        fleet.AddCommand("export", "Write all tables as files for other engines and tools");
    const auto options = std::make_shared<Options>();
    command.Operand("DIR|DB", &options->source,
                    "A folder with reports, a file of SQLite, or postgresql://...");
    command.TextOption("-o,--output", "FOLDER", &options->folder, "The folder to write to");
    command.Choice("--to", "FORMAT", {"csv", "jsonl"}, &options->form,
                   "csv (the default) or jsonl");
    command.Flag("--quiet", &options->isQuiet, "Tell nothing but what is refused");
    command.Footer(
        "One file a table, and scripts that load them: load.duckdb.sql, load.clickhouse.sql and\n"
        "load.postgresql.sql, to be run in the folder.\n\n"
        "Example:\n  orreryctl fleet export fleet.db -o tables --to csv\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfExport));
    command.Does([options, result] { *result = ExportFleet(*options); });
}

}  // namespace orrery
