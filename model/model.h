// The layout model: files, their items, tables and columns as plain records
// linked by pointers, the one run-wide LayoutState, record creation, the two
// name lookups, and the small helpers every subsystem shares (bounded text
// copies, 32/16-bit wrapping arithmetic, the arena, process stops).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

// Widths of the text members, in characters; each member has one more byte
// for its terminator.
constexpr std::size_t NAME_WIDTH = 64;
constexpr std::size_t PATH_WIDTH = 128;
constexpr std::size_t KIND_WIDTH = 32;     // organization, record format, type names
constexpr std::size_t PICTURE_WIDTH = 64;  // FieldDef.picture: default pictures need 64
constexpr std::size_t SOURCE_PICTURE_WIDTH = 32;  // a PICTURE from the source is cut here
constexpr std::size_t VALUE_WIDTH = 64;
constexpr std::size_t LEVEL_TEXT_WIDTH = 16;

struct FieldDef;
struct TableDef;
struct ColumnDef;
struct ClauseLink;

// One data file: one FILE row.
struct FileDef {
    char name[NAME_WIDTH + 1];           // FD name, or the record name without an FD
    char path[PATH_WIDTH + 1];           // VALUE OF literal, quotes stripped
    char organization[KIND_WIDTH + 1];   // "INDEXED", "RELATIVE" or "SEQUENTIAL"
    char record_format[KIND_WIDTH + 1];  // "FIXED" or "VARIABLE"
    std::int32_t record_length;          // longest record seen; only grows
    FieldDef *fields;                    // head of the item list, through all records
    TableDef *tables;                    // head of the table list
    FileDef *prev;
    FileDef *next;
};

// One data item: one FIELD row, or one per occurrence under OCCURS.
struct FieldDef {
    char name[NAME_WIDTH + 1];          // data name; FILLER_n for a FILLER
    char type_name[KIND_WIDTH + 1];     // storage type; empty means no rows at all
    char picture[PICTURE_WIDTH + 1];    // PICTURE text or a USAGE default; empty for a group
    char value[VALUE_WIDTH + 1];        // VALUE literal, quotes stripped
    std::int16_t usage = -1;            // 0 binary, 2 float, 3/6 packed, 4 date, -1 display
    std::int16_t sign;                  // 0 none, 1 trailing, 2 trailing separate, 3 leading, 4 leading separate
    std::int32_t level;                 // level number
    std::int32_t size;                  // bytes of one occurrence
    std::int32_t display_size;          // display width
    std::int16_t scale;                 // digits after the point; may be negative
    std::int32_t offset;                // offset in the record, first occurrence of every enclosing group
    std::int32_t occurs;                // 0, or a count of 2 and up
    ClauseLink *clause;                 // the one REDEFINES / RENAMES / condition clause
    FieldDef *prev;
    FieldDef *next;
};

// One level 01 record: one TABLE row.
struct TableDef {
    char name[NAME_WIDTH + 1];  // name of the 01 record
    ColumnDef *columns;         // head of the column list
    TableDef *next;
};

// One column of a table: one COLUMN row, or one per occurrence.
struct ColumnDef {
    char name[NAME_WIDTH + 1];       // data name, a FILLER as its FieldDef
    char type_name[KIND_WIDTH + 1];  // SQL type
    std::int32_t length;             // column length; 0 means "the item's size" at output
    char value[VALUE_WIDTH + 1];     // copy of FieldDef.value
    FieldDef *field;                 // the item of this column
    ColumnDef *prev;
    ColumnDef *next;
};

// The one REDEFINES, RENAMES or condition clause of an item; one flag is 1.
struct ClauseLink {
    std::int32_t redefines;
    std::int32_t renames;
    std::int32_t conditions;          // VALUE on level 88/78, or VALUE ... THRU anywhere
    char first_name[NAME_WIDTH + 1];  // item redefined or renamed, or first condition value
    char second_name[NAME_WIDTH + 1]; // item behind THRU, or second value; may be empty
};

