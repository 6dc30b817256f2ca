#include "client/commands/windows/deliver.h"

#include <windows.h>

#include <shlobj.h>

#include <array>
#include <filesystem>
#include <optional>
#include <system_error>

#include "client/commands/windows/report_file.h"
#include "client/system/console.h"
#include "client/system/succeeds_soon.h"

namespace orrery {
namespace {

namespace fs = std::filesystem;

constexpr wchar_t kPartialSuffix[] = L".partial";

/// A report and its sidecar.
struct Pair {
    ReportPath report, sidecar;
};

Pair PairIn(const std::wstring& folder, const std::wstring& name)
{
    const ReportPath report = ResolveReport(folder + L'\\' + name + L".tsv");
    return {report, WithSuffix(report, L".json")};
}

/// A folder that others than this account and administrators do not get into; LocalSystem has one too.
std::wstring OwnSpool()
{
    std::array<wchar_t, MAX_PATH> folder{};
    if (FAILED(SHGetFolderPathW(nullptr, CSIDL_LOCAL_APPDATA | CSIDL_FLAG_CREATE, nullptr, 0,
                                folder.data())))
        throw CommandError(ExitCode::kInput,
                           "this account has no folder for a report to wait in; name one with "
                           "--spool");
    return folder.data() + std::wstring{L"\\Orrery Inventory\\spool"};
}

std::wstring MakeSpool(const DeliveryOptions& options)
{
    const std::wstring spool = options.spool.empty() ? OwnSpool() : options.spool;
    std::error_code error;
    fs::create_directories(spool, error);
    if (error && !fs::is_directory(spool))
        throw CommandError(ExitCode::kReport, "the spool folder " + Quoted(spool) +
                                                  " cannot be made: " +
                                                  SystemMessage(static_cast<DWORD>(error.value())) +
                                                  "; name another one with --spool");
    if (fs::equivalent(spool, options.drop, error))
        throw CommandError(ExitCode::kInput,
                           "--drop and --spool are the same folder; a report waits in one of this "
                           "PC until the other one can be reached");
    return spool;
}

/// The way of one file to the drop folder.
class CDelivery {
public:
    CDelivery(const ReportPath& from, const ReportPath& to)
        : from_(from), to_(to), partial_(to.file + kPartialSuffix)
    {}
    ~CDelivery()
    {
        if (isPartial_)
            DeleteFileW(partial_.c_str());
    }
    CDelivery(const CDelivery&) = delete;
    CDelivery& operator=(const CDelivery&) = delete;

    /// @return whether the file lies in the folder, under its partial name; else the last error tells
    bool Copy()
    {
        // The name is the same in each run, so that whoever may not list the folder leaves one file
        // there at most. What lies there is removed rather than written to: it may be a link.
        DeleteFileW(partial_.c_str());
        const bool isCopied = CopyFileW(from_.file.c_str(), partial_.c_str(), TRUE) != FALSE;
        // A full disk may leave a part of the file.
        isPartial_ = isCopied || GetLastError() != ERROR_FILE_EXISTS;
        return isCopied;
    }
    /// Takes away what lies where the file is to be.
    bool MakeRoom()
    {
        return SucceedsSoon([this] {
            return DeleteFileW(to_.file.c_str()) != FALSE || GetLastError() == ERROR_FILE_NOT_FOUND;
        });
    }
    bool Rename()
    {
        const bool isPlaced = SucceedsSoon([this] {
            return MoveFileExW(partial_.c_str(), to_.file.c_str(),
                               MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
        });
        isPartial_ = !isPlaced;
        return isPlaced;
    }

private:
    const ReportPath &from_, &to_;
    std::wstring partial_;
    bool isPartial_ = false;
};

bool Exists(const ReportPath& path)
{
    return GetFileAttributesW(path.file.c_str()) != INVALID_FILE_ATTRIBUTES;
}

/// Brings a pair to its place and takes it out of the spool.
/// @return what went wrong; 0 when the pair is delivered
DWORD Deliver(const Pair& from, const Pair& to)
{
    CDelivery sidecar{from.sidecar, to.sidecar}, report{from.report, to.report};
    // The earlier report goes first: wherever this ends, none lies there beside another's sidecar.
    if (!sidecar.Copy() || !report.Copy() || !report.MakeRoom() || !sidecar.Rename() ||
        !report.Rename())
        return GetLastError();
    // A sidecar without its report is nothing that waits.
    DeleteFileW(from.report.file.c_str());
    DeleteFileW(from.sidecar.file.c_str());
    return ERROR_SUCCESS;
}

}  // namespace

ExitCode CollectAndDeliver(const DeliveryOptions& options, CollectOptions collect)
{
    const std::wstring computer = ComputerName();
    if (computer.empty())
        throw CommandError(ExitCode::kReport, "the name of this PC cannot be found");
    const Pair waiting = PairIn(MakeSpool(options), L"undelivered");
    const Pair target = PairIn(options.drop, computer);
    collect.hasSidecar = true;
    collect.isForDelivery = true;

    ExitCode code = ExitCode::kDone;
    std::optional<CommandError> failure;
    try {
        code = CollectReport(waiting.report.shown, collect);
    } catch (const CommandError& error) {
        failure = error;
        code = error.code();
    }
    const bool isCollected = code == ExitCode::kDone || code == ExitCode::kNo;
    // After a failure an earlier report may still be waiting, but who cancels wants an end.
    const bool isOver = code == ExitCode::kCancelled || !Exists(waiting.report);
    const DWORD error = isOver ? DWORD{ERROR_SUCCESS} : Deliver(waiting, target);
    if (isCollected && error != ERROR_SUCCESS)
        throw CommandError(ExitCode::kNotDelivered,
                           "collected, not delivered: " + Quoted(target.report.shown) +
                               " cannot be written: " + SystemMessage(error) +
                               "; the report waits in " + Quoted(waiting.report.shown) +
                               " for the next run");
    if (!collect.isQuiet && !isOver && error == ERROR_SUCCESS)
        Print((isCollected ? "To      " : "Delivered what had been waiting: ") +
              ShownOn(OutputTerminal(), ToUtf8(target.report.shown)) + '\n');
    if (failure)
        throw *failure;
    return code;
}

}  // namespace orrery
