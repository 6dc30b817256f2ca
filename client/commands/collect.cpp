#include "client/commands/collect.h"

#include <windows.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <mutex>
#include <span>
#include <string_view>

#include "client/command_line.h"
#include "client/console.h"
#include "client/exit_codes.h"
#include "client/commands/library.h"
#include "client/report/summary.h"
#include "support/unique.h"

namespace orrery {
namespace {

constexpr std::wstring_view kSuffix = L".tsv";
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/// The names of one report, absolute, in the form that file functions take at any length.
struct ReportPath {
    std::wstring shown;    // as messages print it
    std::wstring folder;   // with its trailing backslash
    std::wstring file;     // where the report ends up
    std::wstring partial;  // where the run writes it
};

std::wstring AbsolutePath(const std::wstring& path)
{
    std::wstring absolute(MAX_PATH, L'\0');
    DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(absolute.size()),
                                    absolute.data(), nullptr);
    if (length >= absolute.size()) {
        absolute.resize(length);
        length = GetFullPathNameW(path.c_str(), length, absolute.data(), nullptr);
    }
    absolute.resize(length);
    return absolute;
}

/// The form of an absolute path that is not limited to MAX_PATH.
std::wstring ExtendedPath(const std::wstring& absolute)
{
    if (absolute.starts_with(LR"(\\?\)") || absolute.starts_with(LR"(\\.\)"))
        return absolute;
    if (absolute.starts_with(LR"(\\)"))
        return LR"(\\?\UNC)" + absolute.substr(1);
    return LR"(\\?\)" + absolute;
}

ReportPath ResolveReport(const std::wstring& report)
{
    if (!report.ends_with(kSuffix))
        throw CommandError(ExitCode::kInput, "the report's name " + Quoted(report) +
                                                 " does not end in \".tsv\" in lower case; use " +
                                                 "for example \"report.tsv\"");
    ReportPath path;
    path.shown = AbsolutePath(report);
    // A name such as nul.tsv turns into that of a device.
    if (!path.shown.ends_with(kSuffix))
        throw CommandError(ExitCode::kInput, "the report's name " + Quoted(report) +
                                                 " stands for a device; choose another name");

    const std::wstring tail = L"." + std::to_wstring(GetCurrentProcessId()) + L".partial.tsv";
    const bool isLong = path.shown.size() + tail.size() >= MAX_PATH;
    path.file = isLong ? ExtendedPath(path.shown) : path.shown;
    path.folder = path.file.substr(0, path.file.rfind(L'\\') + 1);
    // A file name has 255 code units at most, and the tail has to fit in.
    constexpr std::size_t kLongestStem = 200;
    const std::wstring name = path.file.substr(path.folder.size());
    path.partial =
        path.folder + name.substr(0, name.size() - kSuffix.size()).substr(0, kLongestStem) + tail;
    return path;
}

/// Finds out before the run whether its report could be put in place.
void CheckTarget(const ReportPath& path)
{
    const DWORD folder = GetFileAttributesW(path.folder.c_str());
    if (const DWORD error = GetLastError(); folder == INVALID_FILE_ATTRIBUTES)
        throw CommandError(
            ExitCode::kInput,
            "the folder " + Quoted(path.shown.substr(0, path.shown.rfind(L'\\') + 1)) +
                " cannot be found: " + SystemMessage(error) + "; create it or choose another one");
    const DWORD file = GetFileAttributesW(path.file.c_str());
    if (file == INVALID_FILE_ATTRIBUTES)
        return;
    if ((file & FILE_ATTRIBUTE_DIRECTORY) != 0)
        throw CommandError(ExitCode::kInput, Quoted(path.shown) +
                                                 " is a folder; give the name of a file, such as " +
                                                 Quoted(path.shown + L"\\report.tsv"));
    const UniqueFile earlier{CreateFileW(path.file.c_str(), GENERIC_WRITE | DELETE, kShareAll,
                                         nullptr, OPEN_EXISTING, 0, nullptr)};
    if (const DWORD error = GetLastError(); !earlier)
        throw CommandError(ExitCode::kReport,
                           "the earlier report " + Quoted(path.shown) +
                               " cannot be replaced: " + SystemMessage(error) +
                               "; close the program that uses it, lift its write protection or " +
                               "choose another name");
}

/// The file that a run writes; it is deleted again unless it becomes the report.
class CPartialReport {
public:
    explicit CPartialReport(const ReportPath& path) : path_(path)
    {
        const UniqueFile file{CreateFileW(path.partial.c_str(), GENERIC_WRITE, 0, nullptr,
                                          CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)};
        if (const DWORD error = GetLastError(); !file)
            throw CommandError(ExitCode::kReport,
                               "the report " + Quoted(path.shown) +
                                   " cannot be written: " + SystemMessage(error) +
                                   "; choose a folder in which you may create files");
    }
    ~CPartialReport()
    {
        if (!published_)
            DeleteFileW(path_.partial.c_str());
    }
    CPartialReport(const CPartialReport&) = delete;
    CPartialReport& operator=(const CPartialReport&) = delete;

