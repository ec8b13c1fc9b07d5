// The level stack and the running offset through the entries of a record:
// close_data_entry (parser, end of every data description entry),
// close_file_levels (parser, end of every FD entry) and close_final_levels
// (driver, after the parse).
#include <cstring>
#include <new>

#include "layout/layout.h"

namespace {

constexpr std::int32_t INITIAL_DEPTH = 10;
// level_top is 16 bits wide, so no index beyond this can be held.
constexpr std::int32_t MAX_DEPTH = 32768;

LevelEntry initial_stack[INITIAL_DEPTH];  // room for the usual nesting depth
LevelEntry *stack = initial_stack;        // open groups, index 0 at the bottom
std::int32_t stack_room = INITIAL_DEPTH;  // entries that `stack` can hold

// Which operation closes a group: each has its own message and its own
// treatment of a zero running offset.
enum class Closer { data_entry, file_levels, final_levels };

// Doubles the room of the stack, up to the last index level_top can hold;
// ends the process when that is impossible.
void grow_stack()
{
    if (stack_room >= MAX_DEPTH)
        process_exit(2);
    std::int32_t room = stack_room * 2 < MAX_DEPTH ? stack_room * 2 : MAX_DEPTH;
    LevelEntry *bigger = new (std::nothrow) LevelEntry[static_cast<std::size_t>(room)];
    if (bigger == nullptr)
        process_exit(2);
    std::memcpy(bigger, stack, sizeof(LevelEntry) * static_cast<std::size_t>(stack_room));
    if (stack != initial_stack)
        delete[] stack;
    stack = bigger;
    stack_room = room;
}

// Raises a file's record length to `length` when it is lower.
void raise_record_length(FileDef *file, std::int32_t length)
{
    if (file != nullptr && file->record_length < length)
        file->record_length = length;
}

// The file whose record a 01 entry ends: the one before cur_file when this
// 01 began a new file (which then has no items yet).
FileDef *file_of_ended_record()
{
    FileDef *file = state.cur_file;
    if (file != nullptr && file->fields == nullptr && file->prev != nullptr)
        return file->prev;
    return file;
}

// Settles the record length after an OCCURS group closed at offset 0, where
// the end of the record before stands in saved_offset.
void settle_saved_length(Closer by)
{
    switch (by) {
    case Closer::data_entry:
        if (state.level == 1) {
            raise_record_length(file_of_ended_record(), state.saved_offset);
            // deliberate: the record is over, so both offsets start afresh;
            // an outer group still open closes from 0 and keeps its size.
            state.saved_offset = 0;
            state.offset = 0;
        } else {
            raise_record_length(state.cur_file, state.saved_offset);
        }
        break;
    case Closer::file_levels:
        if (state.cur_file != nullptr)
            raise_record_length(state.cur_file->prev, state.saved_offset);
        break;
    case Closer::final_levels:
        break;
    }
}

// Closes the group on top of the stack: its size, its repetitions, the
// running offset behind it.
void close_top_group(Closer by)
{
    const LevelEntry &top = stack[state.level_top];
    FieldDef *group = find_field(top.name);
    if (group == nullptr) {
        switch (by) {
        case Closer::data_entry:
            process_stop(0, "\n\nError - 3 Unable to locate field %s\n\n", top.name);
        case Closer::file_levels:
            process_stop(0, "\n\nError - 1 Unable to locate field %s\n\n", top.name);
        case Closer::final_levels:
            process_stop(0, "\n\nError - 2 Unable to locate field %s\n\n", top.name);
        }
    }
    // A new table has zeroed the running offset; the record before ended at
    // saved_offset. After the parse no table can have done so.
    bool use_saved = by != Closer::final_levels && state.offset == 0;
    std::int32_t &end = use_saved ? state.saved_offset : state.offset;
    if (group->occurs > 1) {
        // deliberate: an OCCURS group always takes its size from its items,
        // even over the floor a REDEFINES gave it.
        group->size = sub32(end, top.start);
        end = add32(end, mul32(sub32(group->occurs, 1), group->size));
        if (use_saved)
            settle_saved_length(by);
    } else if (sub32(end, top.start) > group->size) {
        group->size = sub32(end, top.start);
    } else {
        // Carries the offset past a redefined item longer than the group.
        end = add32(top.start, group->size);
    }
    group->display_size = group->size;
    if (by == Closer::data_entry)
        raise_record_length(state.cur_file, state.offset);
    state.level_top = to16(state.level_top - 1);
}

// Closes groups from the top down while `keep_closing` holds for the top.
template <typename Test>
void close_groups(Closer by, Test keep_closing)
{
    while (state.level_top >= 0 && keep_closing(stack[state.level_top]))
        close_top_group(by);
}

// Pushes the group in work; its items follow from its start.
void open_group(FieldDef *field)
{
    if (state.level_top + 1 >= stack_room)
        grow_stack();
    state.level_top = to16(state.level_top + 1);
    LevelEntry &top = stack[state.level_top];
    copy_text(top.name, state.cur_name);
    top.level = to16(state.level);
    if (has_redefines(field))
        position_redefining_group(top);
    else
        top.start = state.offset;
    map_group_storage();
}

// Types an elementary item and moves the running offset past it.
void place_elementary(FieldDef *field)
{
    bool redefining = has_redefines(field);
    std::int32_t redefined_size = redefining ? position_redefining_item() : 0;
    map_storage(analyse_picture(field));
    state.saved_offset = state.offset;
    if (redefining)  // deliberate: one occurrence of the redefined item, not this item
        state.offset = add32(state.offset, redefined_size);
    else if (field->occurs > 1)
        state.offset = add32(state.offset, mul32(field->occurs, field->size));
    else
        state.offset = add32(state.offset, field->size);
}

}  // namespace

// Back to an empty stack in its first storage (tests reset between cases).
void reset_level_stack()
{
    if (stack != initial_stack)
        delete[] stack;
    stack = initial_stack;
    stack_room = INITIAL_DEPTH;
    state.level_top = -1;
}

// Ends the groups that this entry closes, then places or drops the entry.
void close_data_entry()
{
    state.level = text_to_int(state.level_text);
    // deliberate: levels compare as plain numbers, so 66, 77, 78 and 88 close
    // only groups of their own number or above.
    close_groups(Closer::data_entry,
                 [](const LevelEntry &top) { return state.level <= top.level; });
    // deliberate: a 01 only names a table and ends what stood before; even
    // its PICTURE stays in cur_picture.
    if (state.level == 1)
        return;
    FieldDef *field = state.cur_field;
    field->offset = state.offset;
    // deliberate: a condition entry that is the first item of its file is
    // kept, and goes on like any other entry.
    if ((state.level == 88 || state.level == 78) && field->prev != nullptr)
        drop_condition_entry();
    else if (state.level == 66 && field->clause != nullptr)
        apply_renames();
    else if (field->picture.empty())
        open_group(field);
    else
        place_elementary(field);
    state.cur_picture[0] = '\0';
}

// Closes every group the record before an FD left open.
void close_file_levels()
{
    close_groups(Closer::file_levels, [](const LevelEntry &top) { return top.level >= 1; });
    state.level_top = -1;
    if (state.cur_file != nullptr)
        raise_record_length(state.cur_file->prev, state.offset);
}

// Closes every group left open at the end of input.
void close_final_levels()
{
    close_groups(Closer::final_levels, [](const LevelEntry &top) { return top.level >= 1; });
    raise_record_length(state.cur_file, state.offset);
}
