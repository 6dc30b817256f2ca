#include "client/commands/windows/collect.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <string>

#include "client/commands/command_line.h"
#include "client/commands/windows/collect_child.h"
#include "client/commands/open_report.h"
#include "client/commands/windows/deliver.h"
#include "client/commands/windows/library.h"
#include "client/commands/windows/report_file.h"
#include "client/system/console.h"
#include "client/system/output_file.h"
#include "client/page/page.h"
#include "client/machine/sidecar_facts.h"
#include "client/report/fact_counts.h"
#include "client/report/json.h"
#include "client/report/reader.h"
#include "client/report/sidecar.h"
#include "client/report/source.h"
#include "client/system/child_process.h"
#include "client/system/event_log.h"
#include "client/system/progress_line.h"
#include "orrery_version.h"
#include "support/unique.h"

namespace orrery {
namespace {

using Clock = std::chrono::steady_clock;

/// What a report can be converted to at once.
struct Form {
    std::string_view name;
    const wchar_t* suffix;
    const char* label;  // in the summary
    void (*write)(const report::Report&, const report::Source&, const TextSink&);
};

constexpr auto kForms = std::to_array<Form>({
    {"json", L".json", "JSON    ", &report::WriteJson},
    {"html", L".html", "Page    ",
     [](const report::Report& report, const report::Source&, const TextSink& sink) {
         report::WriteHtml(report, sink);
     }},
});

constexpr std::wstring_view kReportSuffix = L".tsv";

/// Where the facts of a run go to.
struct Destination {
    ReportPath report;        // what messages name is the first of the files that are kept
    bool keepsReport = true;  // the file of the run becomes a report
    bool isOutput = false;    // standard output takes the place of files
    const Form* form = nullptr;
    ReportPath converted;  // only with a form
    bool hasSidecar = false;
    ReportPath sidecar;  // only with one
};

constexpr DWORD kTickMilliseconds = 100;
constexpr std::chrono::seconds kCancelGrace{10};

/// Turns Ctrl+C, Ctrl+Break and the closing of the console into a cancel of the run.
class CInterruptGuard {
public:
    /// @param event set at the first interrupt
    explicit CInterruptGuard(HANDLE event)
    {
        event_ = event;
        SetConsoleCtrlHandler(&OnEvent, TRUE);
    }
    ~CInterruptGuard()
    {
        SetConsoleCtrlHandler(&OnEvent, FALSE);
        Disarm();
    }
    CInterruptGuard(const CInterruptGuard&) = delete;
    CInterruptGuard& operator=(const CInterruptGuard&) = delete;

    bool isInterrupted() const { return Count() > 0; }
    /// Whether there is no time to wait: after a second interrupt, or when the console closes.
    bool isUrgent() const { return Count() > 1; }

    /// Ends the time in which the run can be cancelled; later events are swallowed.
    /// @return whether one came in that time
    bool Disarm()
    {
        const std::lock_guard lock{mutex_};
        event_ = nullptr;
        return count_ > 0;
    }

private:
    static int Count()
    {
        const std::lock_guard lock{mutex_};
        return count_;
    }
    static BOOL WINAPI OnEvent(DWORD event)
    {
        const bool isKey = event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
        {
            const std::lock_guard lock{mutex_};
            if (event_ != nullptr) {
                count_ += isKey ? 1 : 2;
                SetEvent(event_);
            }
        }
        // The process is ended when this returns for a closing console; without a return the main
        // thread has the few seconds that the system grants to clean up.
        if (!isKey)
            Sleep(INFINITE);
        return TRUE;
    }

