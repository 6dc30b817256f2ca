#include <exception>
#include <string>

#include "client/commands/command_line.h"
#include "client/system/arguments.h"
#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "orrery_version.h"

namespace orrery {
namespace {

ExitCode Run(int argumentCount, char** arguments)
{
    ExitCode result = ExitCode::kDone;
    CLI::App app{"Collects and reads hardware and operating-system inventories.", "orreryctl"};
    // "/reports/pc.tsv" is a path, not an option.
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", "orreryctl " ORRERY_VERSION_TEXT, "Print the version");
    app.set_help_flag("-h,--help", "Print this help");
    AddCollectCommand(app, &result);
#ifdef _WIN32
    AddCollectChildCommand(app);
#endif
    AddDoctorCommand(app, &result);
    AddShowCommand(app, &result);
    AddGetCommand(app, &result);
    AddConvertCommand(app, &result);
    AddDiffCommand(app, &result);
    AddRedactCommand(app, &result);
    AddRecordCommand(app, &result);
    const std::string no = std::string{"get: "} + kNoOfGet + "; diff: " + kNoOfDiff;
#ifdef _WIN32
    app.footer("Example:\n  orreryctl collect report.tsv\n\n" +
               ExitCodeHelp({}, no + "; doctor: " + kNoOfDoctor));
#else
    app.footer(
        "Reports are collected on Windows, where there is a command for it.\n\n"
        "Example:\n  orreryctl show report.tsv\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     no));
#endif
    RunCommandLine(app, ReversedArguments(argumentCount, arguments));
    return result;
}

}  // namespace
}  // namespace orrery

int main(int argumentCount, char** arguments)
{
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
