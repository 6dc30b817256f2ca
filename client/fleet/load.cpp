#include "client/fleet/load.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <variant>

#include "client/fleet/sources.h"
#include "client/report/report.h"
#include "client/report/sidecar.h"
#include "client/system/exit_codes.h"
#include "client/text/utf8.h"

namespace orrery::fleet {
namespace {

/// Reports that are stored in one transaction.
constexpr std::size_t kBatch = 500;
/// Reports that may wait for being stored, so that memory does not grow with their number.
constexpr std::size_t kWindow = 128;
/// Files that are looked up at once.
constexpr std::size_t kLookUp = 4096;

using Outcome = std::variant<StoredReport, Refusal>;

Outcome Read(const SourceFile& file)
{
    const std::filesystem::path path = PathFromUtf8(file.path);
    try {
        const report::Report report = report::ReadReport(path);
        if (report.completeness.isCut())
            return Refusal{file.path, report::Describe(report.completeness)};
        constexpr std::int64_t kNanoseconds = 1'000'000'000;
        std::int64_t time = file.modified / kNanoseconds;
        report::Sidecar sidecar;
        if (file.sidecarModified != 0)
            if (auto told = report::ReadSidecar(SidecarPath(path))) {
                sidecar = std::move(*told);
                time = sidecar.collected;
            }
        auto stored = StoredReport::From(report, file, time, sidecar.rights, sidecar.uuid,
                                         sidecar.installation);
        if (stored.identity.name.empty())
            stored.identity.name = sidecar.computerName;
        if (stored.identity.isEmpty())
            return Refusal{file.path, "nothing in it tells which machine it is of"};
        return stored;
    } catch (const CommandError& error) {
        return Refusal{file.path, error.what()};
    }
}

/// Reads files on threads of its own and hands them out in their order.
class CReadAhead {
public:
    explicit CReadAhead(const std::vector<SourceFile>& files) : files_(files)
    {
        threads_.emplace_back([this] { FetchFiles(); });
        const unsigned parsers = std::max(1U, std::thread::hardware_concurrency() - 1);
        for (unsigned i = 0; i < parsers; ++i)
            threads_.emplace_back([this] { ReadFiles(); });
    }
    ~CReadAhead()
    {
        {
            const std::lock_guard lock{mutex_};
            isStopped_ = true;
        }
        changed_.notify_all();
        for (std::thread& thread : threads_)
            thread.join();
    }
    CReadAhead(const CReadAhead&) = delete;
    CReadAhead& operator=(const CReadAhead&) = delete;

    /// The next file's outcome; there have to be more.
    Outcome Next()
    {
        std::unique_lock lock{mutex_};
        auto& slot = slots_[taken_ % kWindow];
        changed_.wait(lock, [&] { return slot.has_value() || failure_; });
        if (failure_)
            std::rethrow_exception(failure_);
        Outcome outcome = std::move(*slot);
        slot.reset();
        ++taken_;
        lock.unlock();
        changed_.notify_all();
        return outcome;
    }

private:
    /// Has the system read files into its own memory before they are needed.
    void FetchFiles()
    {
        for (std::size_t at = 0; at < files_.size() && WaitForTurn(at); ++at) {
            const int file = open(files_[at].path.c_str(), O_RDONLY | O_CLOEXEC);
            if (file < 0)
                continue;
            posix_fadvise(file, 0, 0, POSIX_FADV_WILLNEED);
            close(file);
        }
    }

    void ReadFiles()
    {
        try {
            for (;;) {
                const std::size_t at = next_++;
                if (at >= files_.size() || !WaitForTurn(at))
                    return;
                Outcome outcome = Read(files_[at]);
                {
                    const std::lock_guard lock{mutex_};
                    slots_[at % kWindow] = std::move(outcome);
                }
                changed_.notify_all();
            }
        } catch (...) {
            const std::lock_guard lock{mutex_};
            failure_ = std::current_exception();
            changed_.notify_all();
        }
    }

    /// @return whether to go on
    bool WaitForTurn(std::size_t at)
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [&] { return isStopped_ || at < taken_ + kWindow; });
        return !isStopped_;
    }

    const std::vector<SourceFile>& files_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::array<std::optional<Outcome>, kWindow> slots_;
    std::size_t taken_ = 0;
    bool isStopped_ = false;
    std::exception_ptr failure_;
    std::atomic<std::size_t> next_ = 0;
    std::vector<std::thread> threads_;
};

/// The files that were not loaded as they are now.
std::vector<SourceFile> NewOrChanged(CDatabase& database, const std::string& host,
                                     std::vector<SourceFile> files)
{
    std::vector<SourceFile> changed;
    database.Run("CREATE TEMPORARY TABLE IF NOT EXISTS wanted_path (path TEXT NOT NULL)");
    for (std::size_t begin = 0; begin < files.size(); begin += kLookUp) {
        const auto part = std::span{files}.subspan(begin, std::min(kLookUp, files.size() - begin));
        database.Run("DELETE FROM wanted_path");
        const auto writer = database.Insert("wanted_path", "path");
        for (const SourceFile& file : part)
            writer->Add(std::array<Value, 1>{file.path});
        writer->Finish();
        std::map<std::string, std::array<std::int64_t, 3>, std::less<>> known;
        database.Query(
            "SELECT f.path, f.size, f.modified, f.sidecar FROM wanted_path w JOIN report_file "
            "f ON f.host = $1 AND f.path = w.path",
            std::array<Value, 1>{host}, [&](std::span<const Value> row) {
                known[std::string{TextIn(row[0])}] = {NumberIn(row[1]), NumberIn(row[2]),
                                                      NumberIn(row[3])};
            });
        for (SourceFile& file : part) {
            const auto found = known.find(file.path);
            if (found == known.end() ||
                found->second != std::array{static_cast<std::int64_t>(file.size), file.modified,
                                            file.sidecarModified})
                changed.push_back(std::move(file));
        }
    }
    return changed;
}

}  // namespace

LoadResult Load(CDatabase& database, const std::vector<std::string>& folders,
                const std::string& host, const LoadListener& listener)
{
    LoadResult result;
    const auto refuse = [&](const Refusal& refusal) {
        ++result.refused;
        listener.onRefusal(refusal);
    };
    Sources sources = FindSources(folders);
    result.files = sources.files.size();
    for (const Refusal& refusal : sources.refused)
        refuse(refusal);
    const auto files = NewOrChanged(database, host, std::move(sources.files));
    result.unchanged = result.files - files.size();

    LoadProgress progress{files.size(), 0};
    CReadAhead reports{files};
    std::vector<StoredReport> batch;
    std::vector<Refusal> refused;
    while (progress.done < progress.files) {
        Outcome outcome = reports.Next();
        ++progress.done;
        if (auto* const refusal = std::get_if<Refusal>(&outcome))
            refuse(*refusal);
        else
            batch.push_back(std::move(std::get<StoredReport>(outcome)));
        if (batch.size() >= kBatch || progress.done == progress.files) {
            result.stored += StoreReports(database, host, std::exchange(batch, {}), &refused);
            for (const Refusal& refusal : std::exchange(refused, {}))
                refuse(refusal);
        }
        listener.onProgress(progress);
    }
    // The answers are planned by what the engine knows of the tables' sizes, which now are others.
    constexpr std::uint64_t kMany = 200;
    if (result.stored.machines >= kMany)
        database.Run("ANALYZE");
    return result;
}

}  // namespace orrery::fleet
