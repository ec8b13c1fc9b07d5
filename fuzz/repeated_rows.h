// Shared by the fuzz targets of tarnmap and tarnmap-check: how many rows the
// expansion of repeated items would write for the model, so that an input
// asking for millions stops before the writer.
#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include "model/model.h"

// The rows, up to `limit`: each item once for every occurrence of the items that hold it.
inline std::uint64_t repeated_rows(std::uint64_t limit)
{
    std::uint64_t rows = 0;
    for (const FileDef *file = state.files; file != nullptr; file = file->next) {
        std::vector<std::pair<std::int32_t, std::uint64_t>> open;  // level, occurrences
        for (const FieldDef *f = file->fields; f != nullptr; f = f->next) {
            while (!open.empty() && f->level <= open.back().first)
                open.pop_back();
            std::uint64_t times = open.empty() ? 1 : open.back().second;
            if (f->occurs > 1) {
                times = std::min(limit, times * static_cast<std::uint64_t>(f->occurs));
                open.emplace_back(f->level, times);
            }
            if ((rows += times) >= limit)
                return limit;
        }
    }
    return rows;
}
