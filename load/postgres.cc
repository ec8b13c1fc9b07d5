// The PostgreSQL target: each table in one transaction (created, replaced
// or appended to), its rows through COPY FROM STDIN in large buffers. Names
// reach SQL only through PQescapeIdentifier, values only through COPY.
#include "load/postgres.h"

#include <libpq-fe.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

// Bytes of COPY data gathered before one PQputCopyData: few calls, yet
// small beside a socket's buffer, so that the server, the slower side,
// never waits while the next batch is decoded (1 MB was 10% slower).
const size_t kCopyBuffer = 1 << 16;

// The widest NUMERIC with a precision of its own.
const int kMaxNumericPrecision = 1000;

// The widest varchar(n); longer texts get the type text.
const int kMaxVarchar = 10485760;

// Frees a PGresult at the end of a scope.
struct Result {
    PGresult *r;
    explicit Result(PGresult *res) : r(res) {}
    ~Result() { PQclear(r); }
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;
    ExecStatusType status() const { return PQresultStatus(r); }
};

// libpq's messages end in a line end and may hold more lines ("ERROR: ...",
// "DETAIL: ...", "\tIs the server running ..."); ours are one line.
std::string trimmed(const char *message)
{
    std::string s;
    for (const char *p = message ? message : ""; *p; p++) {
        if (*p != '\n') {
            s += *p;
            continue;
        }
        while (p[1] == '\t' || p[1] == ' ')
            p++;
        if (p[1])
            s += "; ";
    }
    return s;
}

// Appends text to a COPY line in its text format: a tab, line feed or
// carriage return would end the field or the line, so they go escaped, and
// so does the backslash (a line of "\." alone would end the data).
void append_escaped(std::string &out, std::string_view text)
{
    for (char c : text) {
        switch (c) {
        case '\\':
            out += "\\\\";
            break;
        case '\t':
            out += "\\t";
            break;
        case '\n':
            out += "\\n";
            break;
        case '\r':
            out += "\\r";
            break;
        default:
            out += c;
        }
    }
}

class PostgresTarget : public Target {
 public:
    PostgresTarget(PGconn *conn, PgExisting existing, size_t longest_name)
        : conn_(conn), existing_(existing), longest_name_(longest_name) {}
    ~PostgresTarget() override
    {
        abort();
        PQfinish(conn_);
    }

    bool begin_table(const TableSpec &table) override;
    bool row(const Value *values) override;
    bool commit() override;
    void abort() override;

 private:
    bool exec(const std::string &sql);
    bool fail(const std::string &what);
    bool fail_server(const std::string &what);
    std::string quote(const std::string &name);
    bool check_columns(const TableSpec &table, const std::string &oid);
    bool send(bool all);

    PGconn *conn_;
    PgExisting existing_;
    size_t longest_name_; // the server's max_identifier_length
    const TableSpec *table_ = nullptr;
    bool in_transaction_ = false;
    bool in_copy_ = false;
    std::string buf_; // COPY lines not yet handed to libpq
};

// Keeps the reason of a failure for the caller.
bool PostgresTarget::fail(const std::string &what)
{
    error = what;
    return false;
}

// A failure reported by the server or by libpq: its message behind ours.
bool PostgresTarget::fail_server(const std::string &what)
{
    return fail(what + trimmed(PQerrorMessage(conn_)));
}

// Runs a statement without parameters or rows to read.
bool PostgresTarget::exec(const std::string &sql)
{
    Result res(PQexec(conn_, sql.c_str()));
    if (res.status() == PGRES_COMMAND_OK || res.status() == PGRES_TUPLES_OK)
        return true;
    return fail_server("");
}

// A name as a quoted identifier; a name libpq cannot quote (not valid in the
// client encoding) comes back empty.
std::string PostgresTarget::quote(const std::string &name)
{
    char *q = PQescapeIdentifier(conn_, name.data(), name.size());
    if (!q)
        return std::string();
    std::string s = q;
    PQfreemem(q);
    return s;
}

