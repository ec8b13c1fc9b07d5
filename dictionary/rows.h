// What the writer and the expansion of repeated items share: the FIELD and
// COLUMN rows, the FILLER filters, the dash conversion and the progress dots.
// Internal to dictionary/.
#pragma once

#include <cstdint>
#include <cstdio>

#include "model/model.h"

// A working text of the writer: table, column and composed names.
using NameText = char[NAME_WIDTH + 1];

// Counts one candidate row; a "." goes to standard output at each thousand,
// behind the rows made so far.
void count_progress(std::int32_t &count);

// Copies `src` with each "-" made "_", up to the terminator or 64 characters.
void convert_dashes(NameText &dst, const char *src);

// True when the filter is on and a FIELD row of this item name is left out.
bool field_row_hidden(const char *item_name);
// True when the filter is on and a COLUMN row judged by this name is left out.
bool column_row_hidden(const char *name);

// The start of every FIELD row of one file, "FIELD","<file>", or of every
// COLUMN row of one table, "COLUMN","<database>","<table>", made once.
struct RowHead {
    char chars[16 + 3 * (NAME_WIDTH + 3)];
    std::size_t length;
};
void field_row_head(RowHead &head, const char *file_name);
void column_row_head(RowHead &head, const char *db_name, const char *table_name);

// One FIELD row of `item` behind the head of its file, under `item_name` at `offset`.
void write_field_row(std::FILE *out, const RowHead &head, const FieldDef *item,
                     const char *item_name, std::int32_t offset);
// One COLUMN row of `column` behind the head of its table, under the column
// and item names given.
void write_column_row(std::FILE *out, const RowHead &head, const ColumnDef *column,
                      const char *column_name, const char *item_name);
