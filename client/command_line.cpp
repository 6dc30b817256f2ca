#include "client/command_line.h"

#ifdef _WIN32
#include <windows.h>
#include <shellapi.h>
#endif

#include "client/console.h"
#ifdef _WIN32
#include "support/unique.h"
#endif

namespace orrery {
namespace {

/// What the parser would have taken at the place where it met something else.
std::string Alternatives(const CLI::App& app)
{
    std::string text;
    const auto add = [&text](const std::string& name) {
        text += (text.empty() ? "" : ", ") + name;
    };
    for (const CLI::App* command : app.get_subcommands({}))
        if (!command->get_group().empty())  // without a group: not for users
            add(command->get_name());
    for (const CLI::Option* option : app.get_options())
        add(option->get_name());
    return text;
}

[[noreturn]] void FailUsage(const CLI::App& app, const std::string& message)
{
    const CLI::App* command = app.get_subcommands().empty() ? &app : app.get_subcommands().front();
    const std::string name = command == &app ? "orreryctl" : "orreryctl " + command->get_name();
    throw CommandError(ExitCode::kInput, message + "\n\"" + name +
                                             "\" takes: " + Alternatives(*command) + ". See \"" +
                                             name + " --help\".");
}

void Parse(CLI::App& app, const std::vector<std::string>& reversedArguments)
{
    try {
        auto arguments = reversedArguments;
        app.parse(arguments);
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

#ifdef _WIN32
struct ArgumentsTraits {
    using Resource = wchar_t**;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource arguments) noexcept { LocalFree(arguments); }
};
#endif

}  // namespace

#ifdef _WIN32
std::vector<std::string> ReversedArguments(int /*count*/, char** /*arguments*/)
{
    // main's own are in the system's code page, which cannot spell every path.
    int count = 0;
    const Unique<ArgumentsTraits> all{CommandLineToArgvW(GetCommandLineW(), &count)};
    std::vector<std::string> arguments;
    for (int at = count - 1; all && at > 0; --at)
        arguments.push_back(ToUtf8(all.get()[at]));
    return arguments;
}
#else
std::vector<std::string> ReversedArguments(int count, char** arguments)
{
    std::vector<std::string> reversed;
    for (int at = count - 1; at > 0; --at)
        reversed.emplace_back(arguments[at]);
    return reversed;
}
#endif

std::string ExitCodeHelp()
{
    std::string text = "Exit codes:";
    for (const auto& [code, meaning] : kExitCodes)
        text += "\n  " + std::to_string(static_cast<int>(code)) + "  " + meaning;
    return text;
}

void RunCommandLine(CLI::App& app, const std::vector<std::string>& reversedArguments)
{
    try {
        Parse(app, reversedArguments);
    } catch (const CLI::CallForVersion& version) {
        Print(std::string{version.what()} + '\n');
    } catch (const CLI::Success&) {
        Print(app.help());
    }
}

}  // namespace orrery
