// What the grammar's actions do to the model: FD entries make and continue
// files; data description entries make tables, items and columns and fill
// them from their clauses. Called only from parser/grammar.y.
#include <cstdio>
#include <cstring>

#include "model/model.h"
#include "parser/parser.h"
#include "scanner/scanner.h"

namespace {

// Level number of the entry in work, read as atoi reads it from
// state.level_text when the entry begins; every clause asks for it.
std::int32_t entry_level_no = 0;

std::int32_t entry_level()
{
    return entry_level_no;
}

// Clause actions on a level 01 entry have no effect. During a 01 entry
// cur_field still points at the previous record's last item, hence both tests.
bool entry_guard()
{
    return state.cur_field != nullptr && entry_level() != 1;
}

// Strips the quotes of a literal held in a text member, if it has any.
template <std::size_t N>
void strip_literal(char (&text)[N])
{
    if (text[0] == '\'' || text[0] == '"')
        strip_quotes(text, static_cast<int>(N - 1), text[0]);
}

// The linking rule of every list: a new record heads an empty list, and
// otherwise goes behind the cursor of its kind; the cursor moves onto it.
template <typename Record>
Record *append_record(Record *&head, Record *&cursor, Record *(*create)(Record *))
{
    Record *record = create(head == nullptr ? nullptr : cursor);
    if (head == nullptr)
        head = record;
    cursor = record;
    return record;
}

// Creates a file behind the last one and makes it the file in work.
bool append_file(const char *name)
{
    FileDef *file = append_record(state.files, state.cur_file, new_file_def);
    if (file == nullptr)
        return false;
    set_text(file->name, name);
    return true;
}

// Starts a table of the file in work; the record's offsets start from 0.
bool begin_table(const char *name)
{
    FileDef *file = state.cur_file;
    if (file->tables == nullptr) {
        file->tables = new_table_def(nullptr);
        state.cur_table = file->tables;
    } else {
        state.cur_table = new_table_def(state.cur_table);
        if (file->record_length < state.offset)
            file->record_length = state.offset;
    }
    if (state.cur_table == nullptr)
        return false;
    set_text(state.cur_table->name, name);
    state.saved_offset = state.offset;
    state.offset = 0;
    return true;
}

// Gives the item a FILLER's generated name, or the data name as it stands.
void name_item(FieldDef *field, const char *name, bool filler)
{
    if (!filler) {
        set_text(field->name, name);
        return;
    }
    char generated[NAME_WIDTH + 1];
    std::snprintf(generated, sizeof generated, "%s_%d", name, static_cast<int>(state.filler_no));
    copy_text(field->name, generated);
}

enum ClauseKind { CLAUSE_REDEFINES, CLAUSE_RENAMES, CLAUSE_CONDITIONS };

// The messages for a second clause record, tested in this order.
struct ClauseRefusal {
    ClauseKind first_test;
    const char *first_message;
    ClauseKind second_test;
    const char *second_message;
    const char *already_used;  // stands when neither test holds
};

constexpr ClauseRefusal CLAUSE_REFUSALS[] = {
    {CLAUSE_RENAMES, "\n\nError - Combined RENAMES and REDEFINES options\n\n",
     CLAUSE_CONDITIONS, "\n\nError - Combined CONDITION-NAMES and REDEFINES options\n\n",
     "\n\nError - Already used REDEFINES options\n\n"},
    {CLAUSE_REDEFINES, "\n\nError - Combined RENAMES and REDEFINES options\n\n",
     CLAUSE_CONDITIONS, "\n\nError - Combined CONDITION-NAMES and RENAMES options\n\n",
     "\n\nError - Already used RENAMES options\n\n"},
    {CLAUSE_REDEFINES, "\n\nError - Combined CONDITION-NAMES and REDEFINES options\n\n",
     CLAUSE_RENAMES, "\n\nError - Combined CONDITION-NAMES and RENAMES options\n\n",
     "\n\nError - Already used CONDITION-NAMES options\n\n"},
};

bool clause_flag(const ClauseLink *clause, ClauseKind kind)
{
    switch (kind) {
    case CLAUSE_REDEFINES: return clause->redefines != 0;
    case CLAUSE_RENAMES: return clause->renames != 0;
    case CLAUSE_CONDITIONS: return clause->conditions != 0;
    }
    return false;
}

// True, after its message, when the item in work has its one clause record
// already, so that a clause of `kind` is refused.
bool clause_refused(ClauseKind kind)
{
    const ClauseLink *clause = state.cur_field->clause;
    if (clause == nullptr)
        return false;
    const ClauseRefusal &refusal = CLAUSE_REFUSALS[kind];
    const char *message = refusal.already_used;
    if (clause_flag(clause, refusal.first_test))
        message = refusal.first_message;
    else if (clause_flag(clause, refusal.second_test))
        message = refusal.second_message;
    std::fputs(message, stdout);
    return true;
}

// Gives the item in work its one clause record, filled with the names as
// written; false (after the message, if any) when the parse must stop.
bool claim_clause(ClauseKind kind, const char *first, const char *second)
{
    if (clause_refused(kind))
        return false;
    FieldDef *field = state.cur_field;
    ClauseLink *clause = new_clause_link(field);
    if (clause == nullptr)
        return false;  // no memory: the parse stops quietly, as for any record
    clause->redefines = kind == CLAUSE_REDEFINES;
    clause->renames = kind == CLAUSE_RENAMES;
    clause->conditions = kind == CLAUSE_CONDITIONS;
    set_text(clause->first_name, first);
    set_text(clause->second_name, second);
    return true;
}

// The notes of the entry in work, when they are kept and it is an item.
ItemNotes *entry_notes()
{
    return state.keep_notes != 0 && entry_guard() ? notes_of(state.cur_field) : nullptr;
}

// Gives the item a default PICTURE where the source has written none yet.
void default_picture(const char *picture)
{
    if (state.cur_picture[0] == '\0')
        copy_text(state.cur_picture, picture);
    if (state.cur_field->picture.empty())
        set_text(state.cur_field->picture, picture);
}

enum WordTest { CONTAINS, EQUALS };

// One line of the USAGE word list, tested in order.
struct UsageWord {
    WordTest test;
    const char *word;
    bool after_usage_only;     // tested only behind the USAGE keyword (135)
    bool writes;               // false: DISPLAY, which leaves the item as it is
    std::int16_t usage;
    bool signed_after_usage;   // 135 also sets sign 1
    const char *picture;       // default PICTURE, or null
};

constexpr UsageWord USAGE_WORDS[] = {
    {CONTAINS, "POINTER", false, true, 0, false, "9(09)"},
    {EQUALS, "INDEX", false, true, 0, false, "9(09)"},
    {EQUALS, "BINARY", false, true, 0, false, nullptr},
    {CONTAINS, "PACKED", false, true, 3, false, nullptr},
    {CONTAINS, "QUAD", false, true, 0, true, "9(11)"},
    {CONTAINS, "DATE", true, true, 4, false, "9(20)"},
    {CONTAINS, "LONG", true, true, 0, true, "9(09)"},
    {CONTAINS, "DISPLAY", false, false, 0, false, nullptr},
};

}  // namespace

