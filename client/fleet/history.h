#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "client/fleet/database.h"
#include "client/fleet/rows.h"

namespace orrery::fleet {

/// A time column as a query asks for it: as text in the form of the reports, in both engines.
std::string TimeText(Engine engine, const std::string& column);

/// The history of the sections: which row held from when to when, and what changed. Every report stands
/// where its time puts it, whenever it comes.
class CHistory {
public:
    explicit CHistory(CDatabase& database) : database_(database) {}

    /// The time of the next later report of a machine that has the section.
    std::optional<std::int64_t> NextReport(std::int64_t machine, const std::string& section,
                                           std::int64_t time);

    /// Makes a section's present rows those of a report that is the latest one.
    /// @param emptyBefore the properties that were empty, as SectionPart::empty
    /// @return how many properties changed
    std::uint64_t Change(std::int64_t machine, const std::string& section, const SectionPart& part,
                         const std::string& emptyBefore, std::int64_t time);

    /// Puts a report between earlier and later ones.
    /// @param emptyNow the properties that are empty in the latest report
    /// @param next     the time of the next later one that has the section
    std::uint64_t Insert(std::int64_t machine, const std::string& section, const SectionPart& part,
                         const std::string& emptyNow, std::int64_t time, std::int64_t next);

    /// A part of a section with the properties of some terms as they were at a time.
    SectionPart WithKept(std::int64_t machine, const std::string& section, const SectionPart& part,
                         const std::string& emptyNow, std::int64_t time,
                         const std::function<bool(const report::Term&)>& isKept);

private:
    /// A row of a section's table, or one of the facts without a column.
    struct Kept {
        bool isOther = false;
        Row row;               // not for other facts
        OtherFact other;       // only for these
        std::string from, to;  // `to` is empty while it holds

        bool HasSameFacts(const Kept& another) const
        {
            return isOther == another.isOther && row == another.row && other == another.other;
        }
    };
    struct Place {
        std::int64_t machine;
        const std::string& section;
        const SectionTable* table;
    };

    static report::Section SectionOfKept(const Place& place, const std::vector<Kept>& all,
                                         const std::string& empty);
    std::vector<Kept> ValidAt(const Place& place, const std::string& time);
    std::vector<Kept> Read(const Place& place, const std::string& condition,
                           const std::string& time);
    /// The properties that were empty at a time.
    std::string EmptyAt(const Place& place, const std::string& time, const std::string& emptyNow);
    /// Says what was empty until a time, where it is something else from then on.
    void SetEmpty(const Place& place, const std::string& upto, const std::string& empty);
    void Open(const Place& place, const Kept& kept);
    void Set(const Place& place, const Kept& kept, const char* column, const std::string& value);
    std::uint64_t AddChanges(const Place& place, const std::string& time,
                             const report::Section& before, const report::Section& after);

    CDatabase& database_;
};

}  // namespace orrery::fleet
