#include <exception>
#include <string>

#include "client/commands/command_line.h"
#include "client/system/arguments.h"
#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/system/library_search.h"
#include "orrery_version.h"

namespace orrery {
namespace {

ExitCode Run(int argumentCount, char** arguments)
{
    ExitCode result = ExitCode::kDone;
    CCommandLine commandLine{"Collects and reads hardware and operating-system inventories.",
                             "orreryctl", "orreryctl " ORRERY_VERSION_TEXT};
    AddCollectCommand(commandLine, &result);
#ifdef _WIN32
    AddCollectChildCommand(commandLine);
#endif
    AddDoctorCommand(commandLine, &result);
    AddSummaryCommand(commandLine, &result);
    AddShowCommand(commandLine, &result);
    AddGetCommand(commandLine, &result);
    AddConvertCommand(commandLine, &result);
    AddDiffCommand(commandLine, &result);
    AddCheckCommand(commandLine, &result);
    AddRedactCommand(commandLine, &result);
    AddRecordCommand(commandLine, &result);
    AddFleetCommand(commandLine, &result);
    const std::string no = std::string{"show: "} + kNoOfShow + "; get: " + kNoOfGet +
                           ";\n     diff: " + kNoOfDiff + "; check: " + kNoOfCheck;
#ifdef _WIN32
    commandLine.Footer(
        "Example:\n  orreryctl collect report.tsv\n\n" +
        ExitCodeHelp({}, no + ";\n     doctor: " + kNoOfDoctor + "; collect: " + kNoOfCollect));
#else
    commandLine.Footer(
        "Reports are collected on Windows, where there is a command for it.\n\n"
        "Example:\n  orreryctl show report.tsv\n\n" +
        ExitCodeHelp(
            {ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
            no + ";\n     fleet load: " + kNoOfLoad + ";\n     fleet export: " + kNoOfExport));
#endif
    commandLine.Run(ReversedArguments(argumentCount, arguments));
    return result;
}

}  // namespace
}  // namespace orrery

int main(int argumentCount, char** arguments)
{
#ifdef _WIN32
    orrery::KeepToSystemLibraries();
#endif
    const orrery::CUtf8Console console;
    orrery::ExitCode code = orrery::ExitCode::kDone;
    try {
        code = orrery::Run(argumentCount, arguments);
    } catch (const orrery::CommandError& error) {
        orrery::PrintError(error.what());
        code = error.code();
    } catch (const std::exception& error) {
        orrery::PrintError(std::string{"unexpected failure: "} + error.what());
        code = orrery::ExitCode::kUnexpected;
    }
    return static_cast<int>(code);
}
