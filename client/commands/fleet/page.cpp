#include <string>

#include "client/commands/fleet/fleet.h"
#include "client/fleet/pages.h"
#include "client/system/console.h"
#include "client/text/utf8.h"

namespace orrery {
namespace {

struct Options {
    std::string database = kFleetDatabase, folder;
    bool isQuiet = false;
};

void WriteFleetPages(const Options& options)
{
    if (options.folder.empty())
        throw CommandError(ExitCode::kInput,
                           "-o is missing: give it the folder to write to, such as \"-o pages\"");
    const auto database = OpenFleet(options.database);
    const auto count = fleet::WritePages(*database, PathFromUtf8(options.folder));
    if (!options.isQuiet)
        Print(std::to_string(count) + (count == 1 ? " PC" : " PCs") + "; open " + options.folder +
              "/index.html\n");
}

}  // namespace

void AddFleetPageCommand(CCommand& fleet)
{
    CCommand command = fleet.AddCommand("page", "Write the fleet as pages to look at");
    const auto options = std::make_shared<Options>();
    command.TextOption(
        "--from", "DATABASE", &options->database,
        "A file of SQLite, or postgresql://... (else fleet.db in the current folder)");
    command.TextOption("-o,--output", "FOLDER", &options->folder,
                       "The folder to write to; its index.html is the start");
    command.Flag("--quiet", &options->isQuiet, "Tell nothing");
    command.Footer("Example:\n  orreryctl fleet page -o pages\n\n" +
                   ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport,
                                 ExitCode::kUnexpected}));
    command.Does([options] { WriteFleetPages(*options); });
}

}  // namespace orrery
