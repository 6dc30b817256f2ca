#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/fleet/database.h"
#include "client/report/vocabulary.h"

namespace orrery::fleet {

/// The form of the tables. A database of an older one is upgraded, one of a newer one refused.
inline constexpr int kSchemaVersion = 1;

enum class ColumnType { kText, kNumber, kTruth, kDate, kTime };

struct Column {
    std::string name;  ///< the property in snake case, such as mac_address
    ColumnType type;
    const report::Term* term;
};

/// A table of a section's instances. Facts that differ with every run, or with where the machine is,
/// are in a table of their own, which knows the latest ones only: a fleet's history would be nothing else.
struct SectionTable {
    std::string name;  ///< the section in snake case, such as logical_disk; or that and _now
    std::string_view section;
    bool isLatestOnly;
    std::vector<Column> columns;

    /// The columns' names as a statement lists them, without those that all tables have.
    std::string ColumnList() const;
};

/// The tables of all sections of the vocabulary, by section; of a section the history comes first.
const std::vector<SectionTable>& SectionTables();

/// Whether only the latest value of a property is kept.
bool IsLatestOnly(const report::Term& term) noexcept;

/// "mac_address" for MACAddress.
std::string SnakeCase(std::string_view name);

/// The name of a type in an engine.
std::string_view TypeName(Engine engine, ColumnType type) noexcept;

/// Makes the tables where there are none, adds the columns that a newer vocabulary has, and makes the
/// views anew, all in one transaction.
/// @throws CommandError (kInput) where the database has tables of a newer program
void PrepareSchema(CDatabase& database);

/// Sees to it that a database has been loaded by a program that this one understands.
/// @throws CommandError (kInput) where it has not
void CheckSchema(CDatabase& database);

}  // namespace orrery::fleet
