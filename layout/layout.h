// Field layout: the level stack and offset accounting, PICTURE analysis,
// storage and type mapping, and the REDEFINES / RENAMES / condition-name
// steps. The parser calls close_data_entry and close_file_levels, the
// driver close_final_levels.
#pragma once

#include <cstdint>

#include "model/model.h"

// One open group on the level stack.
struct LevelEntry {
    char name[NAME_WIDTH + 1];  // data name of the group (FILLER_n for a FILLER group)
    std::int16_t level;         // its level number
    std::int32_t start;         // offset where it began (the redefined item's, under REDEFINES)
};

// What a PICTURE says: positions, scale and class.
struct PictureInfo {
    std::int32_t digit_count;  // character positions counted
    std::int32_t scale;        // by the P and V rules; may be negative
    std::int32_t item_class;   // 0 none, 1 numeric, 2 alphanumeric
};

// Closes the groups an entry ends, then places the entry itself.
void close_data_entry();
// Closes every open group at the end of an FD entry.
void close_file_levels();
// Closes every open group after the parse and settles the last record length.
void close_final_levels();
// Empties the level stack and gives back grown storage; used by tests, which
// also reset `state` between cases.
void reset_level_stack();

// Reads the PICTURE of `field` (through state.cur_picture) once; sets
// field->sign to 1 on an S.
PictureInfo analyse_picture(FieldDef *field);
// Types and sizes of the elementary item in state.cur_field / state.cur_column.
void map_storage(const PictureInfo &info);
// Types and column length of the group item in state.cur_field /
// state.cur_column when it is opened.
void map_group_storage();

// Steps of close_data_entry for overlays, on state.cur_field and
// state.cur_column; a failed lookup ends the process.
// True when the entry has a REDEFINES clause that names an item.
bool has_redefines(const FieldDef *field);
// Level 88/78 behind another item: unlinks and releases the entry.
void drop_condition_entry();
// Level 66 with a clause record: copies or spans the renamed items.
void apply_renames();
// Group with REDEFINES: takes the redefined item's offset and size, and
// starts `top` there.
void position_redefining_group(LevelEntry &top);
// Elementary item with REDEFINES: takes the redefined item's offset and
// returns its size, by which the running offset advances.
std::int32_t position_redefining_item();
