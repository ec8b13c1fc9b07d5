// The PostgreSQL target against a real server (the cluster of cluster.sh,
// whose connection string is in the file given as the first argument), and
// the arithmetic of shards. Tests of the server are skipped without one.
#include <gtest/gtest.h>
#include <libpq-fe.h>

#include <fstream>
#include <string>
#include <vector>

#include "load/postgres.h"
#include "load/shard.h"

namespace {

std::string conninfo;

// One query's first column of every row, joined by '|'; "ERROR: ..." if it failed.
std::string query(const std::string &sql)
{
    PGconn *c = PQconnectdb(conninfo.c_str());
    std::string out;
    PGresult *r = PQexec(c, sql.c_str());
    if (PQresultStatus(r) == PGRES_TUPLES_OK) {
        for (int i = 0; i < PQntuples(r); i++)
            out += (i ? "|" : "") + std::string(PQgetisnull(r, i, 0) ? "NULL" : PQgetvalue(r, i, 0));
    } else if (PQresultStatus(r) != PGRES_COMMAND_OK) {
        out = "ERROR: " + std::string(PQresultErrorMessage(r));
    }
    PQclear(r);
    PQfinish(c);
    return out;
}

ColumnSpec column(const std::string &name, ValueKind kind, int digits = 0, int scale = 0,
                  const std::string &sql = "VARCHAR", int length = 0, int bytes = 0)
{
    ColumnSpec c;
    c.name = name;
    c.kind = kind;
    c.digits = digits;
    c.scale = scale;
    c.sql_type = sql;
    c.sql_length = length;
    c.bytes = bytes;
    c.line = 7;
    return c;
}

Value text(const char *s)
{
    return Value{s, false};
}

class PgTarget : public ::testing::Test {
 protected:
    void SetUp() override
    {
        if (conninfo.empty())
            GTEST_SKIP() << "no PostgreSQL cluster";
    }
    std::unique_ptr<Target> open(PgExisting existing)
    {
        std::string error;
        auto t = open_postgres_target(conninfo, existing, error);
        EXPECT_TRUE(t) << error;
        return t;
    }
};

// Rows of every kind go in as the exact texts and read back as them;
// texts with the characters COPY gives a meaning keep them.
TEST_F(PgTarget, LoadsEveryKindExactly)
{
    query("DROP TABLE IF EXISTS kinds");
    TableSpec t{"kinds",
                {column("s", ValueKind::text, 0, 0, "VARCHAR", 12),
                 column("i", ValueKind::integer, 4, 0, "SMALLINT", 2), column("d", ValueKind::decimal, 18, 2),
                 column("r", ValueKind::real, 0, 0, "DOUBLE", 8),
                 column("ts", ValueKind::timestamp, 0, 0, "TIMESTAMP", 16)},
                3};
    auto target = open(PgExisting::refuse);
    ASSERT_TRUE(target->begin_table(t)) << target->error;
    Value a[] = {text("a\\b\tc\nd\re"), text("-32768"), text("-1234567890123456.78"), text("0.1"),
                 text("1858-11-17 00:00:00.000000")};
    Value b[] = {text(""), Value{}, text("0"), text("-1e-300"), Value{}};
    ASSERT_TRUE(target->row(a)) << target->error;
    ASSERT_TRUE(target->row(b)) << target->error;
    ASSERT_TRUE(target->commit()) << target->error;
    EXPECT_EQ(query("SELECT format('%s/%s/%s/%s/%s', replace(s, E'\\t', 'TAB'), i, d, r, ts)"
                    " FROM kinds ORDER BY d"),
              "a\\bTABc\nd\re/-32768/-1234567890123456.78/0.1/1858-11-17 00:00:00|"
              "//0.00/-1e-300/");
    EXPECT_EQ(query("SELECT count(*) FROM kinds WHERE s = '' AND i IS NULL"), "1");
}

// The type of each kind of column, as format_type() spells it.
TEST(PgColumnType, HoldsEveryValue)
{
    struct Row {
        ColumnSpec c;
        const char *type;
    } rows[] = {
        {column("a", ValueKind::text, 0, 0, "VARCHAR", 30, 30), "character varying(30)"},
        // a group that redefines a shorter item: the COLUMN row has the shorter length
        {column("a", ValueKind::text, 0, 0, "VARCHAR", 10, 14), "character varying(14)"},
        {column("a", ValueKind::text, 0, 0, "VARCHAR", 0, 0), "text"},
        {column("a", ValueKind::integer, 4), "smallint"},
        {column("a", ValueKind::integer, 5, 0, "SMALLINT", 2, 2), "smallint"},  // WORD
        {column("a", ValueKind::integer, 5, 0, "INTEGER", 4, 2), "integer"},    // UWORD
        {column("a", ValueKind::integer, 5, 0, "SMALLINT", 2, 5), "integer"},   // not a binary
        {column("a", ValueKind::integer, 9), "integer"},
        {column("a", ValueKind::integer, 10, 0, "INTEGER", 4, 4), "integer"},  // LONGWORD
        {column("a", ValueKind::integer, 10, 0, "DOUBLE", 8, 4), "bigint"},    // ULONG
        {column("a", ValueKind::integer, 3, -5), "integer"},                  // 8 digits
        {column("a", ValueKind::integer, 3, -7, "SMALLINT", 2, 2), "bigint"},  // 10 digits
        {column("a", ValueKind::integer, 19, 0, "DOUBLE", 8, 8), "bigint"},   // QUADWORD
        {column("a", ValueKind::decimal, 7, 2), "numeric(7,2)"},
        {column("a", ValueKind::decimal, 20, 0), "numeric(20,0)"},
        {column("a", ValueKind::decimal, 2, 4), "numeric(4,4)"},   // VPP99: zeros in front
        {column("a", ValueKind::decimal, 17, -5), "numeric(22,0)"}, // zeros appended
        {column("a", ValueKind::decimal, 1001, 0), "numeric"},
        {column("a", ValueKind::real), "double precision"},
        {column("a", ValueKind::timestamp), "timestamp without time zone"},
    };
    for (const Row &r : rows)
        EXPECT_EQ(pg_column_type(r.c), r.type) << r.c.digits << "," << r.c.scale;
}

// What is there already: refused, replaced, or appended to only with the
// dictionary's columns; every refusal and abort leaves the table as it was.
TEST_F(PgTarget, ExistingTables)
{
    query("DROP TABLE IF EXISTS ex");
    TableSpec t{"ex", {column("n", ValueKind::integer, 9)}, 1};
    Value one[] = {text("1")};
    {
        auto target = open(PgExisting::append);
        EXPECT_FALSE(target->begin_table(t));
        EXPECT_TRUE(target->table_exists); // refused for what the database holds
        EXPECT_NE(target->error.find("does not exist"), std::string::npos) << target->error;
        target->abort();
    }
    {
        auto target = open(PgExisting::refuse);
        ASSERT_TRUE(target->begin_table(t));
        ASSERT_TRUE(target->row(one));
        ASSERT_TRUE(target->commit());
        EXPECT_FALSE(target->begin_table(t));
        EXPECT_TRUE(target->table_exists);
        target->abort();
    }
    {
        auto target = open(PgExisting::append);
        ASSERT_TRUE(target->begin_table(t)) << target->error;
        ASSERT_TRUE(target->row(one));
        ASSERT_TRUE(target->commit());
        ASSERT_TRUE(target->begin_table(t));
        ASSERT_TRUE(target->row(one));
        target->abort(); // rows sent, never committed
    }
    EXPECT_EQ(query("SELECT count(*) FROM ex"), "2");
    TableSpec other{"ex", {column("n", ValueKind::integer, 18)}, 1};
    TableSpec more{"ex", {column("n", ValueKind::integer, 9), column("m", ValueKind::real)}, 1};
    {
        auto target = open(PgExisting::append);
        EXPECT_FALSE(target->begin_table(other));
        EXPECT_EQ(target->error, "it has column n integer where line 7 gives n bigint");
        target->abort();
        EXPECT_FALSE(target->begin_table(more));
        EXPECT_EQ(target->error, "it has no column m (line 7)");
        target->abort();
    }
    {
        auto target = open(PgExisting::replace);
        ASSERT_TRUE(target->begin_table(more));
        target->abort();
        EXPECT_EQ(query("SELECT count(*) FROM ex"), "2"); // the drop was rolled back too
        ASSERT_TRUE(target->begin_table(more));
        ASSERT_TRUE(target->commit());
    }
    EXPECT_EQ(query("SELECT count(*) FROM ex"), "0");
}

// A name the server would cut short is refused; one that fits stays whole.
TEST_F(PgTarget, LongNames)
{
    std::string fits(63, 'n'), longer(64, 'n');
    query("DROP TABLE IF EXISTS \"" + fits + "\"");
    auto target = open(PgExisting::refuse);
    TableSpec t{fits, {column(longer, ValueKind::real)}, 1};
    EXPECT_FALSE(target->begin_table(t));
    EXPECT_EQ(target->error, "column " + longer + " (line 7): its name is longer than the server's 63 bytes");
    target->abort();
    t.columns[0].name = fits;
    ASSERT_TRUE(target->begin_table(t)) << target->error;
    ASSERT_TRUE(target->commit());
    std::string table = "'\"" + fits + "\"'::regclass";
    EXPECT_EQ(query("SELECT attname FROM pg_attribute WHERE attrelid = " + table + " AND attnum = 1"), fits);
}

// A value the server refuses fails the table at its commit, and nothing of it stays.
TEST_F(PgTarget, RefusedValueFailsTheTable)
{
    query("DROP TABLE IF EXISTS bad");
    TableSpec t{"bad", {column("n", ValueKind::integer, 4)}, 1};
    auto target = open(PgExisting::refuse);
    ASSERT_TRUE(target->begin_table(t));
    Value v[] = {text("99999")};
    ASSERT_TRUE(target->row(v));
    EXPECT_FALSE(target->commit());
    EXPECT_NE(target->error.find("out of range"), std::string::npos) << target->error;
    target->abort();
    EXPECT_EQ(query("SELECT to_regclass('bad') IS NULL"), "t");
}

// The N ranges follow one another from 0 to the end, fixed records are
// dealt out whole and evenly, and no size overflows the arithmetic.
TEST(Shards, RangesCoverTheFileOnce)
{
    const uint64_t sizes[] = {0, 1, 7, 100, 4096, 1000003, UINT64_MAX / 2, UINT64_MAX - 1};
    const uint64_t counts[] = {1, 2, 3, 7, 64, 1000, 1u << 30};
    for (bool fixed : {false, true}) {
        Framing f;
        f.descriptors = !fixed;
        f.record_length = fixed ? 13 : 0;
        for (uint64_t size : sizes) {
            uint64_t whole = fixed ? size / 13 * 13 : size;
            for (uint64_t n : counts) {
                uint64_t next = 0, prev = 0, least = UINT64_MAX, most = 0;
                for (uint64_t k = 1; k <= n; prev = k, k = k < 10 || n - k < 10 ? k + 1 : n - 9) {
                    uint64_t start, end;
                    shard_bytes(Shard{k, n}, size, f, start, end);
                    if (k == prev + 1) {
                        EXPECT_EQ(start, next) << size << " " << k << "/" << n;
                    }
                    EXPECT_LE(start, whole);
                    if (fixed) {
                        EXPECT_EQ(start % 13, 0u);
                    }
                    if (k < n) {
                        EXPECT_LE(start, end);
                        least = std::min(least, end - start);
                        most = std::max(most, end - start);
                    } else {
                        EXPECT_EQ(end, UINT64_MAX);
                    }
                    next = end;
                }
                if (fixed && n > 1 && n <= 1000) {
                    EXPECT_LE(most - least, 13u) << size << " /" << n;
                }
            }
        }
    }
}

TEST(Shards, ParseRefusesWhatIsNoShard)
{
    const char *bad[] = {"0/3", "4/3",  "1/0",   "3",    "/3",           "1/",
                         "a/b", "-1/3", "1/3/5", " 1/3", "1/2000000000", "99999999999999999999/1"};
    for (const char *s : bad) {
        Shard sh;
        std::string error;
        EXPECT_FALSE(parse_shard(s, sh, error)) << s;
        EXPECT_NE(error.find("--shard"), std::string::npos) << s;
    }
    Shard sh;
    std::string error;
    ASSERT_TRUE(parse_shard("7/7", sh, error));
    EXPECT_EQ(sh.k, 7u);
    EXPECT_EQ(sh.n, 7u);
}

} // namespace

int main(int argc, char **argv)
{
    ::testing::InitGoogleTest(&argc, argv);
    if (argc > 1) {
        std::ifstream in(argv[1]);
        std::getline(in, conninfo);
    }
    return RUN_ALL_TESTS();
}