// An --append goes on only into a table whose columns are the dictionary's:
// the same names and types, in the same order.
bool PostgresTarget::check_columns(const TableSpec &table, const std::string &oid)
{
    const char *params[] = {oid.c_str()};
    Result res(PQexecParams(conn_,
                            "SELECT attname, format_type(atttypid, atttypmod) FROM pg_attribute"
                            " WHERE attrelid = $1::oid AND attnum > 0 AND NOT attisdropped"
                            " ORDER BY attnum",
                            1, nullptr, params, nullptr, nullptr, 0));
    if (res.status() != PGRES_TUPLES_OK)
        return fail_server("");
    size_t n = static_cast<size_t>(PQntuples(res.r));
    for (size_t i = 0; i < n || i < table.columns.size(); i++) {
        if (i >= n)
            return fail("it has no column " + table.columns[i].name + " (line " +
                        std::to_string(table.columns[i].line) + ")");
        std::string name = PQgetvalue(res.r, static_cast<int>(i), 0);
        std::string type = PQgetvalue(res.r, static_cast<int>(i), 1);
        if (i >= table.columns.size())
            return fail("it has a column " + name +
                        " that the dictionary does not give");
        const ColumnSpec &c = table.columns[i];
        if (name != c.name || type != pg_column_type(c))
            return fail("it has column " + name + " " + type + " where line " +
                        std::to_string(c.line) + " gives " + c.name + " " + pg_column_type(c));
    }
    return true;
}

bool PostgresTarget::begin_table(const TableSpec &table)
{
    table_ = &table;
    table_exists = false;
    buf_.clear();
    // The server would cut a longer name short, in silence.
    if (table.name.size() > longest_name_)
        return fail("its name is longer than the server's " + std::to_string(longest_name_) + " bytes");
    for (const ColumnSpec &c : table.columns)
        if (c.name.size() > longest_name_)
            return fail("column " + c.name + " (line " + std::to_string(c.line) +
                        "): its name is longer than the server's " + std::to_string(longest_name_) + " bytes");
    std::string name = quote(table.name);
    if (name.empty())
        return fail_server("the name cannot be quoted: ");
    std::string columns;
    std::string definitions;
    for (const ColumnSpec &c : table.columns) {
        std::string q = quote(c.name);
        if (q.empty())
            return fail_server("column " + c.name + " (line " + std::to_string(c.line) + "): ");
        columns += (columns.empty() ? "" : ", ") + q;
        definitions += (definitions.empty() ? "" : ", ") + q + " " + pg_column_type(c);
    }
    if (!exec("BEGIN"))
        return false;
    in_transaction_ = true;

    // to_regclass takes the quoted name, so the search path finds it as
    // CREATE TABLE would place it.
    const char *params[] = {name.c_str()};
    Result found(PQexecParams(conn_, "SELECT to_regclass($1)::oid", 1, nullptr, params, nullptr, nullptr, 0));
    if (found.status() != PGRES_TUPLES_OK)
        return fail_server("");
    bool exists = !PQgetisnull(found.r, 0, 0);
    if (exists && existing_ == PgExisting::refuse) {
        table_exists = true;
        return fail("it exists (--replace replaces it, --append appends to it)");
    }
    if (exists && existing_ == PgExisting::append) {
        if (!check_columns(table, PQgetvalue(found.r, 0, 0))) {
            table_exists = true;
            return false;
        }
    } else if (!exists && existing_ == PgExisting::append) {
        table_exists = true; // refused for what the database holds, as an existing table is
        return fail("it does not exist, so --append cannot append to it (make it with --count 0)");
    } else {
        if (exists && !exec("DROP TABLE " + name))
            return false;
        if (!exec("CREATE TABLE " + name + " (" + definitions + ")"))
            return false;
    }
    Result copy(PQexec(conn_, ("COPY " + name + " (" + columns + ") FROM STDIN").c_str()));
    if (copy.status() != PGRES_COPY_IN)
        return fail_server("");
    in_copy_ = true;
    return true;
}

// Hands the gathered lines to libpq, all of them or once a buffer is full.
bool PostgresTarget::send(bool all)
{
    if (buf_.empty() || (!all && buf_.size() < kCopyBuffer))
        return true;
    if (PQputCopyData(conn_, buf_.data(), static_cast<int>(buf_.size())) != 1)
        return fail_server("");
    buf_.clear();
    return true;
}

bool PostgresTarget::row(const Value *values)
{
    size_t n = table_->columns.size();
    for (size_t i = 0; i < n; i++) {
        if (i > 0)
            buf_ += '\t';
        if (values[i].null) {
            buf_ += "\\N";
            continue;
        }
        std::string_view text = values[i].text;
        if (text.find('\0') != std::string_view::npos)
            return fail("column " + table_->columns[i].name +
                        ": a NUL character, which a PostgreSQL text cannot hold");
        if (table_->columns[i].kind == ValueKind::text)
            append_escaped(buf_, text);
        else
            buf_.append(text.data(), text.size()); // digits, signs, points, dashes, colons
    }
    buf_ += '\n';
    return send(false);
}

