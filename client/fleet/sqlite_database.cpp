#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <utility>
#include <vector>

#include "client/fleet/database.h"
#include "client/system/exit_codes.h"
#include "client/text/utf8.h"

namespace orrery::fleet {
namespace {

struct Closing {
    void operator()(sqlite3* connection) const noexcept { sqlite3_close_v2(connection); }
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Connection = std::unique_ptr<sqlite3, Closing>;
using Statement = std::unique_ptr<sqlite3_stmt, Closing>;

/// How long to wait for another program that writes to the same file.
constexpr int kPatienceMilliseconds = 60'000;

class CSqliteDatabase;

/// Hands over many rows at a time: the engine goes on where the row before went, instead of looking for the
/// place of each.
class CSqliteWriter : public CRowWriter {
public:
    CSqliteWriter(CSqliteDatabase& database, std::string table, const std::string& columns);
    void Add(std::span<const Value> row) override;
    void Finish() override;

private:
    static constexpr std::size_t kMostRows = 64;
    static constexpr std::size_t kMostTextBytes = std::size_t{1} << 20;

    /// A value that waits; a text is so many bytes from a place in texts_ on.
    struct Waiting {
        enum class Kind { kNull, kNumber, kText } kind;
        std::int64_t number;
        std::size_t size;
    };

    Statement MakeStatement(std::size_t rows) const;
    void Step(sqlite3_stmt* statement, std::size_t firstRow, std::size_t rows);

    CSqliteDatabase& database_;
    const std::string start_;
    const std::size_t columns_;
    Statement one_, many_;
    std::vector<Waiting> values_;
    std::string texts_;
};

class CSqliteDatabase : public CDatabase {
public:
    CSqliteDatabase(const std::string& path, bool mayCreate) : path_(path)
    {
        if (!mayCreate && !std::filesystem::exists(PathFromUtf8(path)))
            throw CommandError(
                ExitCode::kInput,
                "there is no database \"" + path + "\"; \"orreryctl fleet load FOLDER\" makes one");
        sqlite3* connection = nullptr;
        const int result = sqlite3_open_v2(
            path.c_str(), &connection,
            SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | (mayCreate ? SQLITE_OPEN_CREATE : 0),
            nullptr);
        connection_.reset(connection);
        Check(result);
        sqlite3_busy_timeout(connection, kPatienceMilliseconds);
        // Readers go on while a load writes; what was committed survives a crash of the program.
        Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA cache_size = -65536; "
            "PRAGMA temp_store = MEMORY;");
    }

    Engine engine() const noexcept override { return Engine::kSqlite; }

    void Run(const std::string& statements) override
    {
        Check(sqlite3_exec(connection_.get(), statements.c_str(), nullptr, nullptr, nullptr));
    }

    void Query(const std::string& text, std::span<const Value> parameters,
               const std::function<void(std::span<const Value>)>& onRow) override
    {
        const Statement statement = Prepare(text);
        int place = 0;
        for (const Value& parameter : parameters)
            Bind(statement.get(), ++place, parameter);
        std::vector<Value> row(static_cast<std::size_t>(sqlite3_column_count(statement.get())));
        while (Step(statement.get())) {
            for (std::size_t i = 0; i < row.size(); ++i)
                row[i] = Column(statement.get(), static_cast<int>(i));
            onRow(row);
        }
    }

    std::unique_ptr<CRowWriter> Insert(const std::string& table,
                                       const std::string& columns) override
    {
        return std::make_unique<CSqliteWriter>(*this, table, columns);
    }