    /// Counts the facts that were written so far; none also when the file cannot be read.
    CFactCounter Count() const
    {
        CFactCounter counter;
        const UniqueFile file{CreateFileW(path_.partial.c_str(), GENERIC_READ, kShareAll, nullptr,
                                          OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr)};
        std::array<std::byte, 16384> block;
        DWORD bytes = 0;
        while (
            file &&
            ReadFile(file.get(), block.data(), static_cast<DWORD>(block.size()), &bytes, nullptr) &&
            bytes != 0)
            counter.Add(std::span{block}.first(bytes));
        return counter;
    }

    /// Makes the file the report, in place of an earlier one.
    void Publish()
    {
        published_ = MoveFileExW(path_.partial.c_str(), path_.file.c_str(),
                                 MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
        if (const DWORD error = GetLastError(); !published_)
            throw CommandError(ExitCode::kReport,
                               "the report " + Quoted(path_.shown) +
                                   " cannot be put in place: " + SystemMessage(error) +
                                   "; close the program that uses it and collect again");
    }

private:
    const ReportPath& path_;
    bool published_ = false;
};

/// Turns Ctrl+C, Ctrl+Break and the closing of the console into a cancel of the run.
class CInterruptGuard {
public:
    explicit CInterruptGuard(CInventoryLibrary::CancelFunction cancel)
    {
        cancel_ = cancel;
        SetConsoleCtrlHandler(&OnEvent, TRUE);
    }
    ~CInterruptGuard()
    {
        SetConsoleCtrlHandler(&OnEvent, FALSE);
        Disarm();
    }
    CInterruptGuard(const CInterruptGuard&) = delete;
    CInterruptGuard& operator=(const CInterruptGuard&) = delete;

    /// Ends the time in which the run can be cancelled; later events are swallowed.
    /// @return whether one came in that time
    bool Disarm()
    {
        const std::lock_guard lock{mutex_};
        cancel_ = nullptr;
        return interrupted_;
    }

private:
    static void CancelRun()
    {
        // Held during the call, so that the library is not unloaded under it.
        const std::lock_guard lock{mutex_};
        if (cancel_ == nullptr || interrupted_)
            return;
        interrupted_ = true;
        PrintError("cancelling, waiting for the categories that already run");
        cancel_();
    }
    static BOOL WINAPI OnEvent(DWORD event)
    {
        CancelRun();
        // The process is ended when this returns for a closing console; without a return the main
        // thread has the few seconds that the system grants to clean up.
        if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT)
            Sleep(INFINITE);
        return TRUE;
    }

    // The system calls the handler in a thread of its own and passes nothing but the event.
    static inline std::mutex mutex_;
    static inline CInventoryLibrary::CancelFunction cancel_ = nullptr;
    static inline bool interrupted_ = false;
};

void PrintSummary(const CFactCounter& counter, const ReportPath& path, double seconds)
{
    std::array<char, 32> time{};
    std::snprintf(time.data(), time.size(), "%.1f s", seconds);
    Print(SummaryTable(counter) + "\nReport  " + ToUtf8(path.shown) + "\nTime    " + time.data() +
          '\n');
}

}  // namespace

void CollectReport(const std::wstring& report)
{
    const ReportPath path = ResolveReport(report);
    CheckTarget(path);
    const CInventoryLibrary library;
    CInterruptGuard guard{library.cancel()};
    CPartialReport partial{path};

    const auto start = std::chrono::steady_clock::now();
    const bool completed = library.Collect(path.partial) != 0;
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    // The library counts a late cancel as a complete run, but whoever pressed Ctrl+C does not.
    if (guard.Disarm() || !completed)
        throw CommandError(ExitCode::kCancelled,
                           "cancelled; the report " + Quoted(path.shown) + " was not written");

    const CFactCounter counter = partial.Count();
    if (counter.total() == 0 || !counter.endsWhole())
        throw CommandError(ExitCode::kReport, "the library " + Quoted(library.path()) +
                                                  " did not write the whole report " +
                                                  Quoted(path.shown) +
                                                  "; check that the disk has space left");
    partial.Publish();
    PrintSummary(counter, path, elapsed.count());
}

void AddCollectCommand(CLI::App& app, ExitCode* /*result*/)
{
    CLI::App* const collect =
        app.add_subcommand("collect", "Collect the facts of this PC into a report file");
    const auto report = std::make_shared<std::string>();
    collect
        ->add_option("REPORT.tsv", *report,
                     "The report to write; its name ends in \".tsv\" in lower case")
        ->type_name("")
        ->required();
    collect->footer(
        "An earlier report of that name is replaced when the run is complete. Ctrl+C cancels the\n"
        "run and keeps the earlier report.\n\n"
        "Example:\n  orreryctl collect \"C:\\Reports\\front desk.tsv\"\n\n" +
        ExitCodeHelp());
    collect->callback([report] { CollectReport(FromUtf8(*report)); });
}

}  // namespace orrery
