// Expansion of repeated items: every occurrence of an OCCURS item, and of
// each member of its group, becomes a FIELD or COLUMN row of its own under a
// composed name. Called by the FIELD and COLUMN walks of write_dictionary.
#include "dictionary/dictionary.h"
#include "dictionary/rows.h"

namespace {

// Appends `text` to a composed text, which is cut at 64 characters.
void append(NameText &composed, std::size_t &length, const char *text)
{
    std::size_t n = text_length(text, NAME_WIDTH - length);
    std::memcpy(composed + length, text, n);
    length += n;
    composed[length] = '\0';
}

// Builds the suffix of occurrence `n`: "_I<n>" behind that of the enclosing
// occurrence, if any. A suffix longer than 64 characters is cut there.
void build_suffix(NameText &suffix, const char *outer, std::int32_t n)
{
    char digits[12];
    std::size_t k = sizeof digits - 1;
    digits[k] = '\0';
    for (std::uint32_t rest = static_cast<std::uint32_t>(n); rest != 0 || k == sizeof digits - 1; rest /= 10)
        digits[--k] = static_cast<char>('0' + rest % 10);
    std::size_t length = 0;
    append(suffix, length, outer != nullptr ? outer : "");
    append(suffix, length, "_I");
    append(suffix, length, digits + k);
}

// Builds a composed name, cut at 64 characters when it comes out longer.
void compose_name(NameText &composed, const char *name, const char *suffix)
{
    std::size_t length = 0;
    append(composed, length, name);
    append(composed, length, suffix);
}

// The FIELD row of one occurrence of `item`, counted for this call's dots.
void emit_field_row(std::FILE *out, const RowHead &head, const FieldDef *item, const char *suffix,
                    std::int32_t offset, std::int32_t &progress)
{
    NameText item_name;
    compose_name(item_name, item->name.c_str(), suffix);
    if (item->type_name == TypeName::none)  // a group without -s: only its members have rows
        return;
    count_progress(progress);
    if (field_row_hidden(item_name))
        return;
    write_field_row(out, head, item, item_name, offset);
    state.field_rows = add32(state.field_rows, 1);
}

// The COLUMN row of one occurrence of `column`, counted for this call's dots.
void emit_column_row(std::FILE *out, ColumnDef *column, const char *suffix,
                     const RowHead &head, std::int32_t &progress)
{
    const FieldDef *item = column->field;
    NameText column_name;
    NameText item_name;
    compose_name(column_name, column->name.c_str(), suffix);
    compose_name(item_name, item->name.c_str(), suffix);
    convert_dashes(column_name, column_name);
    if (column->length == 0)
        column->length = item->size;
    if (item->type_name == TypeName::none)
        return;
    count_progress(progress);
    // deliberate: judged by the item name with its dashes, so a repeated
    // FILLER-X keeps the COLUMN rows that its FIELD rows lose.
    if (column_row_hidden(item_name))
        return;
    write_column_row(out, head, column, column_name, item_name);
    state.column_rows = add32(state.column_rows, 1);
}

// True when the column behind the cursor is a member of a group of `level`.
bool next_column_in_group(std::int32_t level)
{
    const ColumnDef *next = state.cur_column->next;
    return next != nullptr && next->field != nullptr && next->field->level > level;
}

}  // namespace

// FIELD rows of a repeated item and its group, occurrence by occurrence.
void expand_field_rows(FieldDef *item, const char *suffix, std::FILE *out,
                       std::int32_t base_offset)
{
    NameText own_suffix;
    RowHead head;
    field_row_head(head, state.cur_file->name.c_str());
    std::int32_t progress = 0;  // deliberate: each call counts its dots alone
    for (std::int64_t n = 1; n <= item->occurs; ++n) {  // wide: n passes any count
        state.cur_field = item;
        build_suffix(own_suffix, suffix, static_cast<std::int32_t>(n));
        std::int32_t step = mul32(static_cast<std::int32_t>(n - 1), item->size);
        std::int32_t base = add32(base_offset, step);
        emit_field_row(out, head, item, own_suffix, add32(base, item->offset), progress);
        // deliberate: the item list runs through all records of the file, so
        // a group can take in the first items of the next record.
        while (state.cur_field->next != nullptr && state.cur_field->next->level > item->level) {
            FieldDef *member = state.cur_field->next;
            if (member->occurs > 1) {
                expand_field_rows(member, own_suffix, out, base);
                continue;
            }
            emit_field_row(out, head, member, own_suffix, add32(base, member->offset), progress);
            state.cur_field = member;
        }
    }
}

// COLUMN rows of a repeated item and its group, occurrence by occurrence.
void expand_column_rows(ColumnDef *column, const char *suffix, std::FILE *out,
                        const char *db_name)
{
    NameText table_name;
    NameText own_suffix;
    RowHead head;
    std::int32_t progress = 0;  // deliberate: each call counts its dots alone
    convert_dashes(table_name, state.cur_table->name.c_str());
    column_row_head(head, db_name, table_name);
    const std::int32_t level = column->field->level;
    for (std::int64_t n = 1; n <= column->field->occurs; ++n) {  // wide: n passes any count
        state.cur_column = column;
        build_suffix(own_suffix, suffix, static_cast<std::int32_t>(n));
        emit_column_row(out, column, own_suffix, head, progress);
        while (next_column_in_group(level)) {
            ColumnDef *member = state.cur_column->next;
            if (member->field->occurs > 1) {
                expand_column_rows(member, own_suffix, out, db_name);
                continue;
            }
            emit_column_row(out, member, own_suffix, head, progress);
            state.cur_column = member;
        }
    }
}
