#include <sqlite3.h>

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

class CSqliteWriter : public CRowWriter {
public:
    CSqliteWriter(CSqliteDatabase& database, Statement statement)
        : database_(database), statement_(std::move(statement))
    {}
    void Add(std::span<const Value> row) override;
    void Finish() override {}

private:
    CSqliteDatabase& database_;
    Statement statement_;
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
        const int result =
            sqlite3_open_v2(path.c_str(), &connection,
                            SQLITE_OPEN_READWRITE | (mayCreate ? SQLITE_OPEN_CREATE : 0), nullptr);
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
        Bind(statement.get(), parameters);
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
        std::string text = "INSERT INTO " + table + " (" + columns + ") VALUES (?";
        for (const char letter : columns)
            if (letter == ',')
                text += ",?";
        return std::make_unique<CSqliteWriter>(*this, Prepare(text + ")"));
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

    void Bind(sqlite3_stmt* statement, std::span<const Value> values) const
    {
        int place = 0;
        for (const Value& value : values) {
            ++place;
            if (const auto* const number = std::get_if<std::int64_t>(&value))
                Check(sqlite3_bind_int64(statement, place, *number));
            else if (const auto* const text = std::get_if<std::string_view>(&value))
                Check(sqlite3_bind_text64(statement, place, text->data() ? text->data() : "",
                                          text->size(), SQLITE_STATIC, SQLITE_UTF8));
            else
                Check(sqlite3_bind_null(statement, place));
        }
    }

private:
    Statement Prepare(const std::string& text) const
    {
        sqlite3_stmt* statement = nullptr;
        Check(sqlite3_prepare_v2(connection_.get(), text.c_str(), static_cast<int>(text.size()),
                                 &statement, nullptr));
        return Statement{statement};
    }

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

/// A text without U+0000, which tools that read a text to its end would cut there.
std::string WithoutNulls(std::string_view text)
{
    std::string result;
    for (const char unit : text) {
        if (unit == '\0')
            result += "\xEF\xBF\xBD";
        else
            result += unit;
    }
    return result;
}

void CSqliteWriter::Add(std::span<const Value> row)
{
    std::vector<std::string> mended;
    std::vector<Value> values;
    for (const Value& value : row)
        if (TextIn(value).find('\0') != std::string_view::npos) {
            values.assign(row.begin(), row.end());
            mended.reserve(row.size());
            break;
        }
    for (Value& value : values)
        if (TextIn(value).find('\0') != std::string_view::npos)
            value = mended.emplace_back(WithoutNulls(TextIn(value)));
    database_.Bind(statement_.get(), values.empty() ? row : std::span<const Value>{values});
    database_.Step(statement_.get());
    sqlite3_reset(statement_.get());
}

}  // namespace

std::unique_ptr<CDatabase> OpenSqlite(const std::string& path, bool mayCreate)
{
    return std::make_unique<CSqliteDatabase>(path, mayCreate);
}

}  // namespace orrery::fleet
