#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/fleet/database.h"
#include "client/fleet/identity.h"
#include "client/fleet/report_facts.h"

namespace orrery::fleet {

/// Which file a report came from, as it was then.
struct SourceFile {
    std::string path;  ///< absolute, UTF-8
    std::uint64_t size = 0;
    std::int64_t modified = 0;         ///< in nanoseconds since 1970
    std::int64_t sidecarModified = 0;  ///< the same of its companion; 0 without one
    bool wasLoaded = false;            ///< with other contents, by this computer
};

/// A report that is to be stored.
struct StoredReport {
    SourceFile file;
    std::int64_t time = 0;  ///< in seconds since 1970
    std::string rights;     ///< that the run had; empty where nobody tells
    Identity identity;
    CReportFacts facts;
    std::vector<std::pair<std::string, std::string>> placeholders;  ///< by property

    bool isComplete() const noexcept
    {
        return facts.completeness().state == report::Completeness::State::kWhole;
    }

    /// Takes what is to be stored out of a report.
    static StoredReport From(CReportFacts facts, SourceFile file, std::int64_t time,
                             std::string_view rights, std::string_view uuid,
                             std::string_view installation);
};

/// What became of some reports.
struct StoreCounts {
    std::uint64_t reports = 0, machines = 0, changed = 0, changes = 0;
    std::uint64_t conflicts = 0;  ///< pairs of machines that are hard to tell apart

    StoreCounts& operator+=(const StoreCounts& other) noexcept;
};

/// A report that could not be stored for what it says.
struct Refusal {
    std::string path, reason;
};

/// Stores reports, in one transaction.
/// @param host names this computer, whose paths are not those of others
/// @param refusals gets those that are ambiguous
StoreCounts StoreReports(CDatabase& database, const std::string& host,
                         std::vector<StoredReport> reports, std::vector<Refusal>* refusals);

}  // namespace orrery::fleet
