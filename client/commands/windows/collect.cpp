#include "client/commands/windows/collect.h"

#include <windows.h>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>

#include "client/commands/command_line.h"
#include "client/commands/windows/collect_child.h"
#include "client/commands/windows/report_file.h"
#include "client/system/console.h"
#include "client/report/fact_counts.h"
#include "client/system/child_process.h"
#include "client/system/progress_line.h"
#include "support/unique.h"

namespace orrery {
namespace {

using Clock = std::chrono::steady_clock;

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

void PrintSummary(const CFactCounter& counter, const ReportPath& path, double seconds)
{
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%.1f s", seconds);
    Print(FactCountTable(counter) + "\nReport  " + ShownOn(OutputTerminal(), ToUtf8(path.shown)) +
          "\nTime    " + time.data() + '\n');
}

}  // namespace

ExitCode CollectReport(const std::wstring& report, const CollectOptions& options)
{
    const ReportPath path = ResolveReport(report);
    CheckTarget(path);
    const UniqueHandle cancel = MakeInheritableEvent();
    CInterruptGuard guard{cancel.get()};
    CPartialReport partial{path};

    const auto start = Clock::now();
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
    partial.Publish();
    if (!options.isQuiet)
        PrintSummary(counter, path, elapsed.count());
    if (state == State::kWhole)
        return ExitCode::kDone;
    PrintError("cancelled: " + Describe(counter.completeness()));
    return ExitCode::kNo;
}

void AddCollectCommand(CCommandLine& commandLine, ExitCode* result)
{
    struct Arguments {
        std::string report;
        CollectOptions options;
        std::uint32_t timeout = static_cast<std::uint32_t>(options.timeout.count());
    };
    const auto arguments = std::make_shared<Arguments>();
    CCommand collect =
        commandLine.AddCommand("collect", "Collect the facts of this PC into a report file");
    collect.Operand("REPORT.tsv", &arguments->report,
                    "The report to write; its name ends in \".tsv\" in lower case");
    collect.SecondsOption("--timeout", 0, 604'800, &arguments->timeout,
                          "End a run that takes longer, up to a week; 0 lets it take any time");
    collect.Flag("--quiet", &arguments->options.isQuiet,
                 "Print errors only, neither the time passed nor the summary");
    collect.Footer(
        "The run has a process of its own, so that hanging or crashing drivers do no harm. An\n"
        "earlier report of that name is replaced when the run is complete, else it stays. Ctrl+C\n"
        "cancels the run, and ends it when it does not stop within 10 s or at the second "
        "Ctrl+C. A run that is cancelled late still gives its report, which may lack "
        "categories.\n\n"
        "A run as LocalSystem is not for folders in which others may create files: they could put "
        "a\nlink where the report is to be.\n\n"
        "Examples:\n  orreryctl collect \"C:\\Reports\\front desk.tsv\"\n"
        "  orreryctl collect pc.tsv --timeout 120 --quiet\n\n" +
        ExitCodeHelp({}, kNoOfCollect));
    collect.Does([arguments, result] {
        arguments->options.timeout = std::chrono::seconds{arguments->timeout};
        *result = CollectReport(FromUtf8(arguments->report), arguments->options);
    });
}

}  // namespace orrery