void strip_quotes(char *text, int limit, char quote)
{
    if (text[1] == quote || text[1] == '\0' || limit < 1) {
        text[0] = '\0';
        return;
    }
    int n = 0;
    for (;;) {
        text[n] = text[n + 1];
        ++n;
        if (n >= limit || text[n + 1] == quote || text[n + 1] == '\0')
            break;
    }
    text[n] = '\0';
}

bool begin_file(const char *name)
{
    // deliberate: only the file in work is compared; an earlier file of the
    // same name further back is not continued.
    if (state.cur_file != nullptr && std::strcmp(state.cur_file->name.c_str(), name) == 0)
        return true;
    return append_file(name);
}

void set_file_path(const char *literal)
{
    copy_text(state.cur_path, literal);
    strip_literal(state.cur_path);
    copy_text(state.cur_file->path, state.cur_path);
    set_text(state.cur_file->organization, "INDEXED");
}

void set_organization(const char *organization)
{
    if (state.cur_file != nullptr)
        set_text(state.cur_file->organization, organization);
}

void set_record_format(const char *mode)
{
    set_text(state.cur_file->record_format, mode[0] == 'V' ? "VARIABLE" : "FIXED");
}

bool begin_entry(const char *level, const char *name)
{
    copy_text(state.level_text, level);
    copy_text(state.cur_name, name);
    std::int32_t level_no = entry_level_no = text_to_int(state.level_text);

    bool new_file = state.cur_file == nullptr ||
                    (state.multi_record == 1 && level_no == 1 && state.cur_file->fields != nullptr);
    if (new_file) {
        if (state.cur_file != nullptr && state.offset > state.cur_file->record_length)
            state.cur_file->record_length = state.offset;
        if (!append_file(name))
            return false;
    }
    if (level_no == 1)
        return begin_table(name);  // a record has a table, no item or column

    FieldDef *field = append_record(state.cur_file->fields, state.cur_field, new_field_def);
    if (field == nullptr)
        return false;
    bool filler = std::strcmp(name, "FILLER") == 0;
    name_item(field, name, filler);
    if (filler)
        copy_text(state.cur_name, field->name.c_str());
    field->level = level_no;
    if (ItemNotes *notes = note_item(field)) {
        notes->line = token_line(name);
        notes->level = level_no;
    }

    if (state.cur_table == nullptr) {
        if (state.multi_record != 1) {
            std::fputs("\n\nError - No Table declared\n\n", stdout);
            return false;
        }
        if (!begin_table(name))
            return false;
    }
    ColumnDef *column = append_record(state.cur_table->columns, state.cur_column, new_column_def);
    if (column == nullptr)
        return false;
    column->name = field->name;
    if (filler)  // one number for both names, across the whole source
        state.filler_no = add32(state.filler_no, 1);
    column->field = field;
    return true;
}

