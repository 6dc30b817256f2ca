#include "client/fleet/load.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <variant>

#include "client/fleet/sources.h"
#include "client/report/report.h"
#include "client/report/sidecar.h"
#include "client/system/exit_codes.h"
#include "client/text/utf8.h"

namespace orrery::fleet {
namespace {

/// Reports that are stored in one transaction, and the bytes of their files: whichever is less.
constexpr std::size_t kBatch = 1000;
constexpr std::size_t kBatchBytes = std::size_t{32} << 20;
/// Files that a thread reads or takes apart in one go; of large ones fewer.
constexpr std::size_t kPart = 32;
constexpr std::size_t kPartBytes = std::size_t{2} << 20;
/// Parts that may wait for being stored, so that memory does not grow with the number of reports: enough for
/// the next transaction while one is under way.
constexpr std::size_t kWindow = kBatch / kPart + 8;
/// Files that are looked up at once.
constexpr std::size_t kLookUp = 4096;

using Outcome = std::variant<StoredReport, Refusal>;

/// @return nothing for what cannot be read
std::optional<std::string> ReadBytes(const SourceFile& source)
{
    const int file = open(source.path.c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return std::nullopt;
    // One more, to see the end of a file that has not grown.
    std::string bytes(source.size + 1, '\0');
    std::size_t size = 0;
    ssize_t got = 0;
    while (size < bytes.size() && (got = read(file, bytes.data() + size, bytes.size() - size)) > 0)
        size += static_cast<std::size_t>(got);
    close(file);
    if (got != 0)
        return std::nullopt;
    bytes.resize(size);
    return bytes;
}

/// @param bytes of the file, where they could be read
Outcome Parse(const SourceFile& file, const std::optional<std::string>& bytes)
{
    const std::filesystem::path path = PathFromUtf8(file.path);
    try {
        auto facts = bytes ? CReportFacts::Read(*bytes) : std::nullopt;
        if (!facts)
            facts = CReportFacts::Of(report::ReadReport(path));
        if (facts->completeness().isCut())
            return Refusal{file.path, report::Describe(facts->completeness())};
        constexpr std::int64_t kNanoseconds = 1'000'000'000;
        std::int64_t time = file.modified / kNanoseconds;
        report::Sidecar sidecar;
        if (file.sidecarModified != 0)
            if (auto told = report::ReadSidecar(SidecarPath(path))) {
                sidecar = std::move(*told);
                time = sidecar.collected;
            }
        auto stored = StoredReport::From(std::move(*facts), file, time, sidecar.rights,
                                         sidecar.uuid, sidecar.installation);
        if (stored.identity.name.empty())
            stored.identity.name = sidecar.computerName;
        if (stored.identity.isEmpty())
            return Refusal{file.path, "nothing in it tells which machine it is of"};
        return stored;
    } catch (const CommandError& error) {
        return Refusal{file.path, error.what()};
    }
}

/// Reads files on a thread of its own, takes them apart on others and hands them out in their order.
class CReadAhead {
public:
    explicit CReadAhead(const std::vector<SourceFile>& files)
    {
        for (std::size_t begin = 0, end = 0; end < files.size(); begin = end) {
            for (std::size_t bytes = 0;
                 end < files.size() && end - begin < kPart && bytes < kPartBytes; ++end)
                bytes += files[end].size;
            parts_.push_back(std::span{files}.subspan(begin, end - begin));
        }
        threads_.emplace_back([this] { Guard([this] { ReadFiles(); }); });
        const unsigned parsers = std::max(1U, std::thread::hardware_concurrency() - 1);
        for (unsigned i = 0; i < parsers; ++i)
            threads_.emplace_back([this] { Guard([this] { ParseFiles(); }); });
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
        if (at_ == current_.size()) {
            std::unique_lock lock{mutex_};
            Slot& slot = slots_[taken_ % kWindow];
            changed_.wait(lock, [&] { return slot.state == State::kParsed || failure_; });
            if (failure_)
                std::rethrow_exception(failure_);
            current_ = std::move(slot.outcomes);
            slot = {};
            at_ = 0;
            ++taken_;
            lock.unlock();
            changed_.notify_all();
        }
        return std::move(current_[at_++]);
    }

private:
    enum class State { kEmpty, kRead, kParsed };
    /// A part of the files on its way.
    struct Slot {
        State state = State::kEmpty;
        std::vector<std::optional<std::string>> bytes;
        std::vector<Outcome> outcomes;
    };

    template <class Work>
    void Guard(const Work& work)
    {
        try {
            work();
        } catch (...) {
            const std::lock_guard lock{mutex_};
            failure_ = std::current_exception();
            changed_.notify_all();
        }
    }

    void ReadFiles()
    {
        for (std::size_t part = 0; part < parts_.size(); ++part) {
            {
                std::unique_lock lock{mutex_};
                changed_.wait(lock, [&] { return isStopped_ || part < taken_ + kWindow; });
                if (isStopped_)
                    return;
            }
            std::vector<std::optional<std::string>> bytes;
            for (const SourceFile& file : parts_[part])
                bytes.push_back(ReadBytes(file));
            {
                const std::lock_guard lock{mutex_};
                Slot& slot = slots_[part % kWindow];
                slot.bytes = std::move(bytes);
                slot.state = State::kRead;
            }
            changed_.notify_all();
        }
    }

    void ParseFiles()
    {
        for (;;) {
            std::vector<std::optional<std::string>> bytes;
            std::size_t part = 0;
            {
                std::unique_lock lock{mutex_};
                part = parsed_++;
                if (part >= parts_.size())
                    return;
                Slot& slot = slots_[part % kWindow];
                changed_.wait(lock, [&] {
                    return isStopped_ || (part < taken_ + kWindow && slot.state == State::kRead);
                });
                if (isStopped_)
                    return;
                bytes = std::move(slot.bytes);
            }
            std::vector<Outcome> outcomes;
            outcomes.reserve(bytes.size());
            for (std::size_t i = 0; i < bytes.size(); ++i) {
                outcomes.push_back(Parse(parts_[part][i], bytes[i]));
                bytes[i].reset();
            }
            {
                const std::lock_guard lock{mutex_};
                Slot& slot = slots_[part % kWindow];
                slot.outcomes = std::move(outcomes);
                slot.state = State::kParsed;
            }
            changed_.notify_all();
        }
    }

    std::vector<std::span<const SourceFile>> parts_;
    std::vector<Outcome> current_;
    std::size_t at_ = 0;  ///< in current_

    std::mutex mutex_;
    std::condition_variable changed_;
    std::array<Slot, kWindow> slots_;
    std::size_t taken_ = 0, parsed_ = 0;
    bool isStopped_ = false;
    std::exception_ptr failure_;
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
                                            file.sidecarModified}) {
                file.wasLoaded = found != known.end();
                changed.push_back(std::move(file));
            }
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
    std::size_t bytes = 0;
    std::vector<Refusal> refused;
    while (progress.done < progress.files) {
        Outcome outcome = reports.Next();
        ++progress.done;
        if (auto* const refusal = std::get_if<Refusal>(&outcome))
            refuse(*refusal);
        else
            bytes += batch.emplace_back(std::move(std::get<StoredReport>(outcome))).file.size;
        if (batch.size() >= kBatch || bytes >= kBatchBytes || progress.done == progress.files) {
            result.stored += StoreReports(database, host, std::exchange(batch, {}), &refused);
            bytes = 0;
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
