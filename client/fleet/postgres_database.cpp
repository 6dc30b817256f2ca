#include <libpq-fe.h>

#include <array>
#include <charconv>
#include <utility>
#include <vector>

#include "client/fleet/database.h"
#include "client/system/exit_codes.h"

namespace orrery::fleet {
namespace {

struct Closing {
    void operator()(PGconn* connection) const noexcept { PQfinish(connection); }
    void operator()(PGresult* result) const noexcept { PQclear(result); }
};
using Connection = std::unique_ptr<PGconn, Closing>;
using Result = std::unique_ptr<PGresult, Closing>;

/// Locks out other loaders; any number that nothing else of this database uses.
constexpr const char* kLoadersLock = "SELECT pg_advisory_xact_lock(731146023)";
/// How much of a table's rows is sent at once.
constexpr std::size_t kBlockBytes = std::size_t{256} << 10;

// Types of columns, as the server numbers them.
constexpr Oid kBool = 16, kInt8 = 20, kInt2 = 21, kInt4 = 23;

std::string_view WithoutLineEnd(std::string_view text)
{
    while (!text.empty() && text.back() == '\n')
        text.remove_suffix(1);
    return text;
}

class CPostgresDatabase : public CDatabase {
public:
    explicit CPostgresDatabase(const std::string& address)
        : connection_(PQconnectdb(address.c_str()))
    {
        if (PQstatus(connection_.get()) != CONNECTION_OK)
            throw CommandError(ExitCode::kInput,
                               "cannot reach the database: " +
                                   std::string{WithoutLineEnd(PQerrorMessage(connection_.get()))});
        PQsetNoticeProcessor(
            connection_.get(), [](void*, const char*) {}, nullptr);
        Run("SET client_encoding = 'UTF8'; SET timezone = 'UTC'; SET datestyle = 'ISO'; "
            "SET search_path = public");
    }

    Engine engine() const noexcept override { return Engine::kPostgres; }

    void Run(const std::string& statements) override
    {
        const Result result{PQexec(connection_.get(), statements.c_str())};
        Check(result.get());
    }

    void Query(const std::string& statement, std::span<const Value> parameters,
               const std::function<void(std::span<const Value>)>& onRow) override
    {
        std::vector<std::string> texts(parameters.size());
        std::vector<const char*> values(parameters.size(), nullptr);
        for (std::size_t i = 0; i < parameters.size(); ++i) {
            if (const auto* const number = std::get_if<std::int64_t>(&parameters[i]))
                texts[i] = std::to_string(*number);
            else if (IsNull(parameters[i]))
                continue;
            else
                texts[i] = TextIn(parameters[i]);
            values[i] = texts[i].c_str();
        }
        if (PQsendQueryParams(connection_.get(), statement.c_str(), static_cast<int>(values.size()),
                              nullptr, values.data(), nullptr, nullptr, 0) == 0)
            Fail();
        // Rows as they come: a fleet's do not fit into memory.
        PQsetSingleRowMode(connection_.get());
        const Draining draining{connection_.get()};
        std::vector<Value> row;
        while (const Result result{PQgetResult(connection_.get())}) {
            Check(result.get());
            row.resize(static_cast<std::size_t>(PQnfields(result.get())));
            for (int at = 0; at < PQntuples(result.get()); ++at) {
                for (std::size_t i = 0; i < row.size(); ++i)
                    row[i] = Column(result.get(), at, static_cast<int>(i));
                onRow(row);
            }
        }
    }

    std::unique_ptr<CRowWriter> Insert(const std::string& table,
                                       const std::string& columns) override;

    void Begin() override
    {
        Run("BEGIN");
        Run(kLoadersLock);
    }
    void Commit() override { Run("COMMIT"); }
    void Rollback() noexcept override
    {
        if (PQtransactionStatus(connection_.get()) != PQTRANS_IDLE)
            Result{PQexec(connection_.get(), "ROLLBACK")};
    }

    void Check(const PGresult* result) const
    {
        switch (PQresultStatus(result)) {
            case PGRES_COMMAND_OK:
            case PGRES_TUPLES_OK:
            case PGRES_SINGLE_TUPLE:
            case PGRES_COPY_IN:
            case PGRES_EMPTY_QUERY:
                return;
            default:
                Fail();
        }
    }

