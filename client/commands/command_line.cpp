#include "client/commands/command_line.h"

#include <algorithm>

#include "client/system/console.h"
#include "client/text/suggestion.h"

namespace orrery {
namespace {

/// What the parser would have taken at the place where it met something else.
std::vector<std::string> Alternatives(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::App* command : app.get_subcommands({}))
        if (!command->get_group().empty())  // without a group: not for users
            names.push_back(command->get_name());
    for (const CLI::Option* option : app.get_options())
        names.push_back(option->get_name());
    return names;
}

/// @param unknown the argument that was not understood; empty for other errors
[[noreturn]] void FailUsage(const CLI::App& app, const std::string& message,
                            const std::string& unknown = "")
{
    const CLI::App* command = app.get_subcommands().empty() ? &app : app.get_subcommands().front();
    const std::string name = command == &app ? "orreryctl" : "orreryctl " + command->get_name();
    const std::vector<std::string> names = Alternatives(*command);
    std::string alternatives;
    for (const std::string& each : names)
        alternatives += (alternatives.empty() ? "" : ", ") + each;
    const std::string suggestion = Suggestion(unknown, names);
    const bool isPath =
        suggestion.empty() && command != &app && !unknown.empty() && !unknown.starts_with('-');
    throw CommandError(ExitCode::kInput, message + suggestion +
                                             (isPath ? "; put a path with spaces in quotes" : "") +
                                             "\n\"" + name + "\" takes: " + alternatives +
                                             ". See \"" + name + " --help\".");
}

void Parse(CLI::App& app, const std::vector<std::string>& reversedArguments)
{
    try {
        auto arguments = reversedArguments;
        app.parse(arguments);
    } catch (const CLI::Success&) {
        throw;
    } catch (const CLI::ParseError& error) {
        // A slip in an option's name may be the reason why something is missing.
        const auto unknown = app.remaining(true);
        if (!unknown.empty())
            FailUsage(app, '"' + unknown.front() + "\" is not known here", unknown.front());
        FailUsage(app, error.what());
    }
    if (app.get_subcommands().empty())
        FailUsage(app, "a command is missing");
}

}  // namespace

std::string ExitCodeHelp(std::initializer_list<ExitCode> codes, const std::string& no)
{
    std::string text = "Exit codes:";
    for (const auto& [code, meaning] : kExitCodes) {
        const bool isNo = code == ExitCode::kNo;
        const bool isGiven =
            isNo ? !no.empty()
                 : codes.size() == 0 || std::find(codes.begin(), codes.end(), code) != codes.end();
        if (isGiven)
            text += "\n  " + std::to_string(static_cast<int>(code)) + "  " + (isNo ? no : meaning);
    }
    return text;
}

CLI::Validator SecondsFrom(std::uint32_t least, std::uint32_t most)
{
    const auto check = [least, most](const std::string& text) {
        return CLI::Range(least, most)(text).empty()
                   ? std::string{}
                   : "give a number of seconds from " + std::to_string(least) + " to " +
                         std::to_string(most) + ", not \"" + text + '"';
    };
    return CLI::Validator{check, ""};
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
