// Record creation and lookups of the layout model, the arena that holds
// records and token texts for the whole run, and the process stops.
// Called by every other subsystem.
#include "model/model.h"

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

LayoutState state;

// Arena: blocks that are never freed, bump-allocated, one run of blocks
// for records (aligned) and one for texts (packed). Every block is chained
// from `blocks`, so the memory stays reachable to the end.
namespace {
constexpr std::size_t CHUNK_SIZE = std::size_t{1} << 20;  // big enough to come zeroed from mmap
constexpr std::size_t ALIGN = alignof(void *);            // the strictest member of a record

struct alignas(std::max_align_t) BlockHead {
    BlockHead *next;
};

// The free part of the current chunk of one run.
struct Chunk {
    unsigned char *next;  // next free byte
    std::size_t left;     // bytes left
};

BlockHead *blocks = nullptr;  // every block the arena has taken
Chunk record_chunk{};         // records, each at a multiple of ALIGN
Chunk text_chunk{};           // texts, packed byte by byte

ItemNotes **notes_table = nullptr;  // ItemNotes by FieldDef.notes, from 1
std::int32_t notes_count = 0;       // notes made
std::int32_t notes_room = 0;        // entries notes_table has room for
FieldDef *free_fields = nullptr;    // released FieldDefs, linked through next
ColumnDef *free_columns = nullptr;  // released ColumnDefs, linked through next

// A zero-filled block with room for `size` bytes behind its head.
unsigned char *new_block(std::size_t size)
{
    if (size > SIZE_MAX - sizeof(BlockHead))
        return nullptr;
    void *mem = std::calloc(1, sizeof(BlockHead) + size);
    if (mem == nullptr)
        return nullptr;
    BlockHead *head = static_cast<BlockHead *>(mem);
    head->next = blocks;
    blocks = head;
    return reinterpret_cast<unsigned char *>(head + 1);
}

// `size` zero-filled bytes from the chunk of a run; large ones get a block of their own.
void *take(Chunk &chunk, std::size_t size)
{
    if (size > CHUNK_SIZE / 4)
        return new_block(size);
    if (size > chunk.left) {
        unsigned char *fresh = new_block(CHUNK_SIZE);
        if (fresh == nullptr)
            return nullptr;
        chunk = Chunk{fresh, CHUNK_SIZE};
    }
    void *p = chunk.next;
    chunk.next += size;
    chunk.left -= size;
    return p;
}
}  // namespace

void arena_release()
{
    while (blocks != nullptr) {
        BlockHead *next = blocks->next;
        std::free(blocks);
        blocks = next;
    }
    record_chunk = Chunk{};
    text_chunk = Chunk{};
    free_fields = nullptr;
    free_columns = nullptr;
    notes_count = 0;  // the notes lived in the blocks
}

void *arena_alloc(std::size_t size)
{
    std::size_t rounded = (size + ALIGN - 1) & ~(ALIGN - 1);
    return rounded < size ? nullptr : take(record_chunk, rounded);
}

// Not inlined: the compiler would otherwise look at a constant that fits its
// member (which set_text keeps) as if it were copied beyond its end.
[[gnu::noinline]] char *arena_text(const char *text, std::size_t length)
{
    if (length + 1 == 0)
        return nullptr;
    char *copy = static_cast<char *>(take(text_chunk, length + 1));
    if (copy != nullptr)
        std::memcpy(copy, text, length);  // the terminator is the chunk's zero
    return copy;
}

std::int32_t text_to_int(const char *text)
{
    // strtol's reading, by hand: it costs a locale lookup per number.
    const char *p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r'))
        ++p;
    bool negative = *p == '-';
    if (*p == '+' || *p == '-')
        ++p;
    // A long holds up to 2^63 - 1 and down to -2^63; beyond, strtol clamps.
    const std::uint64_t limit = negative ? std::uint64_t{1} << 63 : (std::uint64_t{1} << 63) - 1;
    const std::uint64_t safe = (limit - 9) / 10;  // below it, one more digit cannot pass the limit
    std::uint64_t magnitude = 0;
    for (; *p >= '0' && *p <= '9'; ++p) {
        unsigned digit = static_cast<unsigned>(*p - '0');
        if (magnitude <= safe)
            magnitude = magnitude * 10 + digit;
        else
            magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
    }
    std::uint64_t value = negative ? 0 - magnitude : magnitude;
    return wrap32(static_cast<std::uint32_t>(value));
}

FileDef *new_file_def(FileDef *after)
{
    void *mem = arena_alloc(sizeof(FileDef));
    if (mem == nullptr)
        return nullptr;
    FileDef *file = new (mem) FileDef{};
    set_text(file->record_format, "FIXED");
    set_text(file->organization, "INDEXED");
    if (after != nullptr) {
        after->next = file;
        file->prev = after;
    }
    return file;
}

