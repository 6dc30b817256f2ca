#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "client/commands/command_line.h"
#include "client/commands/open_report.h"
#include "client/commands/terminal_style.h"
#include "client/system/console.h"
#include "client/doctor/diagnosis.h"
#include "client/doctor/diagnosis_text.h"
#include "client/machine/rehearsal.h"
#include "client/machine/system_probe.h"
#include "client/machine/wmi_probe.h"
#include "client/system/output_file.h"
#include "client/system/progress_line.h"

namespace orrery {
namespace {

struct DoctorOptions {
    std::string format = "text";
    std::string output;
    bool isQuiet = false;
    std::uint32_t timeout = 10;
};

/// A category asks several questions.
constexpr int kQuestionsOfACategory = 3;

doctor::Findings ExamineMachine(std::chrono::seconds limit, bool isQuiet)
{
    CProgressLine progress{!isQuiet};
    doctor::Findings findings;
    findings.timeoutSeconds = static_cast<unsigned>(limit.count());
    progress.Show("Asking for services and devices");
    machine::ProbeSystem(limit, &findings);
    machine::ProbeWmi(
        limit, [&progress](const std::string& what) { progress.Show("Asking " + what); },
        &findings);
    findings.rehearsal = machine::RehearseReport(
        kQuestionsOfACategory * limit,
        [&progress](const std::string& what) { progress.Show("Collecting " + what); });
    return findings;
}

ExitCode RunDoctor(const DoctorOptions& options)
{
    CheckOutputFile(options.output, {});
    const doctor::Findings findings =
        ExamineMachine(std::chrono::seconds{options.timeout}, options.isQuiet);
    const auto troubles = doctor::Diagnose(findings);
    // A file is for any width, whatever the terminal is like.
    const report::ShowStyle style =
        options.output == kStandardStream ? StyleOf(OutputTerminal()) : report::ShowStyle{};
    const bool isJson = options.format == "json";
    const TextSource text = WholeText(isJson ? doctor::FormatDiagnosisJson(findings, troubles)
                                             : doctor::FormatDiagnosis(findings, troubles, style));
    WriteOrPrint(options.output,
                 isJson && options.output == kStandardStream ? ForOutput(text) : text);
    return doctor::IsAnythingMissing(troubles) ? ExitCode::kNo : ExitCode::kDone;
}

}  // namespace

void AddDoctorCommand(CCommandLine& commandLine, ExitCode* result)
{
    CCommand command = commandLine.AddCommand(
        "doctor", "Tell why facts would be missing from a report of this PC");
    const auto options = std::make_shared<DoctorOptions>();
    command.Choice("--to", "FORMAT", {"text", "json"}, &options->format,
                   "text (unless given) or json");
    command.OutputOption(&options->output);
    command.QuietFlag(&options->isQuiet);
    command.SecondsOption("--timeout", 1, 3600, &options->timeout,
                          "Give up a single question after this time, up to an hour");
    command.Footer(
        "Asks Windows what the library asks, question by question, then collects as the library\n"
        "does, and says which keys a report would lack or hold empty, why, and what to do about\n"
        "it. Writes no report and changes nothing. Run it with the rights, and as the user, that\n"
        "the inventory runs with.\n\n"
        "Examples:\n  orreryctl doctor\n  orreryctl doctor --to json -o doctor.json\n\n" +
        ExitCodeHelp({ExitCode::kDone, ExitCode::kInput, ExitCode::kReport, ExitCode::kUnexpected},
                     kNoOfDoctor));
    command.Does([options, result] { *result = RunDoctor(*options); });
}

}  // namespace orrery
