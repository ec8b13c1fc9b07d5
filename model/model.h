// The layout model: files, their items, tables and columns as plain records
// linked by pointers, the one run-wide LayoutState, record creation, the two
// name lookups, and the small helpers every subsystem shares (bounded text
// copies, 32/16-bit wrapping arithmetic, the arena, process stops).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

// Widths of the text members, in characters.
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

// A text member of a record: at most Width characters, held where they never
// change (a token's text, a constant, or a cut copy in the arena), so a
// record pays only for the text it has. Zero-filled, it is the empty text.
// It is set through set_text or copy_text, which cut at Width.
template <std::size_t Width>
struct Text {
    const char *chars;  // terminated; null for the empty text

    const char *c_str() const { return chars != nullptr ? chars : ""; }
    bool empty() const { return chars == nullptr || chars[0] == '\0'; }
};

// The type names of FIELD and COLUMN rows. They are all constants (the
// longest, TRAILING-OVERPUNCHED-NUMERIC, has 28 characters), so a record
// holds the index of its name: one byte where a text would take eight.
enum class TypeName : std::uint8_t {
    none, zoned, trailing_overpunched, zoned_num, leading_overpunched, leading_sign, string,
    packed, packed_u, double_float, vmsdate8, word, uword, longword, ulongword, quadword,
    char1, uchar, int3, uint3, int5, uint5, int6, uint6, int7, uint7,
    varchar, smallint, integer, timestamp,
    // only tarnmap-check --dictionary writes these: storage no type above names
    float_single, packed_nosign, word_le, uword_le, longword_le, ulongword_le, quadword_le,
    float_single_le, double_float_le,
};
constexpr const char *TYPE_NAMES[] = {
    "", "ZONED", "TRAILING-OVERPUNCHED-NUMERIC", "ZONED-NUM", "LEADING-OVERPUNCHED-NUMERIC",
    "LEADING-SIGN-NUMERIC", "STRING", "PACKED", "PACKED-U", "DOUBLE", "VMSDATE8", "WORD", "UWORD",
    "LONGWORD", "ULONG", "QUADWORD", "CHAR", "UCHAR", "INT3", "UINT3", "INT5", "UINT5", "INT6",
    "UINT6", "INT7", "UINT7", "VARCHAR", "SMALLINT", "INTEGER", "TIMESTAMP",
    "FLOAT", "PACKED-NOSIGN", "WORD-LE", "UWORD-LE", "LONGWORD-LE", "ULONG-LE", "QUADWORD-LE",
    "FLOAT-LE", "DOUBLE-LE",
};
static_assert(sizeof TYPE_NAMES / sizeof TYPE_NAMES[0] == static_cast<std::size_t>(TypeName::double_float_le) + 1,
              "one name for each type");

// The text of a type name.
inline const char *type_text(TypeName type)
{
    return TYPE_NAMES[static_cast<std::size_t>(type)];
}

// One data file: one FILE row.
struct FileDef {
    Text<NAME_WIDTH> name;           // FD name, or the record name without an FD
    Text<PATH_WIDTH> path;           // VALUE OF literal, quotes stripped
    Text<KIND_WIDTH> organization;   // "INDEXED", "RELATIVE" or "SEQUENTIAL"
    Text<KIND_WIDTH> record_format;  // "FIXED" or "VARIABLE"
    std::int32_t record_length;      // longest record seen; only grows
    FieldDef *fields;                // head of the item list, through all records
    TableDef *tables;                // head of the table list
    FileDef *prev;
    FileDef *next;
};

// One data item: one FIELD row, or one per occurrence under OCCURS.
struct FieldDef {
    Text<NAME_WIDTH> name;          // data name; FILLER_n for a FILLER
    Text<PICTURE_WIDTH> picture;    // PICTURE text or a USAGE default; empty for a group
    Text<VALUE_WIDTH> value;        // VALUE literal, quotes stripped
    ClauseLink *clause;             // the one REDEFINES / RENAMES / condition clause
    FieldDef *prev;
    FieldDef *next;
    std::int32_t level;             // level number
    std::int32_t size;              // bytes of one occurrence
    std::int32_t display_size;      // display width
    std::int32_t offset;            // offset in the record, first occurrence of every enclosing group
    std::int32_t occurs;            // 0, or a count of 2 and up
    std::int16_t usage = -1;        // 0 binary, 2 float, 3/6 packed, 4 date, -1 display
    std::int16_t sign;              // 0 none, 1 trailing, 2 trailing separate, 3 leading, 4 leading separate
    std::int16_t scale;             // digits after the point; may be negative
    TypeName type_name;             // storage type; none means no rows at all
    std::int32_t notes;             // index of its ItemNotes; 0 unless tarnmap-check keeps them
};
static_assert(sizeof(void *) != 8 || sizeof(FieldDef) == 80, "an item takes 80 bytes");

// What a compiler's layout of an item needs beyond what the dictionary
// keeps, noted during the parse when LayoutState.keep_notes is set
// (tarnmap-check does); the converter keeps none and reads none.
struct ItemNotes {
    const char *picture;       // the PICTURE as written, not cut; null for none
    const char *usage;         // the USAGE word or COMP form as written; null for none
    std::int32_t line;         // source line of the entry's data name
    std::int32_t level;        // level number as written (a RENAMES copies another's into FieldDef)
    std::int32_t occurs_min;   // OCCURS m TO n: m; otherwise 0
    std::int32_t occurs_max;   // OCCURS n, or the n of m TO n; 0 without OCCURS
    std::int16_t sign_clause;  // the SIGN clause's kind, which an S in the PICTURE overrides
    bool sync;                 // SYNC LEFT or SYNC RIGHT
    bool depending;            // OCCURS ... DEPENDING ON
};