    // The system calls the handler in a thread of its own and passes nothing but the event.
    static inline std::mutex mutex_;
    static inline HANDLE event_ = nullptr;
    static inline int count_ = 0;
};

UniqueHandle MakeInheritableEvent()
{
    SECURITY_ATTRIBUTES inheritable{sizeof inheritable, nullptr, TRUE};
    UniqueHandle event{CreateEventW(&inheritable, TRUE, FALSE, nullptr)};
    if (const DWORD error = GetLastError(); !event)
        throw CommandError(ExitCode::kUnexpected,
                           "an event cannot be made: " + SystemMessage(error) +
                               "; close other programs and collect again");
    return event;
}

/// Waits until the run has ended, and ends it when it takes too long or does not heed an interrupt.
/// @return whether it had to be ended
bool AwaitRun(CChildProcess& run, const CInterruptGuard& guard, const CollectOptions& options)
{
    CProgressLine progress{!options.isQuiet};
    const auto start = Clock::now();
    std::optional<Clock::time_point> interrupt;
    while (!run.EndsWithin(kTickMilliseconds)) {
        const auto now = Clock::now();
        if (!interrupt && guard.isInterrupted()) {
            interrupt = now;
            progress.Clear();
            if (!options.isQuiet)
                PrintError(
                    "cancelling, waiting for the categories that already run; Ctrl+C again "
                    "ends them");
        }
        const bool isOver = interrupt
                                ? guard.isUrgent() || now - *interrupt >= kCancelGrace
                                : options.timeout.count() != 0 && now - start >= options.timeout;
        if (isOver) {
            run.End();
            return true;
        }
        if (const auto passed = std::chrono::duration_cast<std::chrono::seconds>(now - start);
            passed.count() != 0)
            progress.Show("Collecting, " + std::to_string(passed.count()) + " s");
    }
    return false;
}

[[noreturn]] void FailRun(ExitCode code, const std::string& what, const ReportPath& path,
                          const std::string& advice = "")
{
    throw CommandError(code, what + "; the report " + Quoted(path.shown) + " was not written" +
                                 (advice.empty() ? "" : "; " + advice));
}

[[noreturn]] void FailCrash(const CChildProcess& run, const ReportPath& path)
{
    PrintToErrors(ShownOn(ErrorTerminal(), run.errors()));
    std::array<char, 80> code{};
    std::snprintf(code.data(), code.size(),
                  "the run crashed: its process ended early, with code 0x%08lX", run.EndCode());
    FailRun(
        ExitCode::kCrash, code.data(), path,
        "collect again, and if that does not help, update the drivers and programs that provide "
        "the facts");
}

std::wstring TemporaryFolder()
{
    std::array<wchar_t, MAX_PATH + 2> folder{};
    if (const DWORD length = GetTempPathW(static_cast<DWORD>(folder.size()), folder.data());
        length != 0 && length < folder.size())
        return folder.data();
    throw CommandError(ExitCode::kReport,
                       "there is no folder for temporary files; set TEMP to one");
}

std::wstring DefaultName()
{
    const std::wstring computer = ComputerName();
    if (computer.empty())
        throw CommandError(ExitCode::kInput,
                           "the name of this PC cannot be found; give the report one");
    return computer + std::wstring{kReportSuffix};
}

Destination FindDestination(const std::optional<std::wstring>& report, const std::string& form)
{
    Destination destination;
    if (!form.empty())
        destination.form = std::find_if(kForms.begin(), kForms.end(),
                                        [&form](const Form& each) { return each.name == form; });
    std::wstring name = report ? *report : DefaultName();
    if (name == L"-") {
        if (destination.form == nullptr && OutputTerminal().isTerminal)
            throw CommandError(
                ExitCode::kInput,
                "a console does not show the UTF-16 of a report; send it to a file or "
                "a program, or add --to json");
        destination.report = ResolveReport(TemporaryFolder() + L"orreryctl.tsv");
        destination.report.shown = name;
        destination.isOutput = true;
        destination.keepsReport = false;
        return destination;
    }
    if (destination.form == nullptr) {
        destination.report = ResolveReport(name);
        return destination;
    }
    const std::wstring_view suffix = destination.form->suffix;
    if (name.ends_with(suffix)) {
        name.replace(name.size() - suffix.size(), suffix.size(), kReportSuffix);
        destination.keepsReport = false;
    }
    destination.report = ResolveReport(name);
    destination.converted = WithSuffix(destination.report, destination.form->suffix);
    if (!destination.keepsReport)
        destination.report = destination.converted;
    return destination;
}

void AddSidecar(bool isWanted, Destination* destination)
{
    const bool isJson = destination->form != nullptr && destination->form->name == "json";
    if (isWanted && (isJson || !destination->keepsReport))
        throw CommandError(ExitCode::kInput,
                           isJson
                               ? "--sidecar and --to json would write the same file; convert the "
                                 "report afterwards, with \"orreryctl convert\""
                               : "--sidecar writes beside a report; give one whose name ends in "
                                 "\".tsv\"");
    if (isJson || !destination->keepsReport)
        return;
    destination->sidecar = WithSuffix(destination->report, L".json");
    destination->hasSidecar =
        isWanted ||
        report::ReadSidecar(std::filesystem::path{destination->sidecar.file}).has_value();
}

std::string SidecarText(report::Completeness::State state, std::int64_t collected)
{
    report::Sidecar sidecar;
    sidecar.collected = collected;
    sidecar.client = ORRERY_VERSION_TEXT;
    sidecar.library = machine::FileVersion(LibraryPath());
    sidecar.completeness =
        state == report::Completeness::State::kWhole ? "whole" : "lacks categories";
    sidecar.computerName = ToUtf8(ComputerName());
    machine::AskMachine(&sidecar);
    return report::FormatSidecar(sidecar);
}

/// Waits for any time up to the longest.
/// @return whether it was interrupted
bool WaitAtRandom(const CollectOptions& options, HANDLE cancel)
{
    using std::chrono::milliseconds;
    std::random_device random;
    std::uniform_int_distribution<std::int64_t> any{0, milliseconds{options.randomDelay}.count()};
    const auto end = Clock::now() + milliseconds{any(random)};
    CProgressLine progress{!options.isQuiet};
    for (auto now = Clock::now(); now < end; now = Clock::now()) {
        const auto left = std::chrono::duration_cast<milliseconds>(end - now);
        progress.Show("Waiting, " + std::to_string(left.count() / 1000 + 1) + " s");
        const auto step = std::min<std::int64_t>(left.count() + 1, 1000);
        if (WaitForSingleObject(cancel, static_cast<DWORD>(step)) == WAIT_OBJECT_0)
            return true;
    }
    return false;
}

/// Lets the files of a run appear, or prints what it has collected.
/// @param sidecar the text of the one, if there is to be one
void Publish(CPartialReport& partial, const Destination& destination, const std::string& sidecar,
             bool isForDelivery)
{
    const Form* const form = destination.form;
    const std::filesystem::path written{destination.report.partial};
    report::Report report;
    report::Source source{ToUtf8(destination.report.shown), {}, false, ORRERY_VERSION_TEXT};
    if (form != nullptr) {
        report = report::ReadReport(written);
        source.fileTime = report::FileTime(written);
    }
    const TextSource text = [&](const TextSink& sink) {
        if (form != nullptr) {
            form->write(report, source, sink);
            return;
        }
        const bool isRead = partial.Read([&sink](std::span<const std::byte> bytes) {
            sink({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
        });
        if (!isRead)
            throw CommandError(ExitCode::kReport, "the report cannot be read again; collect again");
    };
    if (destination.isOutput) {
        PrintOrFail(form != nullptr ? ForOutput(text) : text);
        return;
    }
    // The report is last: who takes each new one finds its sidecar there.
    if (destination.hasSidecar) {
        // Better none for a while than the one of another report. What had been waiting is of no use
        // any more, and must not be delivered with a sidecar that is not its own.
        if (isForDelivery)
            DeleteFileW(destination.report.file.c_str());
        DeleteFileW(destination.sidecar.file.c_str());
        WriteOutputFile(ToUtf8(destination.sidecar.file), WholeText(sidecar));
    }
    if (destination.keepsReport)
        partial.Publish();
    if (form == nullptr)
        return;
    try {
        WriteOutputFile(ToUtf8(destination.converted.file), text);
    } catch (const CommandError& error) {
        if (!destination.keepsReport)
            throw;
        throw CommandError(
            error.code(),
            error.what() + ("; the report " + Quoted(destination.report.shown) + " was written"));
    }
}

/// @param isListed whether the files are named, as they stay where they are
void PrintSummary(const CFactCounter& counter, const Destination& destination, bool isListed,
                  double seconds)
{
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%.1f s", seconds);
    const auto line = [](const char* label, const ReportPath& path) {
        return label + ShownOn(OutputTerminal(), ToUtf8(path.shown)) + '\n';
    };
    Print(FactCountTable(counter) + '\n' +
          (destination.keepsReport && isListed ? line("Report  ", destination.report)
                                               : std::string{}) +
          (destination.hasSidecar && isListed ? line("Sidecar ", destination.sidecar)
                                              : std::string{}) +
          (destination.form != nullptr ? line(destination.form->label, destination.converted)
                                       : std::string{}) +
          "Time    " + time.data() + '\n');
}

}  // namespace

ExitCode CollectReport(const std::optional<std::wstring>& report, const CollectOptions& options)
{
    Destination destination = FindDestination(report, options.form);
    AddSidecar(options.hasSidecar, &destination);
    const ReportPath& path = destination.report;
    if (!destination.isOutput)
        CheckTarget(path);
    if (destination.keepsReport && destination.form != nullptr)
        CheckTarget(destination.converted);
    if (destination.hasSidecar)
        CheckTarget(destination.sidecar);
    const UniqueHandle cancel = MakeInheritableEvent();
    CInterruptGuard guard{cancel.get()};
    if (WaitAtRandom(options, cancel.get()))
        FailRun(ExitCode::kCancelled, "cancelled", path);
    CPartialReport partial{path};

    const auto start = Clock::now();
    const std::int64_t collected = std::chrono::duration_cast<std::chrono::seconds>(
                                       std::chrono::system_clock::now().time_since_epoch())
                                       .count();
    CChildProcess run{CollectChildArguments(path.partial, cancel.get()), cancel.get()};
    const bool wasEnded = AwaitRun(run, guard, options);
    const std::chrono::duration<double> elapsed = Clock::now() - start;
    const std::optional<ExitCode> result = CollectChildResult(run.EndCode());
    const bool wasInterrupted = guard.Disarm();
    // A run that heeds a cancel may have come too far to leave its report out.
    if (result == ExitCode::kCancelled || (wasInterrupted && result != ExitCode::kDone))
        FailRun(ExitCode::kCancelled, "cancelled", path);
    if (wasEnded)
        FailRun(ExitCode::kTimeout,
                "the run took more than " + std::to_string(options.timeout.count()) +
                    " s and was ended",
                path,
                "give it more time with --timeout, or restart the PC if something in it hangs");
    if (!result)
        FailCrash(run, path);
    if (*result != ExitCode::kDone) {
        PrintToErrors(ShownOn(ErrorTerminal(), run.errors()));
        return *result;
    }

    CFactCounter counter;
    partial.Count(counter);
    using State = report::Completeness::State;
    const State state = counter.completeness().state;
    if (state == State::kCut || (state == State::kLacksCategories && !wasInterrupted))
        throw CommandError(ExitCode::kReport, "the run did not write the whole report " +
                                                  Quoted(path.shown) +
                                                  "; check that the disk has space left");
    Publish(partial, destination,
            destination.hasSidecar ? SidecarText(state, collected) : std::string{},
            options.isForDelivery);
    if (!options.isQuiet && !destination.isOutput)
        PrintSummary(counter, destination, !options.isForDelivery, elapsed.count());
    if (state == State::kWhole)
        return ExitCode::kDone;
    PrintError("cancelled: " + Describe(counter.completeness()));
    return ExitCode::kNo;
}

namespace {

using OptionalText = std::optional<std::string>;

std::wstring FolderOf(const char* option, const std::string& folder)
{
    // Such as the variable of a script that was never set.
    if (folder.empty())
        throw CommandError(ExitCode::kInput,
                           option + std::string{" names no folder; give the path of one"});
    return FromUtf8(folder);
}

ExitCode Collect(const OptionalText& report, const OptionalText& drop, const OptionalText& spool,
                 const CollectOptions& options)
{
    if (!drop && spool)
        throw CommandError(ExitCode::kInput, "--spool goes with --drop only");
    if (!drop)
        return CollectReport(report ? std::optional{FromUtf8(*report)} : std::nullopt, options);
    if (report || !options.form.empty())
        throw CommandError(ExitCode::kInput,
                           "--drop takes neither a report's name nor --to: it delivers the report "
                           "of this PC and its sidecar");
    return CollectAndDeliver(
        {FolderOf("--drop", *drop), spool ? FolderOf("--spool", *spool) : std::wstring{}}, options);
}

std::string MeaningOf(ExitCode code)
{
    if (code == ExitCode::kNo)
        return kNoOfCollect;
    return std::ranges::find(kExitCodes, code, &ExitCodeMeaning::code)->meaning;
}

}  // namespace

void AddCollectCommand(CCommandLine& commandLine, ExitCode* result)
{
    struct Arguments {
        std::optional<std::string> report;
        CollectOptions options;
        std::optional<std::string> drop, spool;
        std::uint32_t timeout = static_cast<std::uint32_t>(options.timeout.count());
        std::uint32_t randomDelay = 0;
        bool isLogged = false;
    };
    const auto arguments = std::make_shared<Arguments>();
    CCommand collect =
        commandLine.AddCommand("collect", "Collect the facts of this PC into a report file");
    collect.OptionalOperand(
        "REPORT.tsv", &arguments->report,
        "The report to write; its name ends in \".tsv\" in lower case. Without\n"
        "one %COMPUTERNAME%.tsv in the current folder; - for standard output");
    std::vector<std::string> forms;
    for (const Form& form : kForms)
        forms.emplace_back(form.name);
    collect.Choice(
        "--to", "FORM", forms, &arguments->options.form,
        "Convert the whole report as well, into a file beside it that ends in \".json\"\n"
        "or \".html\"; a REPORT of that ending is the only file");
    collect.SecondsOption("--timeout", 0, 604'800, &arguments->timeout,
                          "End a run that takes longer, up to a week; 0 lets it take any time");
    collect.Flag("--sidecar", &arguments->options.hasSidecar,
                 "Write NAME.json beside NAME.tsv as well: when, by which versions and with which\n"
                 "rights the report was made, and what tells this PC and its Windows from others");
    collect.TextOption(
        "--drop", "FOLDER", &arguments->drop,
        "Bring the report and its sidecar to a folder, such as a share, in which they "
        "are\ncalled as this PC");
    collect.TextOption("--spool", "FOLDER", &arguments->spool,
                       "Where the report waits while the folder of --drop cannot be reached; "
                       "without\none, in the local data of the account");
    collect.SecondsOption("--random-delay", 0, 86'400, &arguments->randomDelay,
                          "Wait for a random time first, of this many seconds at most");
    collect.Flag("--event-log", &arguments->isLogged,
                 "Tell how it ended in the Application log as well");
    collect.Flag("--quiet", &arguments->options.isQuiet,
                 "Print errors only, neither the time passed nor the summary");
    collect.Footer(
        "Standard output gets the report as it is, in UTF-16LE, or what it is converted to, in\n"
        "UTF-8, and no summary.\n\n"
        "The run has a process of its own, so that hanging or crashing drivers do no harm. An\n"
        "earlier report of that name is replaced when the run is complete, else it stays. Ctrl+C\n"
        "cancels the run, and ends it when it does not stop within 10 s or at the second "
        "Ctrl+C.\nA run that is cancelled late still gives its report, which may lack "
        "categories.\n\n"
        "A run as LocalSystem is not for folders in which others may create files: they could put "
        "a\nlink where the report is to be.\n\n"
        "Examples:\n  orreryctl collect \"C:\\Reports\\front desk.tsv\"\n"
        "  orreryctl collect pc.tsv --timeout 120 --quiet\n"
        "  orreryctl collect --to html\n  orreryctl collect - --to json\n"
        "  orreryctl collect --drop \\\\server\\inventory$ --random-delay 3600 --quiet\n\n" +
        ExitCodeHelp({}, kNoOfCollect));
    collect.Does([arguments, result] {
        CollectOptions& options = arguments->options;
        options.timeout = std::chrono::seconds{arguments->timeout};
        options.randomDelay = std::chrono::seconds{arguments->randomDelay};
        try {
            *result = Collect(arguments->report, arguments->drop, arguments->spool, options);
        } catch (const CommandError& error) {
            if (arguments->isLogged)
                LogEvent(error.code(), error.what());
            throw;
        } catch (const std::exception& error) {
            if (arguments->isLogged)
                LogEvent(ExitCode::kUnexpected, error.what());
            throw;
        }
        if (arguments->isLogged)
            LogEvent(*result, (arguments->drop ? "collect --drop " + *arguments->drop
                                               : std::string{"collect"}) +
                                  ": " + MeaningOf(*result));
    });
}

}  // namespace orrery
