// write_dictionary: the two prompts, the walks that write the FILE, FIELD,
// DB, TABLE and COLUMN rows, and the statistics; also the row formats and
// filters that the expansion of repeated items shares. Called once by the
// driver, after the parse and the close-out.
#include "dictionary/dictionary.h"
#include "dictionary/rows.h"

#include <cerrno>
#include <cstring>

namespace {

// The store kind that the reading software expects in the DB row.
constexpr const char *STORE_KIND = "DISAM";

// Room for the longest row: a row has at most six texts, each cut to at
// most the widest member's width, and at most five numbers of 11 characters.
constexpr std::size_t TEXT_ROOM = PATH_WIDTH;
constexpr std::size_t ROW_ROOM = 1024;
static_assert(ROW_ROOM > 6 * (TEXT_ROOM + 3) + 5 * 12 + 64, "a row fits the room begun for it");

// Rows are made in one large buffer and written to their stream in big
// blocks. The buffer is emptied before each dot and before the stream is
// closed, so that on standard output rows, dots and messages keep their order.
struct RowBuffer {
    char chars[std::size_t{1} << 16];
    std::size_t length;  // characters made and not yet written
    std::FILE *out;      // the stream they go to
};

RowBuffer rows;
int file_errno = 0;  // errno of the first failed write or close of a dictionary file

// Notes a failed write of the dictionary, with errno as it stands.
void note_failure(std::FILE *out)
{
    if (out == stdout)
        note_output_failure();
    else if (file_errno == 0)
        file_errno = errno != 0 ? errno : EIO;
}

// Writes the rows made so far.
void flush_rows()
{
    if (rows.length != 0 && std::fwrite(rows.chars, 1, rows.length, rows.out) != rows.length)
        note_failure(rows.out);
    rows.length = 0;
}

// Starts a row for `out`, with room for it in the buffer.
void begin_row(std::FILE *out)
{
    if (out != rows.out || rows.length > sizeof rows.chars - ROW_ROOM)
        flush_rows();
    rows.out = out;
}

// Appends `n` characters; begin_row has left room for the whole row.
void put_chars(const char *chars, std::size_t n)
{
    std::memcpy(rows.chars + rows.length, chars, n);
    rows.length += n;
}

// Appends a text as it stands, of at most TEXT_ROOM characters like every
// text of a row.
void put(const char *text)
{
    put_chars(text, text_length(text, TEXT_ROOM));
}

// Appends a constant piece of a row, whose length is known.
template <std::size_t N>
void put_literal(const char (&piece)[N])
{
    put_chars(piece, N - 1);
}

// Appends a text column: the text in double quotes and a comma behind.
void put_quoted(const char *text)
{
    std::size_t n = text_length(text, TEXT_ROOM);
    char *at = rows.chars + rows.length;
    at[0] = '"';
    std::memcpy(at + 1, text, n);
    std::memcpy(at + 1 + n, "\",", 2);
    rows.length += n + 3;
}

// Appends a number in plain decimal, with a minus when negative.
void put_number(std::int32_t n)
{
    if (n >= 0 && n < 10) {  // most sizes and scales
        rows.chars[rows.length++] = static_cast<char>('0' + n);
        return;
    }
    char digits[11];
    std::size_t k = sizeof digits;
    std::uint32_t magnitude = n < 0 ? 0u - static_cast<std::uint32_t>(n) : static_cast<std::uint32_t>(n);
    do {
        digits[--k] = static_cast<char>('0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (n < 0)
        put_literal("-");
    put_chars(digits + k, sizeof digits - k);
}

// Counts of the rows of one run that are not kept in LayoutState.
struct WalkCounts {
    std::int32_t progress;  // candidate rows of the walks here, for the dots
    std::int32_t files;     // FILE rows written
    std::int32_t tables;    // TABLE rows written
};

// Reads the rest of an answer into `answer`, up to a line end (consumed, not
// kept) or the width of `answer` (the rest of the line stays in the stream).
// End of input ends the answer too and keeps what came before it.
template <std::size_t N>
void read_answer(char (&answer)[N])
{
    std::size_t n = 0;
    while (n < N - 1) {
        int c = std::getc(stdin);
        if (c == EOF || c == '\n' || c == '\r')
            break;
        answer[n++] = static_cast<char>(c);
    }
    answer[n] = '\0';
}

// Looks at the first character of an answer: true for a line end, which is
// consumed and makes the answer empty; anything else is pushed back.
bool answer_is_empty_line()
{
    flush_output();
    int c = std::getc(stdin);
    if (c == '\n' || c == '\r')
        return true;
    if (c != EOF)
        std::ungetc(c, stdin);
    return false;
}

// Asks for the database name, twice at most.
// End of input is no line end: a name that is empty because standard input
// has ended (as it has when the COBOL source came from it) is taken as it is,
// since asking again could never be answered.
void ask_database_name(NameText &db_name)
{
    for (int tries = 1;; ++tries) {
        std::fputs("\nDatabase Name : ", stdout);
        if (!answer_is_empty_line())
            break;
        if (tries == 2)
            process_stop(0, "A Database Name is required - Bye\n\n");
        std::fputs("A Database Name is required", stdout);
    }
    read_answer(db_name);
}

// Asks for the default directory, which may stay empty.
void ask_default_directory(char (&directory)[PATH_WIDTH + 1])
{
    std::fputs("Default Directory : ", stdout);
    if (!answer_is_empty_line())  // else it stays empty
        read_answer(directory);
}

// FILE rows; a record length of 0 is written, and stored, as 1.
void write_file_rows(std::FILE *out, WalkCounts &counts)
{
    for (state.cur_file = state.files; state.cur_file != nullptr;
         state.cur_file = state.cur_file->next) {
        FileDef *file = state.cur_file;
        count_progress(counts.progress);
        if (file->record_length == 0)
            file->record_length = 1;
        begin_row(out);
        put_literal("\"FILE\",");
        put_quoted(file->name.c_str());
        put_quoted(file->organization.c_str());
        put_quoted(file->record_format.c_str());
        put_number(file->record_length);
        put_literal("\n");
        counts.files = add32(counts.files, 1);
    }
}

// FIELD rows; repeated items go to the expansion, which leaves the cursor on
// the last item of their group.
void write_field_walk(std::FILE *out, WalkCounts &counts)
{
    RowHead head;
    for (state.cur_file = state.files; state.cur_file != nullptr;
         state.cur_file = state.cur_file->next) {
        field_row_head(head, state.cur_file->name.c_str());
        for (state.cur_field = state.cur_file->fields; state.cur_field != nullptr;
             state.cur_field = state.cur_field->next) {
            FieldDef *item = state.cur_field;
            if (item->occurs > 1) {
                expand_field_rows(item, nullptr, out, 0);
                continue;
            }
            if (item->type_name == TypeName::none)
                continue;
            count_progress(counts.progress);
            if (field_row_hidden(item->name.c_str()))
                continue;
            write_field_row(out, head, item, item->name.c_str(), item->offset);
            state.field_rows = add32(state.field_rows, 1);
        }
    }
}

// TABLE rows; an empty path gives the file name in its place.
void write_table_walk(std::FILE *out, const char *db_name, WalkCounts &counts)
{
    NameText table_name;
    for (state.cur_file = state.files; state.cur_file != nullptr;
         state.cur_file = state.cur_file->next) {
        const FileDef *file = state.cur_file;
        const char *path = !file->path.empty() ? file->path.c_str() : file->name.c_str();
        for (state.cur_table = file->tables; state.cur_table != nullptr;
             state.cur_table = state.cur_table->next) {
            convert_dashes(table_name, state.cur_table->name.c_str());
            count_progress(counts.progress);
            begin_row(out);
            put_literal("\"TABLE\",");
            put_quoted(db_name);
            put_quoted(table_name);
            put_literal("\"TABLE\",");
            put_quoted(file->name.c_str());
            put_quoted(path);
            put_literal("\"\"\n");
            counts.tables = add32(counts.tables, 1);
        }
    }
}

// COLUMN rows of the current table; repeated items go to the expansion,
// which leaves the cursor on the last column of their group.
void write_table_columns(std::FILE *out, const char *db_name, WalkCounts &counts)
{
    NameText table_name;
    NameText column_name;
    RowHead head;
    convert_dashes(table_name, state.cur_table->name.c_str());
    column_row_head(head, db_name, table_name);
    for (state.cur_column = state.cur_table->columns; state.cur_column != nullptr;
         state.cur_column = state.cur_column->next) {
        ColumnDef *column = state.cur_column;
        const FieldDef *item = column->field;
        if (item == nullptr)  // no item, no row: only a broken model has one
            continue;
        if (item->occurs > 1) {
            expand_column_rows(column, nullptr, out, db_name);
            continue;
        }
        convert_dashes(column_name, column->name.c_str());
        if (column->length == 0)
            column->length = item->size;
        if (item->type_name == TypeName::none)
            continue;
        count_progress(counts.progress);
        // deliberate: judged by the converted name, so FILLER-X goes too.
        if (column_row_hidden(column_name))
            continue;
        write_column_row(out, head, column, column_name, item->name.c_str());
        state.column_rows = add32(state.column_rows, 1);
    }
}

// COLUMN rows of every table of every file.
void write_column_walk(std::FILE *out, const char *db_name, WalkCounts &counts)
{
    for (state.cur_file = state.files; state.cur_file != nullptr;
         state.cur_file = state.cur_file->next) {
        for (state.cur_table = state.cur_file->tables; state.cur_table != nullptr;
             state.cur_table = state.cur_table->next)
            write_table_columns(out, db_name, counts);
    }
}

// The statistics, after the output has been closed.
void write_statistics(const WalkCounts &counts)
{
    std::fputs("\nConversion Statistics\n", stdout);
    std::printf("\nTotal number of FILE definitions          : %d", counts.files);
    std::printf("\nTotal number of FIELD definitions         : %d", state.field_rows);
    std::fputs("\nTotal number of DB definitions            : 1", stdout);
    std::printf("\nTotal number of TABLE definitions         : %d", counts.tables);
    std::printf("\nTotal number of COLUMN definitions        : %d", state.column_rows);
    std::fputs("\n\nConversion completed successfully\n\n", stdout);
    flush_output();
}

}  // namespace

int dictionary_file_error()
{
    return file_errno;
}

// One more candidate row; a dot at each thousand, behind the rows before it.
void count_progress(std::int32_t &count)
{
    count = add32(count, 1);
    if (count % 1000 == 0) {
        flush_rows();
        std::fputc('.', stdout);
        flush_output();
    }
}

// Table and column names: dashes become underscores, at most 64 characters.
void convert_dashes(NameText &dst, const char *src)
{
    std::size_t n = text_length(src, NAME_WIDTH);
    std::memmove(dst, src, n);  // src may be dst itself
    dst[n] = '\0';
    for (char *dash = static_cast<char *>(std::memchr(dst, '-', n)); dash != nullptr;
         dash = static_cast<char *>(std::memchr(dash + 1, '-', n - static_cast<std::size_t>(dash + 1 - dst))))
        *dash = '_';
}

// FILLER filter of FIELD rows: the name's first seven characters decide.
bool field_row_hidden(const char *item_name)
{
    // deliberate: a name the source gave, such as FILLER-DATE, goes as well.
    return state.hide_fillers != 0 && item_name[0] == 'F' &&
           (std::strncmp(item_name, "FILLER_", 7) == 0 || std::strncmp(item_name, "FILLER-", 7) == 0);
}

// FILLER filter of COLUMN rows: only "FILLER_" counts here.
bool column_row_hidden(const char *name)
{
    return state.hide_fillers != 0 && name[0] == 'F' && std::strncmp(name, "FILLER_", 7) == 0;
}

// The head of the FIELD rows of a file.
void field_row_head(RowHead &head, const char *file_name)
{
    std::size_t n = text_length(file_name, NAME_WIDTH);
    std::memcpy(head.chars, "\"FIELD\",\"", 9);
    std::memcpy(head.chars + 9, file_name, n);
    std::memcpy(head.chars + 9 + n, "\",", 2);
    head.length = 11 + n;
}

// The head of the COLUMN rows of a table.
void column_row_head(RowHead &head, const char *db_name, const char *table_name)
{
    std::size_t db = text_length(db_name, NAME_WIDTH), table = text_length(table_name, NAME_WIDTH);
    std::memcpy(head.chars, "\"COLUMN\",\"", 10);
    std::memcpy(head.chars + 10, db_name, db);
    std::memcpy(head.chars + 10 + db, "\",\"", 3);
    std::memcpy(head.chars + 13 + db, table_name, table);
    std::memcpy(head.chars + 13 + db + table, "\",", 2);
    head.length = 15 + db + table;
}

// One FIELD row; the name and offset come from the caller.
void write_field_row(std::FILE *out, const RowHead &head, const FieldDef *item,
                     const char *item_name, std::int32_t offset)
{
    // deliberate: nothing is escaped; a quote in a VALUE breaks its row.
    begin_row(out);
    put_chars(head.chars, head.length);
    put_quoted(item_name);
    put_quoted(type_text(item->type_name));
    put_number(offset);
    put_literal(",");
    put_number(item->size);
    put_literal(",");
    put_number(item->display_size);
    put_literal(",");
    put_number(item->scale);
    put_literal(",0,\"\",\"");
    put(item->value.c_str());
    put_literal("\"\n");
}

// One COLUMN row; the names come from the caller.
void write_column_row(std::FILE *out, const RowHead &head, const ColumnDef *column,
                      const char *column_name, const char *item_name)
{
    begin_row(out);
    put_chars(head.chars, head.length);
    put_quoted(column_name);
    put_quoted(item_name);
    put_quoted(type_text(column->type_name));
    put_number(column->length);
    put_literal(",1,1,\"");
    put(column->value.c_str());
    put_literal("\"\n");
}

// Prompts, writes the five kinds of rows in order, closes, reports.
void write_dictionary(std::FILE *out)
{
    NameText db_name = {};
    char directory[PATH_WIDTH + 1] = {};

    std::fputs("\n", stdout);
    ask_database_name(db_name);
    ask_default_directory(directory);
    std::fputs("\n\nConverting parsed data to CSV data.\n", stdout);

    WalkCounts counts{};
    state.field_rows = 0;
    state.column_rows = 0;
    write_file_rows(out, counts);
    write_field_walk(out, counts);
    begin_row(out);
    put_literal("\"DB\",");
    put_quoted(db_name);
    put_quoted(directory);
    put_quoted(STORE_KIND);
    put_literal("\"\"\n");
    write_table_walk(out, db_name, counts);
    write_column_walk(out, db_name, counts);
    flush_rows();

    // Standard output carries the messages and stays open.
    if (out != stdout && (std::fclose(out) != 0))
        note_failure(out);
    write_statistics(counts);
}
