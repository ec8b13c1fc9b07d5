// The account of a load: bad values per table and column with the first
// record numbers, and the summary of records read and rows written, on
// standard error after the load.
#include "load/load.h"

// Keeps the first five record numbers and the reason of the first.
void count_bad(TableAccount &t, size_t column, uint64_t record, Bad why)
{
    ColumnAccount &c = t.columns[column];
    if (c.bad < sizeof c.first_records / sizeof c.first_records[0])
        c.first_records[c.bad] = record;
    if (c.bad == 0)
        c.first_reason = why;
    c.bad++;
}

// Bad values first, column by column, then one summary line per table loaded.
void print_report(std::FILE *out, const std::vector<TableAccount> &accounts, const std::vector<Table> &tables,
                  bool dry_run)
{
    const char *as_null = dry_run ? "NULL in a load" : "loaded as NULL";
    for (size_t i = 0; i < accounts.size(); i++) {
        const TableAccount &t = accounts[i];
        if (!t.loaded)
            continue;
        for (size_t k = 0; k < t.columns.size(); k++) {
            const ColumnAccount &c = t.columns[k];
            if (c.bad == 0)
                continue;
            const ColumnSpec &col = tables[i].sql.columns[k];
            std::fprintf(out, "  %s.%s (dictionary line %d): %llu bad value%s, %s (first: %s), record%s",
                         t.name.c_str(), col.name.c_str(), col.line, static_cast<unsigned long long>(c.bad),
                         c.bad == 1 ? "" : "s", as_null, bad_name(c.first_reason), c.bad == 1 ? "" : "s");
            size_t shown = c.bad < 5 ? static_cast<size_t>(c.bad) : 5;
            for (size_t r = 0; r < shown; r++)
                std::fprintf(out, "%s %llu", r ? "," : "", static_cast<unsigned long long>(c.first_records[r]));
            std::fprintf(out, "%s\n", c.bad > shown ? ", ..." : "");
        }
    }
    for (const TableAccount &t : accounts) {
        if (!t.loaded)
            continue;
        std::fprintf(out, "%s: %llu record%s read, %llu row%s %s", t.name.c_str(),
                     static_cast<unsigned long long>(t.records), t.records == 1 ? "" : "s",
                     static_cast<unsigned long long>(t.rows), t.rows == 1 ? "" : "s",
                     dry_run ? "decoded (--dry-run: none written)" : "written");
        if (t.bad_records)
            std::fprintf(out, ", %llu with bad values", static_cast<unsigned long long>(t.bad_records));
        if (t.unselected)
            std::fprintf(out, ", %llu taken by no --when", static_cast<unsigned long long>(t.unselected));
        std::fprintf(out, "\n");
    }
}
