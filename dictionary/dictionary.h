// Dictionary output: the prompts, the FILE, FIELD, DB, TABLE and COLUMN rows,
// the expansion of repeated items and the statistics. The driver calls
// write_dictionary once, after the parse and the close-out.
#pragma once

#include <cstdint>
#include <cstdio>

#include "model/model.h"

// Prompts, writes every row to `out`, closes `out` unless it is standard
// output, and reports the statistics.
void write_dictionary(std::FILE *out);
// errno of the first write or the close of a dictionary file (not standard
// output) that failed, or 0.
int dictionary_file_error();

// Rows of a repeated item and its group, occurrence by occurrence. `suffix`
// is that of the enclosing occurrence, null at the outermost call. On return
// the walk cursor stands on the last item or column dealt with.
void expand_field_rows(FieldDef *item, const char *suffix, std::FILE *out, std::int32_t base_offset);
void expand_column_rows(ColumnDef *column, const char *suffix, std::FILE *out, const char *db_name);
