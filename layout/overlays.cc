// Entries that take no new bytes of their own: level 88/78 condition
// entries (dropped), level 66 RENAMES (a copy or a span of placed items) and
// REDEFINES on groups and elementary items. Steps of close_data_entry.
#include "layout/layout.h"

namespace {

// Level 66 naming one item: the entry takes that item's description.
void rename_one_item(FieldDef *entry, const ClauseLink &clause)
{
    const FieldDef *item = find_field(clause.first_name.c_str());
    if (item == nullptr)
        process_stop(0, "\n\nError - 2 Unable to locate field %s\n\n", clause.first_name.c_str());
    entry->type_name = item->type_name;
    entry->picture = item->picture;
    entry->value = item->value;
    entry->usage = item->usage;
    entry->sign = item->sign;
    entry->level = item->level;  // deliberate: the copy no longer says 66
    entry->size = item->size;
    entry->display_size = item->display_size;
    entry->scale = item->scale;
    entry->offset = item->offset;
    entry->occurs = item->occurs;

    // Only the table in work is searched, unlike the field lookup.
    const ColumnDef *column = find_column(clause.first_name.c_str());
    if (column == nullptr)
        process_stop(0, "\n\nError - Unable to locate column %s\n\n", clause.first_name.c_str());
    ColumnDef *own = state.cur_column;
    own->type_name = column->type_name;
    own->value = column->value;
    own->length = column->length;
}

// Level 66 from one item through another: a character view of the span.
void rename_span(FieldDef *entry, const ClauseLink &clause)
{
    const FieldDef *first = find_field(clause.first_name.c_str());
    if (first == nullptr)
        process_stop(0, "\n\nError - 4 Unable to locate field %s\n\n", clause.first_name.c_str());
    entry->offset = first->offset;
    const FieldDef *last = find_field(clause.second_name.c_str());
    if (last == nullptr)
        process_stop(0, "\n\nError - 4 Unable to locate field %s\n\n", clause.second_name.c_str());
    std::int32_t last_size = last->occurs > 1 ? mul32(last->occurs, last->size) : last->size;
    entry->size = sub32(add32(last->offset, last_size), entry->offset);
    entry->display_size = entry->size;
    entry->type_name = TypeName::string;
    state.cur_column->type_name = TypeName::varchar;
    state.cur_column->length = entry->size;
}

}  // namespace

// Whether the entry lies over a named earlier item.
bool has_redefines(const FieldDef *field)
{
    return field->clause != nullptr && field->clause->redefines != 0
           && !field->clause->first_name.empty();
}

// Unlinks and releases a condition entry from the tails of both lists.
void drop_condition_entry()
{
    FieldDef *field = state.cur_field;
    state.cur_field = field->prev;
    release_field_def(field);
    state.cur_field->next = nullptr;

    ColumnDef *column = state.cur_column;
    state.cur_column = column->prev;
    if (state.cur_column != nullptr) {
        state.cur_column->next = nullptr;
    } else if (state.cur_table != nullptr && state.cur_table->columns == column) {
        // The first column of its table: the next entry starts the list anew.
        state.cur_table->columns = nullptr;
    }
    release_column_def(column);
}

// A level 66 entry: a copy of one item, or a span from one through another.
void apply_renames()
{
    FieldDef *entry = state.cur_field;
    const ClauseLink &clause = *entry->clause;
    if (clause.renames == 0 || clause.first_name.empty())
        process_stop(0, "\n\nError - RENAMES failed\n\n");
    if (clause.second_name.empty())
        rename_one_item(entry, clause);
    else
        rename_span(entry, clause);
}

// Moves the entry and the running offsets to the item it redefines; a
// failed lookup stops with the message of `place`.
static const FieldDef *move_to_redefined_item(int place)
{
    FieldDef *entry = state.cur_field;
    const FieldDef *item = find_field(entry->clause->first_name.c_str());
    if (item == nullptr)
        process_stop(0, "\n\nError - %d Unable to locate field %s\n\n", place,
                     entry->clause->first_name.c_str());
    entry->offset = item->offset;
    state.offset = item->offset;
    state.saved_offset = item->offset;
    return item;
}

// Starts a REDEFINES group at the redefined item, with its size as a floor.
void position_redefining_group(LevelEntry &top)
{
    const FieldDef *item = move_to_redefined_item(5);
    top.start = item->offset;
    // The redefined size is a floor: items that reach further enlarge the
    // group when it closes, shorter ones leave the offset at its end.
    state.cur_field->size = item->size;
}

// Puts a REDEFINES item at the redefined item; returns that item's size.
std::int32_t position_redefining_item()
{
    return move_to_redefined_item(6)->size;
}
