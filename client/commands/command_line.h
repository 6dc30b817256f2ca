#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/system/exit_codes.h"

// The parser of arguments stays inside of command_line.cpp: compiling it takes as long as all the rest
// of a command.
namespace CLI {
class App;
}  // namespace CLI

namespace orrery {

/// One command: what it takes, what its help says of that, and what it does. What a caller names for
/// the values has to live until the command has run.
class CCommand {
public:
    explicit CCommand(CLI::App* parser) : parser_(parser) {}

    /// A path or name that has to be given; its place tells it from others.
    void Operand(const std::string& name, std::string* value, const std::string& help = "");
    void Operand(const std::string& name, std::uintptr_t* value);
    /// One that may be left out.
    void OptionalOperand(const std::string& name, std::optional<std::string>* value,
                         const std::string& help);
    /// One or more of them.
    void Operands(const std::string& name, std::vector<std::string>* values,
                  const std::string& help);
    /// Names that may follow, as many as there are.
    void MoreOperands(const std::string& name, std::vector<std::string>* values,
                      const std::string& help);
    /// An option that is given or not.
    void Flag(const std::string& name, bool* isGiven, const std::string& help);
    /// @param kind what the help shows in place of the value
    void TextOption(const std::string& name, const std::string& kind, std::string* value,
                    const std::string& help);
    /// The option for what to write to instead of standard output; see WriteOrPrint.
    /// @param output "-", for standard output, unless the option is given
    void OutputOption(std::string* output);
    /// What keeps a command from telling more than errors and what it was asked for.
    void QuietFlag(bool* isQuiet);
    /// What has placeholders stand for what identifies the machine.
    void RedactFlag(bool* isRedacted);
    /// The same, which tells an empty value from none.
    void TextOption(const std::string& name, const std::string& kind,
                    std::optional<std::string>* value, const std::string& help);
    /// An option with one of these words, which has to be given.
    void Choice(const std::string& name, const std::vector<std::string>& words, std::string* value,
                const std::string& help);
    /// The same with a default.
    /// @param kind what the help shows before the words
    void Choice(const std::string& name, const std::string& kind,
                const std::vector<std::string>& words, std::string* value, const std::string& help);
    /// An option with a number of seconds. The help shows the value of before as the default.
    void SecondsOption(const std::string& name, std::uint32_t least, std::uint32_t most,
                       std::uint32_t* value, const std::string& help);
    /// A command of this command, one of which has to be given.
    CCommand AddCommand(const std::string& name, const std::string& about);
    /// Takes whatever follows, with no help of its own.
    void AnyArguments();
    /// What the help ends with.
    void Footer(const std::string& text);
    /// What the command does once its arguments are understood.
    void Does(const std::function<void()>& work);

private:
    CLI::App* parser_;
};

/// The program's command line with all of its commands.
class CCommandLine {
public:
    CCommandLine(const std::string& about, const std::string& name, const std::string& version);
    ~CCommandLine();
    CCommandLine(const CCommandLine&) = delete;
    CCommandLine& operator=(const CCommandLine&) = delete;

    CCommand AddCommand(const std::string& name, const std::string& about);
    /// A command that is not for users: no help and no list names it.
    CCommand AddHiddenCommand(const std::string& name);
    /// What the program's own help ends with.
    void Footer(const std::string& text);

    /// Parses the arguments and runs the command they name.
    /// @param reversedArguments see ReversedArguments
    /// @throws CommandError for arguments that are not understood, with what would have been right
    void Run(const std::vector<std::string>& reversedArguments);

private:
    std::unique_ptr<CLI::App> parser_;
};

/// The exit codes as the help of the program and of its commands ends with them.
/// @param codes that the command gives, besides kNo; all when none is named
/// @param no what kNo means; empty where it is never given
std::string ExitCodeHelp(std::initializer_list<ExitCode> codes, const std::string& no = "");

// Each adds its command, with options, help and an example. `result` is what the program returns when
// the command ends without an error. Those that need Windows say so elsewhere, and no more.
void AddCollectCommand(CCommandLine& commandLine, ExitCode* result);  // needs Windows
void AddCollectChildCommand(CCommandLine& commandLine);               // Windows only
void AddDoctorCommand(CCommandLine& commandLine, ExitCode* result);   // needs Windows
void AddCheckCommand(CCommandLine& commandLine, ExitCode* result);
void AddFleetCommand(CCommandLine& commandLine,
                     ExitCode* result);  // needs the databases' libraries
void AddShowCommand(CCommandLine& commandLine, ExitCode* result);
void AddGetCommand(CCommandLine& commandLine, ExitCode* result);
void AddConvertCommand(CCommandLine& commandLine, ExitCode* result);
void AddDiffCommand(CCommandLine& commandLine, ExitCode* result);
void AddRecordCommand(CCommandLine& commandLine, ExitCode* result);  // needs Windows
void AddRedactCommand(CCommandLine& commandLine, ExitCode* result);
void AddSummaryCommand(CCommandLine& commandLine, ExitCode* result);

}  // namespace orrery
