#pragma once

#include <compare>
#include <cstdint>
#include <deque>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "client/fleet/report_facts.h"
#include "client/fleet/schema.h"
#include "client/report/report.h"

namespace orrery::fleet {

/// The table with a section's history; null where the vocabulary has none.
const SectionTable* HistoryTable(std::string_view section);

/// A value of a row that owns its text.
using Cell = std::variant<std::monostate, std::int64_t, std::string>;

/// The view of a cell that a database takes.
Value AsValue(const Cell& cell) noexcept;

/// A cell with what a database handed out.
Cell AsCell(const Value& value);

struct Row {
    std::int32_t instance = 0;
    std::vector<Cell> cells;  ///< one for each column of the table

    auto operator<=>(const Row&) const = default;
};

/// A fact that has no column, or a value that its column cannot hold as it is.
struct OtherFact {
    std::string property;
    std::int32_t instance = 0;
    std::string value;

    auto operator<=>(const OtherFact&) const = default;
};

/// One part of a section: what is kept with its history, or what only the latest is kept of.
struct SectionPart {
    const SectionTable* table = nullptr;  ///< null where the vocabulary has none
    std::vector<Row> rows;
    std::vector<OtherFact> others;
    /// The properties that are there and empty although their columns cannot say so, as
    /// "Property.Index", separated by vertical bars.
    std::string empty;
};

/// A part of a section as rows whose texts belong to a report's facts.
struct PartRows {
    struct Other {
        std::string_view property;
        std::int32_t instance;
        std::string_view value;
    };

    const SectionTable* table = nullptr;  ///< null where the vocabulary has none
    std::vector<std::int32_t> instances;  ///< one for each row
    std::vector<Value> cells;             ///< row by row, one for each column
    std::vector<Other> others;
    std::string empty;  ///< as SectionPart::empty

    std::span<const Value> CellsOf(std::size_t row) const noexcept
    {
        return std::span{cells}.subspan(row * table->columns.size(), table->columns.size());
    }
    /// The same with texts of its own.
    SectionPart Copy() const;
};

/// Makes rows of the facts of sections, one section after another. No fact is lost on the way.
class CSectionRows {
public:
    void Make(const CReportFacts& facts, const CReportFacts::Section& section);

    PartRows history, latest;  ///< of the section that Make was called for last

private:
    void MakePart(const CReportFacts& facts, const CReportFacts::Section& section, bool isLatest,
                  PartRows* part);
    Value ToCell(const Column& column, std::string_view value);

    std::deque<std::string> made_;  ///< texts that are not the report's
};

/// Those of a section's empty properties, as SectionPart::empty, that are kept with their history.
std::string EmptyInHistory(std::string_view section, std::string_view empty);

/// The facts of a section from its rows, in the order of the report.
report::Section SectionOf(std::string_view section, const SectionPart& part);

/// The columns of a table as a query asks for them, so that the values are those of AsCell.
std::string SelectList(const SectionTable& table, Engine engine);

}  // namespace orrery::fleet