// One level 01 record: one TABLE row.
struct TableDef {
    Text<NAME_WIDTH> name;  // name of the 01 record
    ColumnDef *columns;     // head of the column list
    TableDef *next;
};

// One column of a table: one COLUMN row, or one per occurrence.
struct ColumnDef {
    Text<NAME_WIDTH> name;       // data name, a FILLER as its FieldDef
    Text<VALUE_WIDTH> value;     // copy of FieldDef.value
    FieldDef *field;             // the item of this column
    ColumnDef *prev;
    ColumnDef *next;
    std::int32_t length;         // column length; 0 means "the item's size" at output
    TypeName type_name;          // SQL type
};

// The one REDEFINES, RENAMES or condition clause of an item; one flag is 1.
struct ClauseLink {
    std::int32_t redefines;
    std::int32_t renames;
    std::int32_t conditions;          // VALUE on level 88/78, or VALUE ... THRU anywhere
    Text<NAME_WIDTH> first_name;      // item redefined or renamed, or first condition value
    Text<NAME_WIDTH> second_name;     // item behind THRU, or second value; may be empty
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
    std::int16_t keep_notes = 0;     // set by tarnmap-check: note what a compiler's layout needs
};

extern LayoutState state;

// A copy of `length` bytes of `text`, terminated, that lives until the
// process ends; null when no memory is left.
char *arena_text(const char *text, std::size_t length);
// Ends the process with the status settle_output gives.
[[noreturn]] void process_exit(int status);

// Bounded copy into a work buffer: at most its width, or `limit` characters
// if that is less; always terminated.
// The characters of `src` that go into a text of `limit` characters.
inline std::size_t text_length(const char *src, std::size_t limit)
{
    return ::strnlen(src, limit);
}

template <std::size_t N>
void copy_text(char (&dst)[N], const char *src, std::size_t limit = N - 1)
{
    static_assert(N > 1, "a text member has room for at least one character");
    std::size_t n = text_length(src, limit < N - 1 ? limit : N - 1);
    std::memmove(dst, src, n);
    dst[n] = '\0';
}

// Sets a text member to `src`, cut at its width or at `limit`. `src` must
// last until the process ends (a token's text, a constant, another text
// member): a text that fits is kept where it is, a longer one is copied cut.
// No memory for the copy ends the run with status 2, without a word.
template <std::size_t N>
void set_text(Text<N> &dst, const char *src, std::size_t limit = N)
{
    std::size_t n = text_length(src, limit < N ? limit : N);
    if (src[n] == '\0')
        dst.chars = src;
    else if ((dst.chars = arena_text(src, n)) == nullptr)
        process_exit(2);
}

// Sets a text member to a copy of `src`, a work buffer that will change.
template <std::size_t N>
void copy_text(Text<N> &dst, const char *src, std::size_t limit = N)
{
    if ((dst.chars = arena_text(src, text_length(src, limit < N ? limit : N))) == nullptr)
        process_exit(2);
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

// Zero-filled memory for a record that lives until the process ends; null
// when none is left.
void *arena_alloc(std::size_t size);
// Gives back every record and text at once, for a harness that runs the
// converter again in the same process; a run never calls it.
void arena_release();

// Creation: link behind `after` (null: no link, the caller stores the head).
FileDef *new_file_def(FileDef *after);
FieldDef *new_field_def(FieldDef *after);
TableDef *new_table_def(TableDef *after);
ColumnDef *new_column_def(ColumnDef *after);
// A zero-filled ClauseLink stored in field->clause; null when no memory is left.
ClauseLink *new_clause_link(FieldDef *field);
// Level 88/78 entries are released when closed, with their clause record;
// their memory is reused.
void release_field_def(FieldDef *field);
void release_column_def(ColumnDef *column);

// Fresh notes for a new item, while notes are kept; null otherwise. No
// memory for them ends the run with status 2, without a word.
ItemNotes *note_item(FieldDef *field);
// The notes of an item, or null.
ItemNotes *notes_of(const FieldDef *field);

// Nearest preceding item of that name in the file in work, then the first of
// the previous file; "FILLER" matches any name that begins so.
FieldDef *find_field(const char *name);
// Nearest preceding column of that name in the table in work.
ColumnDef *find_column(const char *name);

// Exit status of a run whose standard output or dictionary file could not
// be written.
constexpr int STATUS_WRITE_FAILED = 3;

// Flushes standard output; the first failure is kept for the end of the run.
void flush_output();
// Notes that a write to standard output failed, with errno as it stands.
void note_output_failure();
// The status a run ends with: flushes standard output and, if it could not
// be written, says so in one line on standard error and gives status 3. The
// scanner's internal stops (status 2) stay as they are, without a word.
int settle_output(int status);

// Ends the process at once: the message on standard output, then `status`.
[[noreturn]] [[gnu::format(printf, 2, 3)]] void process_stop(int status, const char *format, ...);