void set_picture(const char *picture)
{
    copy_text(state.cur_picture, picture);  // deliberate: on any level, 01 included
    if (entry_guard())
        set_text(state.cur_field->picture, picture, SOURCE_PICTURE_WIDTH);
    if (ItemNotes *notes = entry_notes())
        notes->picture = picture;
}

void set_usage_comp(const char *text, const char *digit_order)
{
    if (!entry_guard())
        return;
    if (ItemNotes *notes = entry_notes())
        notes->usage = text;
    FieldDef *field = state.cur_field;
    // deliberate: the two productions look for the digits in different orders.
    for (const char *digit = digit_order; *digit != '\0'; ++digit) {
        if (std::strchr(text, *digit) == nullptr)
            continue;
        field->usage = static_cast<std::int16_t>(*digit - '0');
        if (*digit == '2' && field->picture.empty()) {
            set_text(field->picture, "S9(4)");
            copy_text(state.cur_picture, "S9(4)");
        }
        return;
    }
    field->usage = 0;
}

bool set_usage_word(const char *word, bool after_usage)
{
    if (!entry_guard())
        return true;
    FieldDef *field = state.cur_field;
    for (const UsageWord &entry : USAGE_WORDS) {
        if (entry.after_usage_only && !after_usage)
            continue;
        bool match = entry.test == EQUALS ? std::strcmp(word, entry.word) == 0
                                          : std::strstr(word, entry.word) != nullptr;
        if (!match)
            continue;
        if (ItemNotes *notes = entry_notes())
            notes->usage = word;
        if (!entry.writes)
            return true;
        field->usage = entry.usage;
        if (entry.signed_after_usage && after_usage)
            field->sign = 1;
        if (entry.picture != nullptr)
            default_picture(entry.picture);
        return true;
    }
    flush_output();
    std::fprintf(stderr, "\nError - Unsupported USAGE <%s>\n\n", word);
    return false;
}

bool add_redefines(const char *name)
{
    return !entry_guard() || claim_clause(CLAUSE_REDEFINES, name, "");
}

void set_sign(int kind)
{
    if (entry_guard())
        state.cur_field->sign = static_cast<std::int16_t>(kind);
    if (ItemNotes *notes = entry_notes())
        notes->sign_clause = state.cur_field->sign;
}

void add_sign_separate()
{
    // deliberate: a second SEPARATE goes on counting, past the five kinds.
    if (entry_guard())
        state.cur_field->sign = to16(state.cur_field->sign + 1);
    if (ItemNotes *notes = entry_notes())
        notes->sign_clause = state.cur_field->sign;
}

void note_sync()
{
    if (ItemNotes *notes = entry_notes())
        notes->sync = true;
}

void note_depending()
{
    if (ItemNotes *notes = entry_notes())
        notes->depending = true;
}

void set_occurs(const char *low, const char *high)
{
    if (!entry_guard())
        return;
    // deliberate: OCCURS n TO m stores m - n, and a count of 1 or less is 0.
    std::int32_t count = sub32(text_to_int(high), text_to_int(low));
    state.cur_field->occurs = count <= 1 ? 0 : count;
    if (ItemNotes *notes = entry_notes()) {
        notes->occurs_min = text_to_int(low);
        notes->occurs_max = text_to_int(high);
    }
}

bool set_value(const char *literal)
{
    if (!entry_guard())
        return true;
    // deliberate: the clause record is looked at first, on every level, so a
    // VALUE behind REDEFINES or RENAMES is refused though it would make none.
    if (clause_refused(CLAUSE_CONDITIONS))
        return false;
    FieldDef *field = state.cur_field;
    if (field->level == 88 || field->level == 78)
        return claim_clause(CLAUSE_CONDITIONS, literal, "");
    if (literal[0] == '\'' || literal[0] == '"') {
        char stripped[VALUE_WIDTH + 1];
        copy_text(stripped, literal);
        strip_literal(stripped);
        copy_text(field->value, stripped);
    } else {
        set_text(field->value, literal);
    }
    if (state.cur_column != nullptr)
        state.cur_column->value = field->value;
    return true;
}

bool add_condition_range(const char *first, const char *second)
{
    return !entry_guard() || claim_clause(CLAUSE_CONDITIONS, first, second);
}

bool add_renames(const char *first, const char *second)
{
    return !entry_guard() || claim_clause(CLAUSE_RENAMES, first, second);
}
