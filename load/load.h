// The loader's stages apart from the target and the record source: the
// dictionary read back (dictionary.cc), the decoders of every storage type
// (decode.cc) and the account of bad values, rejects and the summary
// (report.cc). main.cc ties them together.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "load/frames.h"
#include "load/shard.h"
#include "load/target.h"

// Storage types of the dictionary's FIELD rows.
enum class Storage {
    string,             // STRING
    zoned,              // ZONED: digits, a sign only as an overpunch on the last byte
    trailing_overpunch, // TRAILING-OVERPUNCHED-NUMERIC
    leading_overpunch,  // LEADING-OVERPUNCHED-NUMERIC
    trailing_separate,  // ZONED-NUM: the last byte is the sign
    leading_separate,   // LEADING-SIGN-NUMERIC: the first byte is the sign
    packed,             // PACKED, PACKED-U: the last nibble is the sign
    binary,             // CHAR ... QUADWORD, INT3 ... INT7 and unsigned forms
    ieee_or_hex_double, // DOUBLE (COMP-2)
    vmsdate,            // VMSDATE8: 100 ns ticks since 1858-11-17
    packed_nosign,      // PACKED-NOSIGN (COMP-6): digits only, no sign nibble
    ieee_or_hex_single, // FLOAT (COMP-1)
};

// One column: where its bytes lie and how to read them.
struct Column {
    ColumnSpec sql;             // the column as a target sees it
    Storage storage = Storage::string;
    bool is_signed = false;   // binary kinds
    bool little = false;      // -LE types: little-endian whatever --byte-order says
    uint32_t offset = 0;
    uint32_t size = 0;
};

struct FileDef {
    std::string name;
    bool variable = false;      // VARIABLE record format
    uint32_t record_length = 0;
    int line = 0;
};

struct Table {
    TableSpec sql;              // name and the columns as the target sees them
    std::vector<Column> columns;
    int file = -1;              // index into Dictionary::files
    std::string path;           // column 6 of the TABLE row
};

struct Dictionary {
    std::string db_name;
    std::string directory;
    std::vector<FileDef> files;
    std::vector<Table> tables;
    std::vector<std::string> warnings;  // "LINE: what", for columns that cannot be loaded
};

// Reads a dictionary held in text (of n bytes). On failure error is
// "LINE: what" for the first row that cannot be read.
bool read_dictionary(const char *text, size_t n, Dictionary &dict, std::string &error);

// Bytes to values: the code page turned into a table once, and the
// choices that hold for the whole run.
struct Decoder {
    char utf8[256][4] = {};    // each byte's character in UTF-8
    uint8_t utf8_len[256] = {};// 0: the byte is no character of the code page
    bool ebcdic = false;       // digits are 0xF0-0xF9: zones and nibbles as on a mainframe
    uint8_t blank = ' ', plus = '+', minus = '-', zero = '0';
    bool big_endian = true;    // binary and date items
    bool float_big_endian = true;  // DOUBLE items; GnuCOBOL writes them in the machine's order
    bool hex_float = false;    // DOUBLE as IBM hexadecimal floating point
    bool keep_blanks = false;  // keep the trailing blanks of strings
    void *shifted = nullptr;   // a mixed code page's iconv handle (texts with shift-out
                               // and shift-in around double-byte characters), else null
};

// Builds the decoder's table from iconv; false with error for an unknown
// code page or one that is not a single-byte superset of the digits. A
// mixed code page (IBM-930, IBM-939 ...) also keeps an iconv handle for the
// texts that shift to double-byte characters.
bool make_decoder(const std::string &encoding, Decoder &d, std::string &error);

// Why a value is not valid for its type.
enum class Bad : uint8_t {
    none, non_digit, blank, low_values, high_values, bad_sign, bad_nibble, no_character, not_finite,
    out_of_range,
};
const char *bad_name(Bad b);

// Upper bound of the text of one value of the column.
size_t value_capacity(const Column &c);

// Decodes the column's bytes p[0..c.size) into out (value_capacity bytes),
// setting len; returns why the value is bad, or Bad::none.
Bad decode(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len);

// Exact decimal text of digits (ASCII '0'-'9', leading zeros allowed) with a
// sign and a scale: no leading zeros, '.' only for a positive scale, a
// negative scale appends zeros, negative zero is "0". Returns the length.
size_t format_decimal(const char *digits, size_t n, bool negative, int scale, char *out);

// The count of bad values of one column, and where the first ones were.
struct ColumnAccount {
    uint64_t bad = 0;
    Bad first_reason = Bad::none;
    uint64_t first_records[5] = {};
};

// The account of one table's load.
struct TableAccount {
    std::string name;
    uint64_t records = 0;       // records read from its file (in the range)
    uint64_t rows = 0;          // rows written
    uint64_t bad_records = 0;   // records with at least one bad value
    uint64_t unselected = 0;    // records no selector took (first table of a file only)
    std::vector<ColumnAccount> columns;
    bool loaded = false;
};

// Counts a bad value of column i of a record.
void count_bad(TableAccount &t, size_t column, uint64_t record, Bad why);

// Writes per table and column the bad values and the first record numbers,
// then the summary, to out.
void print_report(std::FILE *out, const std::vector<TableAccount> &accounts, const std::vector<Table> &tables,
                  bool dry_run);

// --when TABLE FIELD=VALUE[,VALUE...]: the records whose FIELD holds one of
// the values go to TABLE.
struct Selector {
    std::string table, column;
    std::vector<std::string> values;
    int table_index = -1;   // resolved by the run
    int column_index = -1;
};

// The command line, as main.cc reads it.
struct Options {
    std::string sqlite, csv, data, encoding = "ascii", rejects;
    std::vector<std::string> tables;     // --table, in the order given
    std::vector<Selector> selectors;
    Framing framing;                     // descriptor conventions from --rdw, --rdw-length
    bool rdw = false, replace = false;
    RecordRange range;                   // --skip, --count
    Decoder decoder;
    bool little = false, hex_float = false, keep_blanks = false;
    char float_order = 0;                // DOUBLE: 'b' big, 'l' little, 0 as --byte-order
    std::string postgres;                // --postgres CONNINFO ("": PG* variables alone)
    bool to_postgres = false, append = false;
    Shard shard;                         // --shard K/N
    bool sharded = false;
    bool dry_run = false;                // --dry-run: decode and report, write nothing
};

// Loads the tables of the dictionary as the options say; the exit status.
int run_load(Options &o, const char *dict_path, const Dictionary &dict);
