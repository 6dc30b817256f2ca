#include <windows.h>
#include <shellapi.h>

#include <exception>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "client/collect_command.h"
#include "client/console.h"
#include "client/exit_codes.h"
#include "orrery_version.h"
#include "support/unique.h"

namespace orrery {
namespace {

struct ArgumentsTraits {
    using Resource = wchar_t**;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource arguments) noexcept { LocalFree(arguments); }
};

/// The arguments as they were typed, without the program's name: main's own are in the system's
/// code page, which cannot spell every path. They come last first, as the parser takes them.
std::vector<std::string> ReversedArguments()
{
    int count = 0;
    const Unique<ArgumentsTraits> all{CommandLineToArgvW(GetCommandLineW(), &count)};
    std::vector<std::string> arguments;
    for (int at = count - 1; all && at > 0; --at)
        arguments.push_back(ToUtf8(all.get()[at]));
    return arguments;
}

std::string ExitCodeHelp()
{
    std::string text = "Exit codes:";
    for (const auto& [code, meaning] : kExitCodes)
        text += "\n  " + std::to_string(static_cast<int>(code)) + "  " + meaning;
    return text;
}

/// What the parser would have taken at the place where it met something else.
std::string Alternatives(const CLI::App& app)
{
    std::string text;
    const auto add = [&text](const std::string& name) {
        text += (text.empty() ? "" : ", ") + name;
    };
    for (const CLI::App* command : app.get_subcommands({}))
        add(command->get_name());
    for (const CLI::Option* option : app.get_options())
        add(option->get_name());
    return text;
}

[[noreturn]] void FailUsage(const CLI::App& app, const std::string& message)
{
    const CLI::App* command = app.get_subcommands().empty() ? &app : app.get_subcommands().front();
    const std::string name = command == &app ? "orreryctl" : "orreryctl " + command->get_name();
    throw CommandError(ExitCode::kUsage, message + "\n\"" + name +
                                             "\" takes: " + Alternatives(*command) + ". See \"" +
                                             name + " --help\".");
}

void Parse(CLI::App& app)
{
    try {
        app.parse(ReversedArguments());
    } catch (const CLI::ExtrasError&) {
        const bool inCommand = !app.get_subcommands().empty();
        FailUsage(app, '"' + app.remaining(true).front() + "\" is not known here" +
                           (inCommand ? "; put a path with spaces in quotes" : ""));
    } catch (const CLI::Success&) {
        throw;
    } catch (const CLI::ParseError& error) {
        FailUsage(app, error.what());
    }
    if (app.get_subcommands().empty())
        FailUsage(app, "a command is missing");
}

void Run()
{
    CLI::App app{"Collects hardware and operating-system facts of this PC.", "orreryctl"};
    // "/reports/pc.tsv" is a path, not an option.
    app.allow_windows_style_options(false);
    app.set_version_flag("--version", "orreryctl " ORRERY_VERSION_TEXT, "Print the version");
    app.set_help_flag("-h,--help", "Print this help");
    app.footer("Example:\n  orreryctl collect report.tsv\n\n" + ExitCodeHelp());

    std::string report;
    CLI::App* collect =
        app.add_subcommand("collect", "Collect the facts of this PC into a report file");
    collect
        ->add_option("REPORT.tsv", report,
                     "The report to write; its name ends in \".tsv\" in lower case")
        ->type_name("")
        ->required();
    collect->footer(
        "An earlier report of that name is replaced when the run is complete. Ctrl+C cancels the\n"
        "run and keeps the earlier report.\n\n"
        "Example:\n  orreryctl collect \"C:\\Reports\\front desk.tsv\"\n\n" +
        ExitCodeHelp());
    collect->callback([&report] { CollectReport(FromUtf8(report)); });

    try {
        Parse(app);
    } catch (const CLI::CallForVersion& version) {
        Print(std::string{version.what()} + '\n');
    } catch (const CLI::Success&) {
        Print(app.help());
    }
}

}  // namespace
}  // namespace orrery

int main()
{
    const orrery::CUtf8Console console;
    orrery::ExitCode code = orrery::ExitCode::kDone;
    try {
        orrery::Run();
    } catch (const orrery::CommandError& error) {
        orrery::PrintError(error.what());
        code = error.code();
    } catch (const std::exception& error) {
        orrery::PrintError(std::string{"unexpected failure: "} + error.what());
        code = orrery::ExitCode::kUnexpected;
    }
    return static_cast<int>(code);
}