    [[noreturn]] void Fail() const
    {
        throw CommandError(
            ExitCode::kReport,
            "the database: " + std::string{WithoutLineEnd(PQerrorMessage(connection_.get()))});
    }

    PGconn* connection() const noexcept { return connection_.get(); }

private:
    /// Takes what is left of a query's results, so that another one can be asked.
    class Draining {
    public:
        explicit Draining(PGconn* connection) : connection_(connection) {}
        ~Draining()
        {
            while (const Result left{PQgetResult(connection_)}) {
            }
        }
        Draining(const Draining&) = delete;
        Draining& operator=(const Draining&) = delete;

    private:
        PGconn* connection_;
    };

    static Value Column(const PGresult* result, int row, int place)
    {
        if (PQgetisnull(result, row, place) != 0)
            return std::monostate{};
        const std::string_view text{PQgetvalue(result, row, place),
                                    static_cast<std::size_t>(PQgetlength(result, row, place))};
        switch (PQftype(result, place)) {
            case kBool:
                return std::int64_t{text == "t"};
            case kInt2:
            case kInt4:
            case kInt8: {
                std::int64_t number = 0;
                std::from_chars(text.data(), text.data() + text.size(), number);
                return number;
            }
            default:
                return text;
        }
    }

    Connection connection_;
};

class CPostgresWriter : public CRowWriter {
public:
    explicit CPostgresWriter(CPostgresDatabase& database) : database_(database)
    {
        block_.reserve(kBlockBytes + (std::size_t{64} << 10));
    }
    ~CPostgresWriter() override
    {
        if (!isFinished_)
            End("the rows are incomplete");
    }

    void Add(std::span<const Value> row) override
    {
        bool isFirst = true;
        for (const Value& value : row) {
            if (!std::exchange(isFirst, false))
                block_ += '\t';
            if (const auto* const number = std::get_if<std::int64_t>(&value)) {
                std::array<char, 24> digits{};
                const auto end =
                    std::to_chars(digits.data(), digits.data() + digits.size(), *number);
                block_.append(digits.data(), end.ptr);
            } else if (IsNull(value)) {
                block_ += "\\N";
            } else {
                AddText(TextIn(value));
            }
        }
        block_ += '\n';
        if (block_.size() >= kBlockBytes)
            Send();
    }

    void Finish() override
    {
        Send();
        isFinished_ = true;
        End(nullptr);
    }

private:
    void AddText(std::string_view text)
    {
        for (const char unit : text) {
            switch (unit) {
                case '\0':
                    block_ += "\xEF\xBF\xBD";
                    break;
                case '\\':
                    block_ += "\\\\";
                    break;
                case '\t':
                    block_ += "\\t";
                    break;
                case '\n':
                    block_ += "\\n";
                    break;
                case '\r':
                    block_ += "\\r";
                    break;
                default:
                    block_ += unit;
            }
        }
    }

    void Send()
    {
        if (!block_.empty() && PQputCopyData(database_.connection(), block_.data(),
                                             static_cast<int>(block_.size())) != 1)
            database_.Fail();
        block_.clear();
    }

    void End(const char* refusal)
    {
        PQputCopyEnd(database_.connection(), refusal);
        ExecStatusType status = PGRES_COMMAND_OK;
        while (const Result result{PQgetResult(database_.connection())})
            if (PQresultStatus(result.get()) != PGRES_COMMAND_OK)
                status = PQresultStatus(result.get());
        if (refusal == nullptr && status != PGRES_COMMAND_OK)
            database_.Fail();
    }

    CPostgresDatabase& database_;
    std::string block_;
    bool isFinished_ = false;
};

std::unique_ptr<CRowWriter> CPostgresDatabase::Insert(const std::string& table,
                                                      const std::string& columns)
{
    Run("COPY " + table + " (" + columns + ") FROM STDIN");
    return std::make_unique<CPostgresWriter>(*this);
}

}  // namespace

std::unique_ptr<CDatabase> OpenPostgres(const std::string& address)
{
    return std::make_unique<CPostgresDatabase>(address);
}

}  // namespace orrery::fleet
