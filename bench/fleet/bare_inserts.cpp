// Adds the rows of every table of one database of SQLite to the same tables of another one, a prepared
// statement a table, all in one transaction: what no load can do without.
//
//   bare_inserts SOURCE TARGET
#include <sqlite3.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

sqlite3* base = nullptr;

void Check(bool isDone)
{
    if (isDone)
        return;
    std::fprintf(stderr, "%s\n", sqlite3_errmsg(base));
    std::exit(1);
}

void Run(const std::string& statements)
{
    Check(sqlite3_exec(base, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK);
}

sqlite3_stmt* Prepare(const std::string& text)
{
    sqlite3_stmt* statement = nullptr;
    Check(sqlite3_prepare_v2(base, text.c_str(), -1, &statement, nullptr) == SQLITE_OK);
    return statement;
}

void Copy(const std::string& table)
{
    sqlite3_stmt* const from = Prepare("SELECT * FROM source.\"" + table + '"');
    const int columns = sqlite3_column_count(from);
    std::string values;
    for (int i = 0; i < columns; ++i)
        values += i == 0 ? "?" : ", ?";
    sqlite3_stmt* const to = Prepare("INSERT INTO main.\"" + table + "\" VALUES (" + values + ')');
    int step = 0;
    while ((step = sqlite3_step(from)) == SQLITE_ROW) {
        for (int i = 0; i < columns; ++i)
            switch (sqlite3_column_type(from, i)) {
                case SQLITE_NULL:
                    sqlite3_bind_null(to, i + 1);
                    break;
                case SQLITE_INTEGER:
                    sqlite3_bind_int64(to, i + 1, sqlite3_column_int64(from, i));
                    break;
                default:
                    sqlite3_bind_text(to, i + 1,
                                      reinterpret_cast<const char*>(sqlite3_column_text(from, i)),
                                      sqlite3_column_bytes(from, i), SQLITE_STATIC);
            }
        Check(sqlite3_step(to) == SQLITE_DONE);
        sqlite3_reset(to);
    }
    Check(step == SQLITE_DONE);
    sqlite3_finalize(from);
    sqlite3_finalize(to);
}

}  // namespace

int main(int count, char** arguments)
{
    if (count != 3)
        return 2;
    Check(sqlite3_open_v2(arguments[2], &base, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX,
                          nullptr) == SQLITE_OK);
    // As the load has it.
    Run("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL; PRAGMA cache_size = -65536");
    Run("ATTACH '" + std::string{arguments[1]} + "' AS source");
    std::vector<std::string> tables;
    sqlite3_stmt* const names = Prepare(
        "SELECT name FROM source.sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite%'");
    while (sqlite3_step(names) == SQLITE_ROW)
        tables.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(names, 0)));
    sqlite3_finalize(names);
    Run("BEGIN; DELETE FROM fleet_schema");
    for (const std::string& table : tables)
        Copy(table);
    Run("COMMIT");
    sqlite3_close(base);
}
