#include "client/commands/command_line.h"

#include <algorithm>

#include <CLI/CLI.hpp>

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
    const CLI::App* command = &app;
    std::string name = "orreryctl";
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
        name += ' ' + command->get_name();
    }
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

void CCommand::Operand(const std::string& name, std::string* value, const std::string& help)
{
    parser_->add_option(name, *value, help)->type_name("")->required();
}

void CCommand::Operand(const std::string& name, std::uintptr_t* value)
{
    parser_->add_option(name, *value)->required();
}

void CCommand::OptionalOperand(const std::string& name, std::optional<std::string>* value,
                               const std::string& help)
{
    parser_
        ->add_option_function<std::string>(
            name, [value](const std::string& text) { *value = text; }, help)
        ->type_name("");
}

void CCommand::Operands(const std::string& name, std::vector<std::string>* values,
                        const std::string& help)
{
    parser_->add_option(name, *values, help)->type_name("")->required();
}

void CCommand::MoreOperands(const std::string& name, std::vector<std::string>* values,
                            const std::string& help)
{
    parser_->add_option(name, *values, help)->type_name("");
}

void CCommand::Flag(const std::string& name, bool* isGiven, const std::string& help)
{
    parser_->add_flag(name, *isGiven, help);
}

void CCommand::TextOption(const std::string& name, const std::string& kind, std::string* value,
                          const std::string& help)
{
    parser_->add_option(name, *value, help)->type_name(kind);
}

void CCommand::OutputOption(std::string* output)
{
    *output = kStandardStream;
    TextOption(
        "-o,--output", "FILE", output,
        "The file to write, in place of an earlier one; else, or with \"-\",\nstandard output");
}

void CCommand::QuietFlag(bool* isQuiet)
{
    Flag("--quiet", isQuiet, "Print errors only, no warnings and notes");
}

void CCommand::RedactFlag(bool* isRedacted)
{
    Flag("--redact", isRedacted,
         "Put placeholders in place of serial numbers, addresses and names");
}

void CCommand::TextOption(const std::string& name, const std::string& kind,
                          std::optional<std::string>* value, const std::string& help)
{
    parser_->add_option(name, *value, help)->type_name(kind);
}

void CCommand::Choice(const std::string& name, const std::vector<std::string>& words,
                      std::string* value, const std::string& help)
{
    parser_->add_option(name, *value, help)
        ->type_name(CLI::detail::join(words, "|"))
        ->check(CLI::IsMember(words).description(""))
        ->required();
}

void CCommand::Choice(const std::string& name, const std::string& kind,
                      const std::vector<std::string>& words, std::string* value,
                      const std::string& help)
{
    parser_->add_option(name, *value, help)->type_name(kind)->check(CLI::IsMember(words));
}

void CCommand::SecondsOption(const std::string& name, std::uint32_t least, std::uint32_t most,
                             std::uint32_t* value, const std::string& help)
{
    const auto check = [least, most](const std::string& text) {
        return CLI::Range(least, most)(text).empty()
                   ? std::string{}
                   : "give a number of seconds from " + std::to_string(least) + " to " +
                         std::to_string(most) + ", not \"" + text + '"';
    };
    parser_->add_option(name, *value, help)
        ->check(CLI::Validator{check, ""})
        ->type_name("SECONDS")
        ->capture_default_str();
}

CCommand CCommand::AddCommand(const std::string& name, const std::string& about)
{
    parser_->require_subcommand(1);
    return CCommand{parser_->add_subcommand(name, about)};
}

void CCommand::AnyArguments()
{
    parser_->set_help_flag();
    parser_->prefix_command();
}

void CCommand::Footer(const std::string& text)
{
    parser_->footer(text);
}

void CCommand::Does(const std::function<void()>& work)
{
    parser_->callback(work);
}

CCommandLine::CCommandLine(const std::string& about, const std::string& name,
                           const std::string& version)
    : parser_(std::make_unique<CLI::App>(about, name))
{
    // "/reports/pc.tsv" is a path, not an option.
    parser_->allow_windows_style_options(false);
    parser_->set_version_flag("--version", version, "Print the version");
    parser_->set_help_flag("-h,--help", "Print this help");
}

CCommandLine::~CCommandLine() = default;

CCommand CCommandLine::AddCommand(const std::string& name, const std::string& about)
{
    return CCommand{parser_->add_subcommand(name, about)};
}

CCommand CCommandLine::AddHiddenCommand(const std::string& name)
{
    return CCommand{parser_->add_subcommand(name)->group("")};
}

void CCommandLine::Footer(const std::string& text)
{
    parser_->footer(text);
}

void CCommandLine::Run(const std::vector<std::string>& reversedArguments)
{
    try {
        Parse(*parser_, reversedArguments);
    } catch (const CLI::CallForVersion& version) {
        Print(std::string{version.what()} + '\n');
    } catch (const CLI::Success&) {
        Print(parser_->help());
    }
}

}  // namespace orrery