    void Begin() override { Run("BEGIN IMMEDIATE"); }
    void Commit() override { Run("COMMIT"); }
    void Rollback() noexcept override
    {
        if (sqlite3_get_autocommit(connection_.get()) == 0)
            sqlite3_exec(connection_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }

    void Check(int result) const
    {
        if (result == SQLITE_OK || result == SQLITE_DONE || result == SQLITE_ROW)
            return;
        const std::string words =
            connection_ ? sqlite3_errmsg(connection_.get()) : sqlite3_errstr(result);
        switch (result & 0xFF) {
            case SQLITE_BUSY:
            case SQLITE_LOCKED:
                throw CommandError(ExitCode::kInput, "another program is writing to \"" + path_ +
                                                         "\"; try again when it has ended");
            case SQLITE_NOTADB:
            case SQLITE_CANTOPEN:
            case SQLITE_READONLY:
            case SQLITE_CORRUPT:
                throw CommandError(
                    ExitCode::kInput,
                    "cannot use \"" + path_ + "\" as a database: " + words +
                        "; name one that \"orreryctl fleet load\" has made or may make");
            default:
                throw CommandError(ExitCode::kReport, "database \"" + path_ + "\": " + words);
        }
    }

    /// @return whether there is a row
    bool Step(sqlite3_stmt* statement) const
    {
        const int result = sqlite3_step(statement);
        Check(result);
        return result == SQLITE_ROW;
    }

    /// @param place from 1
    void Bind(sqlite3_stmt* statement, int place, const Value& value) const
    {
        if (const auto* const number = std::get_if<std::int64_t>(&value))
            Check(sqlite3_bind_int64(statement, place, *number));
        else if (const auto* const text = std::get_if<std::string_view>(&value))
            Check(sqlite3_bind_text64(statement, place, text->data() ? text->data() : "",
                                      text->size(), SQLITE_STATIC, SQLITE_UTF8));
        else
            Check(sqlite3_bind_null(statement, place));
    }

    Statement Prepare(const std::string& text) const
    {
        sqlite3_stmt* statement = nullptr;
        Check(sqlite3_prepare_v2(connection_.get(), text.c_str(), static_cast<int>(text.size()),
                                 &statement, nullptr));
        return Statement{statement};
    }

private:
    static Value Column(sqlite3_stmt* statement, int place)
    {
        switch (sqlite3_column_type(statement, place)) {
            case SQLITE_NULL:
                return std::monostate{};
            case SQLITE_INTEGER:
                return std::int64_t{sqlite3_column_int64(statement, place)};
            default: {
                const auto* const text =
                    reinterpret_cast<const char*>(sqlite3_column_text(statement, place));
                return std::string_view{
                    text, static_cast<std::size_t>(sqlite3_column_bytes(statement, place))};
            }
        }
    }

    std::string path_;
    Connection connection_;
};

CSqliteWriter::CSqliteWriter(CSqliteDatabase& database, std::string table,
                             const std::string& columns)
    : database_(database),
      start_("INSERT INTO " + std::move(table) + " (" + columns + ") VALUES "),
      columns_(static_cast<std::size_t>(std::ranges::count(columns, ',')) + 1),
      one_(MakeStatement(1))
{}

Statement CSqliteWriter::MakeStatement(std::size_t rows) const
{
    std::string row = "(?";
    for (std::size_t i = 1; i < columns_; ++i)
        row += ",?";
    std::string text = start_;
    for (std::size_t i = 0; i < rows; ++i)
        text += (i == 0 ? "" : ",") + row + ')';
    return database_.Prepare(text);
}

void CSqliteWriter::Add(std::span<const Value> row)
{
    using enum Waiting::Kind;
    for (const Value& value : row) {
        if (const auto* const number = std::get_if<std::int64_t>(&value)) {
            values_.push_back({kNumber, *number, 0});
        } else if (const auto* const text = std::get_if<std::string_view>(&value)) {
            const std::size_t begin = texts_.size();
            texts_ += *text;
            // Tools that read a text to its end would cut it at U+0000.
            for (std::size_t at = begin; (at = texts_.find('\0', at)) != std::string::npos;)
                texts_.replace(at, 1, "\xEF\xBF\xBD");
            values_.push_back({kText, static_cast<std::int64_t>(begin), texts_.size() - begin});
        } else {
            values_.push_back({kNull, 0, 0});
        }
    }
    if (values_.size() == kMostRows * columns_) {
        if (many_ == nullptr)
            many_ = MakeStatement(kMostRows);
        Step(many_.get(), 0, kMostRows);
        values_.clear();
        texts_.clear();
    } else if (texts_.size() > kMostTextBytes) {
        Finish();
    }
}

void CSqliteWriter::Finish()
{
    for (std::size_t row = 0; row < values_.size() / columns_; ++row)
        Step(one_.get(), row, 1);
    values_.clear();
    texts_.clear();
}

void CSqliteWriter::Step(sqlite3_stmt* statement, std::size_t firstRow, std::size_t rows)
{
    for (std::size_t i = 0; i < rows * columns_; ++i) {
        const Waiting& waiting = values_[firstRow * columns_ + i];
        const int place = static_cast<int>(i) + 1;
        switch (waiting.kind) {
            case Waiting::Kind::kNull:
                database_.Bind(statement, place, {});
                break;
            case Waiting::Kind::kNumber:
                database_.Bind(statement, place, waiting.number);
                break;
            case Waiting::Kind::kText:
                database_.Bind(statement, place,
                               std::string_view{texts_}.substr(
                                   static_cast<std::size_t>(waiting.number), waiting.size));
        }
    }
    database_.Step(statement);
    sqlite3_reset(statement);
}

}  // namespace

std::unique_ptr<CDatabase> OpenSqlite(const std::string& path, bool mayCreate)
{
    return std::make_unique<CSqliteDatabase>(path, mayCreate);
}

}  // namespace orrery::fleet
