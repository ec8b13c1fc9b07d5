// The one interface every output target meets: a table begins (created, or
// refused when it exists, unless replace), rows arrive as exact texts or
// nulls, then the table commits or aborts. main.cc drives it; csv.cc and
// sqlite.cc implement it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// What a column's values are, decided from the storage type, its digits and
// its scale, never from the coarse SQL type of the COLUMN row.
enum class ValueKind {
  text,       // UTF-8 text
  integer,    // decimal text of a whole number that fits a signed 64-bit integer
  decimal,    // exact decimal text: digits and scale below; may exceed 64 bits
  real,       // shortest decimal text that reads back as the same double
  timestamp,  // "YYYY-MM-DD HH:MM:SS.fffffff"
};

struct ColumnSpec {
  std::string name;          // column 4 of the COLUMN row, as written
  std::string sql_type;      // column 6 of the COLUMN row (VARCHAR, DOUBLE, ...)
  int sql_length = 0;        // column 7 of the COLUMN row
  ValueKind kind = ValueKind::text;
  int digits = 0;            // most digits a value can have (integer, decimal)
  int scale = 0;             // digits behind the point; negative: zeros appended
  int bytes = 0;             // bytes of the field in a record (a text has at most as many characters)
  int line = 0;              // dictionary line of the COLUMN row, for messages
};

struct TableSpec {
  std::string name;              // column 3 of the TABLE row
  std::vector<ColumnSpec> columns;
  int line = 0;                  // dictionary line of the TABLE row
};

// One value of a row: exact text (see ValueKind), or NULL. The text points
// into the loader's row buffer and is valid until the next row.
struct Value {
  std::string_view text;
  bool null = true;
};

// A target receives one table at a time: begin_table, row..., commit (or
// abort). Every call returns false on failure and leaves the reason in
// error; after a failure the caller calls abort and goes on with no other
// table. A table that is aborted, or never committed, leaves no trace.
class Target {
 public:
  virtual ~Target() = default;
  // Creates the table; refuses an existing one unless replace was asked for.
  virtual bool begin_table(const TableSpec &table) = 0;
  // One row: exactly one value per column of the table, in order.
  virtual bool row(const Value *values) = 0;
  virtual bool commit() = 0;
  virtual void abort() = 0;
  std::string error;           // the reason of the last failure
  bool table_exists = false;   // begin_table failed because the table exists
};

// Opens a target; null with the reason in error when it cannot be opened.
// CSV: one TABLE.csv per table in dir, or standard output for dir "-"; a
// suffix goes in front of ".csv" (a shard's files: TABLE.3-of-7.csv).
std::unique_ptr<Target> open_csv_target(const std::string &dir, bool replace, std::string &error,
                                        const std::string &suffix = "");
std::unique_ptr<Target> open_sqlite_target(const std::string &file, bool replace, std::string &error);
// Takes every row and keeps none: a load that only decodes and reports (--dry-run).
std::unique_ptr<Target> open_null_target();
