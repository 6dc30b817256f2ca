#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "client/fleet/schema.h"
#include "client/report/report.h"

namespace orrery::fleet {

/// A value of a row that owns its text.
using Cell = std::variant<std::monostate, std::int64_t, std::string>;

/// The view of a cell that a database takes.
Value AsValue(const Cell& cell) noexcept;

/// A cell with what a database handed out.
Cell AsCell(const Value& value);

struct Row {
    std::int32_t instance = 0;
    std::vector<Cell> cells;  ///< one for each column of the table

    bool operator==(const Row&) const = default;
};

/// A fact that has no column, or a value that its column cannot hold as it is.
struct OtherFact {
    std::string property;
    std::int32_t instance = 0;
    std::string value;

    bool operator==(const OtherFact&) const = default;
};

/// One part of a section: what is kept with its history, or what only the latest is kept of.
struct SectionPart {
    const SectionTable* table = nullptr;  ///< null where the vocabulary has none
    std::vector<Row> rows;
    std::vector<OtherFact> others;
    /// The properties that are there and empty although their columns cannot say so, as
    /// "Property.Index", separated by vertical bars.
    std::string empty;
    std::string digest;  ///< the same for the same facts
};

struct SectionRows {
    std::string section;
    SectionPart history, latest;
};

/// Whether a report says U+0000 anywhere, which no database's text holds.
bool HasNulls(const report::Report& report);

/// The report with U+FFFD in place of every U+0000.
report::Report WithoutNulls(report::Report report);

/// A report's facts as rows, by section. No fact is lost on the way.
std::vector<SectionRows> RowsOf(const report::Report& report);

/// Those of a section's empty properties, as SectionPart::empty, that are kept with their history.
std::string EmptyInHistory(std::string_view section, std::string_view empty);

/// The facts of a section from its rows, in the order of the report.
report::Section SectionOf(std::string_view section, const SectionPart& part);

/// The columns of a table as a query asks for them, so that the values are those of AsCell.
std::string SelectList(const SectionTable& table, Engine engine);

}  // namespace orrery::fleet