bool PostgresTarget::commit()
{
    if (!send(true))
        return false;
    in_copy_ = false;
    if (PQputCopyEnd(conn_, nullptr) != 1)
        return fail_server("");
    bool ok = true;
    while (PGresult *r = PQgetResult(conn_)) {
        Result res(r);
        if (ok && res.status() != PGRES_COMMAND_OK) {
            ok = false;
            error = trimmed(PQresultErrorMessage(r));
        }
    }
    if (!ok)
        return false;
    in_transaction_ = false;
    if (exec("COMMIT"))
        return true;
    // The one failure after which the rows may stand: say so, since a shard
    // loaded again on top of them would load them twice.
    if (PQstatus(conn_) != CONNECTION_OK)
        error += "; the connection was lost during COMMIT, so whether the rows were committed is unknown: "
                 "count them before loading again";
    return false;
}

// Ends a COPY that is under way with an error, so that the server throws
// its rows away, then rolls the transaction back. With the connection gone
// the server has rolled back already.
void PostgresTarget::abort()
{
    if (PQstatus(conn_) != CONNECTION_OK) {
        in_copy_ = in_transaction_ = false;
        return;
    }
    if (in_copy_) {
        in_copy_ = false;
        if (PQputCopyEnd(conn_, "load aborted") == 1)
            while (PGresult *r = PQgetResult(conn_))
                PQclear(r);
    }
    if (in_transaction_) {
        in_transaction_ = false;
        PQclear(PQexec(conn_, "ROLLBACK"));
    }
    buf_.clear();
}

// Server messages below a warning (a NOTICE of an implicit sequence and
// the like) say nothing the user asked for.
void quiet_notices(void *, const char *message)
{
    if (std::strncmp(message, "NOTICE", 6) != 0 && std::strncmp(message, "DEBUG", 5) != 0 &&
        std::strncmp(message, "LOG", 3) != 0 && std::strncmp(message, "INFO", 4) != 0)
        fputs(message, stderr);
}

} // namespace

std::string pg_column_type(const ColumnSpec &c)
{
    // Digits of the whole number: a negative scale appends zeros.
    int whole = c.scale < 0 ? c.digits - c.scale : c.digits;
    switch (c.kind) {
    case ValueKind::text: {
        // One character a byte at most; a COLUMN row's length can be shorter
        // than the field (a group that redefines a shorter item).
        int n = c.bytes > c.sql_length ? c.bytes : c.sql_length;
        if (n > 0 && n <= kMaxVarchar)
            return "character varying(" + std::to_string(n) + ")";
        return "text";
    }
    case ValueKind::integer:
        // A binary field of 2 or 4 bytes has 5 or 10 digits but fits smallint
        // or integer when signed; the COLUMN row tells the sign by its type.
        if (whole <= 4 || (whole == 5 && c.bytes == 2 && c.sql_type == "SMALLINT"))
            return "smallint";
        if (whole <= 9 || (whole == 10 && c.bytes == 4 && c.sql_type == "INTEGER"))
            return "integer";
        return "bigint";
    case ValueKind::decimal: {
        // A scale above the digits puts zeros in front of them.
        int precision = c.scale < 0 ? whole : std::max(c.digits, c.scale);
        int scale = c.scale < 0 ? 0 : c.scale;
        if (precision < 1)
            precision = 1;
        if (precision > kMaxNumericPrecision)
            return "numeric";
        return "numeric(" + std::to_string(precision) + "," + std::to_string(scale) + ")";
    }
    case ValueKind::real:
        return "double precision";
    case ValueKind::timestamp:
        return "timestamp without time zone";
    }
    return "text";
}

std::unique_ptr<Target> open_postgres_target(const std::string &conninfo, PgExisting existing,
                                             std::string &error)
{
    // expand_dbname takes conninfo as a whole connection string or URI; our
    // name shows in pg_stat_activity unless the user gives one.
    const char *keys[] = {"dbname", "fallback_application_name", "client_encoding", nullptr};
    const char *values[] = {conninfo.c_str(), "tarnmap-load", "UTF8", nullptr};
    PGconn *conn = PQconnectdbParams(keys, values, 1);
    if (!conn) {
        error = "PostgreSQL: out of memory";
        return nullptr;
    }
    if (PQstatus(conn) != CONNECTION_OK) {
        error = "PostgreSQL: " + trimmed(PQerrorMessage(conn));
        PQfinish(conn);
        return nullptr;
    }
    PQsetNoticeProcessor(conn, quiet_notices, nullptr);
    size_t longest_name = 63;
    Result res(PQexec(conn, "SHOW max_identifier_length"));
    if (res.status() == PGRES_TUPLES_OK && PQntuples(res.r) == 1)
        longest_name = std::strtoul(PQgetvalue(res.r, 0, 0), nullptr, 10);
    return std::make_unique<PostgresTarget>(conn, existing, longest_name);
}
