// Collects from a simulated machine with the real library and writes its report.

#include "client/system/arguments.h"
#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/system/output_file.h"
#include "client/text/utf8.h"
#include "sim/whole_machine.h"

int main(int argumentCount, char** arguments)
{
    using namespace orrery;
    const auto given = ReversedArguments(argumentCount, arguments);
    if (given.size() != 2) {
        PrintToErrors("usage: replay_machine FILE.machine REPORT.tsv\n");
        return static_cast<int>(ExitCode::kInput);
    }
    const auto fail = [](const std::exception& error, ExitCode code) {
        PrintToErrors(std::string{"replay_machine: "} + error.what() + '\n');
        return static_cast<int>(code);
    };
    try {
        CheckOutputFile(given[0], PathFromUtf8(given[1]));
        const sim::WholeMachine machine{FromUtf8(given[1])};
        const std::wstring report = CollectFrom(machine, machine.platform.processors);
        WriteOutputFile(given[0], [&report](const TextSink& sink) {
            sink({reinterpret_cast<const char*>(report.data()), report.size() * sizeof(wchar_t)});
        });
    } catch (const sim::ScenarioError& error) {
        return fail(error, ExitCode::kInput);
    } catch (const CommandError& error) {
        return fail(error, error.code());
    } catch (const std::exception& error) {
        return fail(error, ExitCode::kUnexpected);
    }
    return 0;
}