// The run-wide state. Nothing else lives across calls but the level stack
// and the scanner's and parser's own machinery.
struct LayoutState {
    FileDef *files = nullptr;        // head of the file list
    FileDef *cur_file = nullptr;     // file in work; walk cursor in the writer
    FieldDef *cur_field = nullptr;   // item in work; walk cursor in the writer
    TableDef *cur_table = nullptr;   // table in work; null until the first table
    ColumnDef *cur_column = nullptr; // column in work; walk cursor in the writer
    std::int32_t line_no = 1;        // the scanner's line count
    std::int32_t filler_no = 1;      // number of the next FILLER below level 01
    std::int32_t offset = 0;         // offset of the next item in the record
    std::int32_t saved_offset = 0;   // offset before the last advance, or the last record's end
    std::int32_t level = 0;          // level number of the entry being closed
    std::int16_t hide_fillers = 1;   // cleared by -f
    std::int16_t hide_substructure = 1; // cleared by -s
    std::int16_t no_fd = 0;          // set by -t/-r; the scanner clears it once used
    std::int16_t multi_record = 0;   // set by -r: every 01 with items behind it starts a file
    std::int16_t hpux = 0;           // set by -h: the wide binary size table
    std::int16_t level_top = -1;     // top of the level stack, -1 when empty
    std::FILE *source = nullptr;     // the stream the scanner reads
    char cur_name[NAME_WIDTH + 1] = {};           // data name of the entry in work
    char cur_picture[SOURCE_PICTURE_WIDTH + 1] = {}; // its PICTURE; emptied when it closes
    char cur_path[PATH_WIDTH + 1] = {};           // scratch for a VALUE OF literal
    char level_text[LEVEL_TEXT_WIDTH + 1] = {};   // level number as written
    std::int32_t field_rows = 0;     // FIELD rows written
    std::int32_t column_rows = 0;    // COLUMN rows written
};

extern LayoutState state;

// Bounded copy into a fixed text member: at most the member's width, or
// `limit` characters if that is less; always terminated.
template <std::size_t N>
void copy_text(char (&dst)[N], const char *src, std::size_t limit = N - 1)
{
    static_assert(N > 1, "a text member has room for at least one character");
    std::size_t max = limit < N - 1 ? limit : N - 1;
    std::size_t i = 0;
    for (; i < max && src[i] != '\0'; ++i)
        dst[i] = src[i];
    dst[i] = '\0';
}

// 32- and 16-bit arithmetic wraps as two's complement, computed in unsigned
// so that no overflow is ever undefined.
inline std::int32_t wrap32(std::uint32_t v) { return static_cast<std::int32_t>(v); }
inline std::int32_t add32(std::int32_t a, std::int32_t b)
{
    return wrap32(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t sub32(std::int32_t a, std::int32_t b)
{
    return wrap32(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline std::int32_t mul32(std::int32_t a, std::int32_t b)
{
    return wrap32(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
inline std::int16_t to16(std::int32_t v)
{
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::uint32_t>(v)));
}

// The number at the head of a text as C's atoi reads it here: blanks,
// optional sign, digits; 0 when no digit leads. Out of range values are
// clamped to long and then wrapped to 32 bits, as glibc's atoi does.
std::int32_t text_to_int(const char *text);

// Zero-filled memory that lives until the process ends; null when none is left.
void *arena_alloc(std::size_t size);
// A copy of the text in the arena; null when no memory is left.
char *arena_strdup(const char *text, std::size_t length);

// Creation: link behind `after` (null: no link, the caller stores the head).
FileDef *new_file_def(FileDef *after);
FieldDef *new_field_def(FieldDef *after);
TableDef *new_table_def(TableDef *after);
ColumnDef *new_column_def(ColumnDef *after);
// A zero-filled ClauseLink stored in field->clause; null when no memory is left.
ClauseLink *new_clause_link(FieldDef *field);
// Level 88/78 entries are released when closed; their memory is reused.
void release_field_def(FieldDef *field);
void release_column_def(ColumnDef *column);

// Nearest preceding item of that name in the file in work, then the first of
// the previous file; "FILLER" matches any name that begins so.
FieldDef *find_field(const char *name);
// Nearest preceding column of that name in the table in work.
ColumnDef *find_column(const char *name);

// Ends the process at once: the message on standard output, then `status`.
[[noreturn]] [[gnu::format(printf, 2, 3)]] void process_stop(int status, const char *format, ...);
// Flushes standard output and ends the process.
[[noreturn]] void process_exit(int status);
