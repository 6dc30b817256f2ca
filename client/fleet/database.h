#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace orrery::fleet {

enum class Engine { kSqlite, kPostgres };

/// A value of a table: NULL, a whole number (a truth value is 0 or 1), or a text in UTF-8. Views are
/// valid as long as what they were taken from.
using Value = std::variant<std::monostate, std::int64_t, std::string_view>;

/// Adds rows to a table as fast as the engine can. There may be several at a time, each of a table of its
/// own.
class CRowWriter {
public:
    virtual ~CRowWriter() = default;
    /// @param row a value for each of the columns; U+0000 becomes U+FFFD
    virtual void Add(std::span<const Value> row) = 0;
    /// Hands over what is left; from then on the rows are in the table. More may be added afterwards.
    virtual void Finish() = 0;
};

/// An open database, of one thread at a time. Every function throws CommandError with the engine's own words: kInput for what a
/// user can mend, such as a file that is no database or a server that is not there, else kReport.
class CDatabase {
public:
    virtual ~CDatabase() = default;

    virtual Engine engine() const noexcept = 0;
    /// Runs statements that give no rows.
    virtual void Run(const std::string& statements) = 0;
    /// Runs one statement and hands out its rows as they come.
    /// @param parameters the values of $1, $2, ... which have to be used in this order
    virtual void Query(const std::string& statement, std::span<const Value> parameters,
                       const std::function<void(std::span<const Value> row)>& onRow) = 0;
    /// Adds rows to a table, in the present transaction.
    /// @param columns separated by ", "
    virtual std::unique_ptr<CRowWriter> Insert(const std::string& table,
                                               const std::string& columns) = 0;

    /// Begins a transaction that writes. Another one of the same kind waits for its end, so that what is
    /// loaded from several places at once comes to the same as one after another.
    virtual void Begin() = 0;
    virtual void Commit() = 0;
    /// Takes back what the present transaction did, if there is one. Never throws.
    virtual void Rollback() noexcept = 0;

    void Query(const std::string& statement,
               const std::function<void(std::span<const Value> row)>& onRow)
    {
        Query(statement, {}, onRow);
    }
};

/// A transaction that is taken back unless it is committed.
class CTransaction {
public:
    explicit CTransaction(CDatabase& database) : database_(database) { database_.Begin(); }
    ~CTransaction() { database_.Rollback(); }
    CTransaction(const CTransaction&) = delete;
    CTransaction& operator=(const CTransaction&) = delete;
    void Commit() { database_.Commit(); }

private:
    CDatabase& database_;
};

/// Whether a name means a PostgreSQL server ("postgresql://..." or "postgres://...") rather than a file.
bool IsServer(std::string_view name) noexcept;

/// Opens a database.
/// @param name      a file of SQLite, or the address of a PostgreSQL database as its own tools take it
/// @param mayCreate whether to make the file where there is none
/// @throws CommandError (kInput) where it cannot be opened
std::unique_ptr<CDatabase> OpenDatabase(const std::string& name, bool mayCreate);

// The engines behind OpenDatabase.
std::unique_ptr<CDatabase> OpenSqlite(const std::string& path, bool mayCreate);
std::unique_ptr<CDatabase> OpenPostgres(const std::string& address);

// A row's values where their kind is known.
std::int64_t NumberIn(const Value& value) noexcept;    ///< 0 for NULL
std::string_view TextIn(const Value& value) noexcept;  ///< empty for NULL
bool IsNull(const Value& value) noexcept;

}  // namespace orrery::fleet
