// The SQLite target: each table created and filled in one transaction, by
// one prepared INSERT with bound values; names only as quoted identifiers.
// Integers go in as INTEGER, reals as REAL, exact decimals and timestamps
// as TEXT in a column of TEXT affinity, so that nothing reads back rounded.
#include <sqlite3.h>

#include <cstdlib>
#include <cstring>

#include "load/target.h"

namespace {

// An identifier quoted as SQLite quotes it: in double quotes, doubled inside.
std::string quoted(const std::string &name)
{
    std::string q = "\"";
    for (char c : name)
        q += c == '"' ? std::string("\"\"") : std::string(1, c);
    return q + "\"";
}

// The column type by the kind of values, so that they read back exactly.
const char *declared_type(ValueKind k)
{
    switch (k) {
    case ValueKind::integer: return "INTEGER";
    case ValueKind::real: return "REAL";
    default: return "TEXT";  // deliberate: NUMERIC or DECIMAL would turn decimal text into REAL
    }
}

class SqliteTarget : public Target {
 public:
    SqliteTarget(sqlite3 *db, bool replace) : db_(db), replace_(replace) {}
    ~SqliteTarget() override
    {
        abort();
        sqlite3_close(db_);
    }
    bool begin_table(const TableSpec &table) override;
    bool row(const Value *values) override;
    bool commit() override;
    void abort() override;

 private:
    bool exec(const std::string &sql);
    bool fail(const std::string &what);
    sqlite3 *db_;
    bool replace_;
    sqlite3_stmt *insert_ = nullptr;
    const TableSpec *table_ = nullptr;
    bool open_ = false;          // a transaction is open
};

// Records SQLite's own message behind what failed.
bool SqliteTarget::fail(const std::string &what)
{
    error = what + ": " + sqlite3_errmsg(db_);
    return false;
}

// Runs a statement; false with SQLite's message.
bool SqliteTarget::exec(const std::string &sql)
{
    return sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK || fail("SQLite");
}

// Opens the transaction, drops (replace) or refuses an existing table, creates it, prepares the INSERT.
bool SqliteTarget::begin_table(const TableSpec &table)
{
    table_ = &table;
    table_exists = false;
    if (!exec("BEGIN IMMEDIATE"))
        return false;
    open_ = true;
    sqlite3_stmt *q = nullptr;
    if (sqlite3_prepare_v2(db_, "SELECT type FROM sqlite_master WHERE name = ?1 COLLATE NOCASE", -1, &q, nullptr) !=
        SQLITE_OK)
        return fail("SQLite");
    sqlite3_bind_text(q, 1, table.name.data(), static_cast<int>(table.name.size()), SQLITE_STATIC);
    bool exists = sqlite3_step(q) == SQLITE_ROW;
    std::string type = exists ? reinterpret_cast<const char *>(sqlite3_column_text(q, 0)) : "";
    sqlite3_finalize(q);
    if (exists && (!replace_ || type != "table")) {
        table_exists = true;
        error = "a " + type + " named " + table.name + " exists" + (type == "table" ? " (--replace replaces it)" : "");
        return false;
    }
    if (exists && !exec("DROP TABLE " + quoted(table.name)))
        return false;
    std::string sql = "CREATE TABLE " + quoted(table.name) + " (";
    std::string insert = "INSERT INTO " + quoted(table.name) + " VALUES (";
    for (size_t i = 0; i < table.columns.size(); i++) {
        sql += (i ? ", " : "") + quoted(table.columns[i].name) + " " + declared_type(table.columns[i].kind);
        insert += i ? ", ?" : "?";
    }
    if (!exec(sql + ")"))
        return false;
    insert += ")";
    if (sqlite3_prepare_v2(db_, insert.c_str(), static_cast<int>(insert.size()), &insert_, nullptr) != SQLITE_OK)
        return fail("SQLite");
    return true;
}

// The value of a text of digits with an optional '-', which decode made.
sqlite3_int64 to_int64(std::string_view s)
{
    bool negative = !s.empty() && s[0] == '-';
    uint64_t v = 0;
    for (size_t i = negative; i < s.size(); i++)
        v = v * 10 + static_cast<uint64_t>(s[i] - '0');
    return negative ? static_cast<sqlite3_int64>(0 - v) : static_cast<sqlite3_int64>(v);
}

// Binds each value by its kind and steps the one prepared INSERT.
bool SqliteTarget::row(const Value *values)
{
    const std::vector<ColumnSpec> &columns = table_->columns;
    for (size_t i = 0; i < columns.size(); i++) {
        int at = static_cast<int>(i) + 1;
        const Value &v = values[i];
        if (v.null) {
            sqlite3_bind_null(insert_, at);
        } else if (columns[i].kind == ValueKind::integer) {
            sqlite3_bind_int64(insert_, at, to_int64(v.text));
        } else if (columns[i].kind == ValueKind::real) {
            char text[48];
            size_t n = v.text.size() < sizeof text - 1 ? v.text.size() : sizeof text - 1;
            std::memcpy(text, v.text.data(), n);
            text[n] = '\0';
            sqlite3_bind_double(insert_, at, std::strtod(text, nullptr));
        } else {
            sqlite3_bind_text(insert_, at, v.text.data(), static_cast<int>(v.text.size()), SQLITE_STATIC);
        }
    }
    int rc = sqlite3_step(insert_);
    sqlite3_reset(insert_);
    return rc == SQLITE_DONE || fail("SQLite");
}

// One COMMIT for the whole table.
bool SqliteTarget::commit()
{
    sqlite3_finalize(insert_);
    insert_ = nullptr;
    if (!exec("COMMIT"))
        return false;
    open_ = false;
    return true;
}

// Rolls back: the table and every row of it vanish, a dropped table comes back.
void SqliteTarget::abort()
{
    sqlite3_finalize(insert_);
    insert_ = nullptr;
    if (open_)
        sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    open_ = false;
}

}  // namespace

// Opens or creates the database; a file that is no database fails here.
std::unique_ptr<Target> open_sqlite_target(const std::string &file, bool replace, std::string &error)
{
    sqlite3 *db = nullptr;
    if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
        error = file + ": " + (db ? sqlite3_errmsg(db) : "cannot open");
        sqlite3_close(db);
        return nullptr;
    }
    // A bigger page cache for big tables; the rollback journal stays, so a
    // killed load leaves the database as it was.
    sqlite3_exec(db, "PRAGMA cache_size = -32768", nullptr, nullptr, nullptr);
    sqlite3_busy_timeout(db, 10000);  // another writer holding the database: wait a while, then fail
    if (sqlite3_exec(db, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr) != SQLITE_OK) {
        error = file + ": " + sqlite3_errmsg(db);
        sqlite3_close(db);
        return nullptr;
    }
    return std::make_unique<SqliteTarget>(db, replace);
}
