#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "client/fleet/database.h"
#include "client/fleet/rows.h"

namespace orrery::fleet {

/// A time column as a query asks for it: as text in the form of the reports, in both engines.
std::string TimeText(Engine engine, const std::string& column);

/// The same for SecondsIn, which takes the engine less than a text.
std::string TimeSeconds(Engine engine, const std::string& column);

/// The seconds since 1970 of what TimeSeconds asked for.
std::optional<std::int64_t> SecondsIn(const Value& value);

/// The history of the sections: which row held from when to when, and what changed. Every report stands
/// where its time puts it, whenever it comes.
class CHistory {
public:
    explicit CHistory(CDatabase& database) : database_(database) {}

    /// The time of the next later report of a machine that has the section.
    std::optional<std::int64_t> NextReport(std::int64_t machine, const std::string& section,
                                           std::int64_t time);

    /// Notes that a section's present rows are to become those of a report that is the latest one.
    /// @param emptyBefore the properties that were empty, as SectionPart::empty
    void Change(std::int64_t machine, std::string section, SectionPart part,
                std::string emptyBefore, std::int64_t time);
    /// Does what was noted, all of it together, which no two changes of one section may be.
    /// @param onChanged is told of each section how many of its properties changed
    void MakeChanges(
        const std::function<void(std::int64_t machine, std::uint64_t changes)>& onChanged);

    /// Puts a report between earlier and later ones.
    /// @param emptyNow the properties that are empty in the latest report
    /// @param next     the time of the next later one that has the section
    std::uint64_t Insert(std::int64_t machine, const std::string& section, const SectionPart& part,
                         const std::string& emptyNow, std::int64_t time, std::int64_t next);

    /// Whether a section's rows at a time are those of a report.
    bool Holds(std::int64_t machine, const std::string& section, const SectionPart& part,
               std::int64_t time);

    /// Adds the properties of some terms as they were at a time to a section that lacks them.
    void Keep(std::int64_t machine, const std::string& emptyNow, std::int64_t time,
              const std::function<bool(const report::Term&)>& isKept, report::Section* section);

private:
    /// A row of a section's table, or one of the facts without a column.
    struct Kept {
        bool isOther = false;
        Row row;               // not for other facts
        OtherFact other;       // only for these
        std::string from, to;  // `to` is empty while it holds

        /// Apart from when they hold.
        auto facts() const { return std::tie(isOther, row, other); }
    };
    /// Rows by their facts.
    class CSorted {
    public:
        explicit CSorted(const std::vector<Kept>& rows);
        /// @return null where no row has the same facts
        const Kept* Find(const Kept& sought) const;

    private:
        std::vector<const Kept*> rows_;
    };
    /// A section that changes.
    struct Changing {
        std::int64_t machine;
        std::string section;
        SectionPart part;
        std::string emptyBefore;
        std::int64_t time;
        std::vector<Kept> before = {};
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
    void ReadChanging();
    std::uint64_t MakeChange(const Changing& changing, CRowWriter& closed, CRowWriter& changes);
    std::uint64_t AddChanges(const Place& place, const std::string& time,
                             const report::Section& before, const report::Section& after);
    static std::uint64_t AddChanges(const Place& place, const std::string& time,
                                    const report::Section& before, const report::Section& after,
                                    CRowWriter& changes);
    /// Writes the rows that wait.
    void FinishRows();
    CRowWriter& WriterOf(const std::string& table, const std::string& columns);

    CDatabase& database_;
    std::map<std::pair<std::string_view, std::int64_t>, std::unique_ptr<Changing>> changing_;
    std::map<std::string, std::unique_ptr<CRowWriter>> writers_;  ///< by table
};

}  // namespace orrery::fleet
