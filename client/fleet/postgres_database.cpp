#include <libpq-fe.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <map>
#include <utility>
#include <vector>

#include "client/fleet/database.h"
#include "client/report/typed_value.h"
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
constexpr Oid kBool = 16, kInt8 = 20, kInt2 = 21, kInt4 = 23, kDate = 1082, kTime = 1184;
constexpr std::int64_t kDaySeconds = 86'400;

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
        // Answers take less time than compiling their questions would, and some of them sort a fleet.
        Run("SET client_encoding = 'UTF8'; SET timezone = 'UTC'; SET datestyle = 'ISO'; "
            "SET search_path = public; SET jit = off; SET work_mem = '32MB'");
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
        const bool isInTransaction = PQtransactionStatus(connection_.get()) == PQTRANS_INTRANS;
        if (PQsendQueryParams(connection_.get(), statement.c_str(), static_cast<int>(values.size()),
                              nullptr, values.data(), nullptr, nullptr, 0) == 0)
            Fail();
        // Rows as they come: a fleet's do not fit into memory. Those of a batch do, which is all that is
        // asked for in a transaction, and take less time together.
        if (!isInTransaction)
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
    std::map<std::string, std::vector<Oid>> types_;  ///< of the columns of tables
};

/// Rows in the binary form of COPY, which spares the server reading numbers and times.
class CPostgresWriter : public CRowWriter {
public:
    CPostgresWriter(CPostgresDatabase& database, std::string copy, std::vector<Oid> types)
        : database_(database), copy_(std::move(copy)), types_(std::move(types))
    {}

    void Add(std::span<const Value> row) override
    {
        if (block_.empty())
            // The signature, no flags and no further header.
            block_.append("PGCOPY\n\xFF\r\n\0\0\0\0\0\0\0\0\0", 19);
        AppendNumber<std::int16_t>(static_cast<std::int64_t>(row.size()));
        for (std::size_t i = 0; i < row.size(); ++i)
            AddValue(types_[i], row[i]);
        if (block_.size() >= kMostBytes)
            Finish();
    }

    void Finish() override
    {
        if (block_.empty())
            return;
        AppendNumber<std::int16_t>(-1);
        database_.Run(copy_);
        PGconn* const connection = database_.connection();
        for (std::size_t at = 0; at < block_.size(); at += kBlockBytes)
            if (PQputCopyData(connection, block_.data() + at,
                              static_cast<int>(std::min(kBlockBytes, block_.size() - at))) != 1)
                database_.Fail();
        block_.clear();
        if (PQputCopyEnd(connection, nullptr) != 1)
            database_.Fail();
        bool isDone = true;
        while (const Result result{PQgetResult(connection)})
            isDone = isDone && PQresultStatus(result.get()) == PGRES_COMMAND_OK;
        if (!isDone)
            database_.Fail();
    }

private:
    /// More than that does not wait, so that memory has a bound.
    static constexpr std::size_t kMostBytes = std::size_t{16} << 20;

    void AddValue(Oid type, const Value& value)
    {
        if (const auto* const number = std::get_if<std::int64_t>(&value)) {
            switch (type) {
                case kBool:
                    return AddSized<std::int8_t>(*number != 0);
                case kInt8:
                    return AddSized<std::int64_t>(*number);
                default:
                    return AddText(std::to_string(*number));
            }
        }
        if (IsNull(value))
            return AppendNumber<std::int32_t>(-1);
        const std::string_view text = TextIn(value);
        switch (type) {
            case kDate:
                return AddSized<std::int32_t>(SecondsOfTime(std::string{text} + "T00:00:00Z") /
                                              kDaySeconds);
            case kTime:
                return AddSized<std::int64_t>(SecondsOfTime(text) * 1'000'000);
            default:
                AddText(text);
        }
    }

    /// Since the beginning of 2000, from which the server counts.
    std::int64_t SecondsOfTime(std::string_view text)
    {
        // Rows of one report have one time.
        if (text != lastTime_) {
            constexpr std::int64_t kEpoch = 946'684'800;
            lastTime_ = text;
            lastSeconds_ = report::SecondsOf(text).value() - kEpoch;
        }
        return lastSeconds_;
    }

    template <class Number>
    void AddSized(std::int64_t number)
    {
        AppendNumber<std::int32_t>(sizeof(Number));
        AppendNumber<Number>(number);
    }

    template <class Number>
    void AppendNumber(std::int64_t number)
    {
        std::array<char, sizeof(Number)> bytes{};
        for (std::size_t i = sizeof(Number); i-- > 0; number >>= 8)
            bytes[i] = static_cast<char>(number & 0xFF);
        block_.append(bytes.data(), bytes.size());
    }

    void AddText(std::string_view text)
    {
        if (text.empty() || std::memchr(text.data(), '\0', text.size()) == nullptr) {
            AppendNumber<std::int32_t>(static_cast<std::int64_t>(text.size()));
            block_ += text;
            return;
        }
        std::string mended;
        for (const char unit : text)
            mended += unit != '\0' ? std::string(1, unit) : "\xEF\xBF\xBD";
        AddText(mended);
    }

    CPostgresDatabase& database_;
    const std::string copy_;
    const std::vector<Oid> types_;
    std::string block_;
    std::string lastTime_;
    std::int64_t lastSeconds_ = 0;
};

std::unique_ptr<CRowWriter> CPostgresDatabase::Insert(const std::string& table,
                                                      const std::string& columns)
{
    auto& types = types_[table + ' ' + columns];
    if (types.empty()) {
        const Result result{PQexec(connection_.get(),
                                   ("SELECT " + columns + " FROM " + table + " LIMIT 0").c_str())};
        Check(result.get());
        for (int i = 0; i < PQnfields(result.get()); ++i)
            types.push_back(PQftype(result.get(), i));
    }
    return std::make_unique<CPostgresWriter>(
        *this, "COPY " + table + " (" + columns + ") FROM STDIN (FORMAT binary)", types);
}

}  // namespace

std::unique_ptr<CDatabase> OpenPostgres(const std::string& address)
{
    return std::make_unique<CPostgresDatabase>(address);
}

}  // namespace orrery::fleet
