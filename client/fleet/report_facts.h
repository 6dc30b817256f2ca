#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/report/report.h"
#include "client/report/vocabulary.h"

namespace orrery::fleet {

/// A report's facts as they stand in its file: by section, property and instance, all texts in one piece of
/// memory. Most sections of most reports are those that were loaded before, which a digest tells; so
/// nothing is made of a section's facts before it is needed.
///
/// It can be moved, not copied: the views are of its own text.
class CReportFacts {
public:
    struct Fact {
        std::int32_t instance;
        std::string_view value;
    };
    /// The facts of one property of a section, by ascending instance.
    struct Run {
        std::string_view property;
        const report::Term* term;  ///< null where the vocabulary lacks it
        std::string_view lines;    ///< of the report
        std::size_t first, last;   ///< of the facts, without `last`
    };
    struct Section {
        std::string_view name;
        std::size_t first, last;  ///< of the runs, without `last`
        /// The same for the same facts: of those that are kept with their history, and of the rest.
        std::string historyDigest, latestDigest;
        bool hasLatest;  ///< whether there is such a rest
    };

    /// Takes a report's facts out of the bytes of its file.
    /// Every U+0000, which no database's text holds, is U+FFFD.
    /// @return nothing for a file that is not exactly as the library writes one; ReadReport reads those
    static std::optional<CReportFacts> Read(std::string_view bytes);
    static CReportFacts Of(const report::Report& report);

    CReportFacts() = default;
    CReportFacts(CReportFacts&&) noexcept = default;
    CReportFacts& operator=(CReportFacts&&) noexcept = default;
    CReportFacts(const CReportFacts&) = delete;
    CReportFacts& operator=(const CReportFacts&) = delete;
    ~CReportFacts() = default;

    std::span<const Section> sections() const noexcept { return sections_; }
    std::span<const Run> RunsOf(const Section& section) const noexcept
    {
        return std::span{runs_}.subspan(section.first, section.last - section.first);
    }
    std::span<const Fact> FactsOf(const Run& run) const noexcept
    {
        return std::span{facts_}.subspan(run.first, run.last - run.first);
    }
    const std::vector<std::string>& elapsedTimes() const noexcept { return elapsedTimes_; }
    const report::Completeness& completeness() const noexcept { return completeness_; }

    /// A report of some of the facts, with the elapsed times.
    report::Report Pick(const report::FactFilter& isPicked) const;

private:
    bool ReadLines();
    std::string_view AddText(std::string_view text);
    void EndRun();
    void EndSection();

    std::vector<char> text_;
    std::vector<Fact> facts_;
    std::vector<Run> runs_;
    std::vector<Section> sections_;
    std::vector<std::string> elapsedTimes_;
    report::Completeness completeness_;
};

/// Whether only the latest values of a run's property are kept.
bool IsLatestOnly(const CReportFacts::Run& run) noexcept;

}  // namespace orrery::fleet