FieldDef *new_field_def(FieldDef *after)
{
    void *mem = free_fields;
    if (mem != nullptr)
        free_fields = free_fields->next;
    else
        mem = arena_alloc(sizeof(FieldDef));
    if (mem == nullptr)
        return nullptr;
    FieldDef *field = new (mem) FieldDef{};
    if (after != nullptr) {
        after->next = field;
        field->prev = after;
    }
    return field;
}

TableDef *new_table_def(TableDef *after)
{
    void *mem = arena_alloc(sizeof(TableDef));
    if (mem == nullptr)
        return nullptr;
    TableDef *table = new (mem) TableDef{};
    if (after != nullptr)
        after->next = table;
    return table;
}

ColumnDef *new_column_def(ColumnDef *after)
{
    void *mem = free_columns;
    if (mem != nullptr)
        free_columns = free_columns->next;
    else
        mem = arena_alloc(sizeof(ColumnDef));
    if (mem == nullptr)
        return nullptr;
    ColumnDef *column = new (mem) ColumnDef{};
    if (after != nullptr) {
        after->next = column;
        column->prev = after;
    }
    return column;
}

ClauseLink *new_clause_link(FieldDef *field)
{
    void *mem = arena_alloc(sizeof(ClauseLink));
    if (mem == nullptr)
        return nullptr;
    field->clause = new (mem) ClauseLink{};
    return field->clause;
}

ItemNotes *note_item(FieldDef *field)
{
    if (state.keep_notes == 0)
        return nullptr;
    if (notes_count + 1 >= notes_room) {
        std::int32_t room = notes_room < 1024 ? 1024 : notes_room * 2;
        void *bigger = room > notes_room ? std::realloc(notes_table, sizeof(ItemNotes *) * static_cast<std::size_t>(room))
                                         : nullptr;
        if (bigger == nullptr)
            process_exit(2);
        notes_table = static_cast<ItemNotes **>(bigger);
        notes_room = room;
    }
    void *mem = arena_alloc(sizeof(ItemNotes));
    if (mem == nullptr)
        process_exit(2);
    notes_table[++notes_count] = new (mem) ItemNotes{};
    field->notes = notes_count;
    return notes_table[notes_count];
}

ItemNotes *notes_of(const FieldDef *field)
{
    return field->notes > 0 && field->notes <= notes_count ? notes_table[field->notes] : nullptr;
}

void release_field_def(FieldDef *field)
{
    field->next = free_fields;
    free_fields = field;
}

void release_column_def(ColumnDef *column)
{
    column->next = free_columns;
    free_columns = column;
}

FieldDef *find_field(const char *name)
{
    // Names are compared as stored, so the search text is cut the same way.
    char wanted[NAME_WIDTH + 1];
    copy_text(wanted, name);
    // deliberate: a search for the bare word FILLER matches any generated
    // FILLER_n (and anything else that begins so); other names match whole.
    std::size_t compared = std::strcmp(wanted, "FILLER") == 0 ? 6 : sizeof wanted;
    if (state.cur_field != nullptr) {
        for (FieldDef *f = state.cur_field->prev; f != nullptr; f = f->prev)
            if (std::strncmp(f->name.c_str(), wanted, compared) == 0)
                return f;
    }
    if (state.cur_file != nullptr && state.cur_file->prev != nullptr) {
        for (FieldDef *f = state.cur_file->prev->fields; f != nullptr; f = f->next)
            if (std::strncmp(f->name.c_str(), wanted, compared) == 0)
                return f;
    }
    return nullptr;
}

ColumnDef *find_column(const char *name)
{
    char wanted[NAME_WIDTH + 1];
    copy_text(wanted, name);
    if (state.cur_column == nullptr)
        return nullptr;
    for (ColumnDef *c = state.cur_column->prev; c != nullptr; c = c->prev)
        if (std::strcmp(c->name.c_str(), wanted) == 0)
            return c;
    return nullptr;
}

namespace {
int output_errno = 0;  // errno of the first write to standard output that failed
}  // namespace

void note_output_failure()
{
    if (output_errno == 0)
        output_errno = errno != 0 ? errno : EIO;
}

void flush_output()
{
    if (std::fflush(stdout) != 0)
        note_output_failure();
}

int settle_output(int status)
{
    flush_output();
    if (status == 2 || !std::ferror(stdout))
        return status;
    note_output_failure();  // the failure happened inside a buffered write
    std::fprintf(stderr, "tarnmap: cannot write standard output: %s\n", std::strerror(output_errno));
    return STATUS_WRITE_FAILED;
}

void process_exit(int status)
{
    std::exit(settle_output(status));
}

void process_stop(int status, const char *format, ...)
{
    va_list args;
    va_start(args, format);
    std::vfprintf(stdout, format, args);
    va_end(args);
    process_exit(status);
}
