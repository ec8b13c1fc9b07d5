// The compiler's side of tarnmap-check: how IBM Enterprise COBOL, or GnuCOBOL
// (cobc -std=ibm), sizes and places every item of a record, and which
// departure of the dictionary from it explains each item that differs.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>
#include <string>
#include <utility>

#include "check/check.h"

namespace {

std::string line_of(const CheckItem &item)
{
    return item.field->name.c_str() + std::string(" (line ") + std::to_string(item.notes->line) + ")";
}

// Whether a loader that reads `dictionary` gets other values than a compiler
// stored as `compiler`. A little-endian COMP-2 is not counted: the loader's
// float option reads every DOUBLE of a file in that byte order.
bool reads_otherwise(TypeName dictionary, TypeName compiler)
{
    return dictionary != compiler && !(dictionary == TypeName::double_float && compiler == TypeName::double_float_le);
}

// Why the dictionary's storage type of an item misreads what a compiler stores, in words.
std::string type_reason(const CheckItem &item, TypeName type)
{
    std::string usage = item.usage != nullptr ? item.usage : "DISPLAY";
    const char *dictionary = type_text(item.field->type_name);
    if (type == TypeName::leading_overpunched && item.field->type_name == TypeName::trailing_overpunched)
        return "S with SIGN LEADING on " + line_of(item) +
               ": the dictionary reads the sign from the last byte, a compiler stores it in the first";
    std::string name = type_text(type);
    if (name == std::string(dictionary) + "-LE")
        return usage + " on " + line_of(item) + ": GnuCOBOL stores it little-endian, the dictionary's " + dictionary +
               " is big-endian";
    return usage + " on " + line_of(item) + ": a compiler stores it as " + name + ", the dictionary reads it as " +
           dictionary;
}

bool has_lower(const char *text)
{
    for (const char *p = text; p != nullptr && *p != '\0'; ++p)
        if (std::islower(static_cast<unsigned char>(*p)))
            return true;
    return false;
}

// What a REDEFINES or a level 66 may name within a record: not the record,
// not a level 77 item (a record of its own to a compiler), not another 66.
bool nameable(std::int32_t level)
{
    return level != 1 && level != 66 && level != 77;
}

// "1 byte", "3 bytes"
std::string counted(std::int32_t count, const char *noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

// a + b * times: -1 when any of them is unknown or the result passes
// MOST_BYTES, where no compiler's record reaches.
std::int32_t extend(std::int32_t a, std::int32_t b, std::int32_t times = 1)
{
    if (a < 0 || b < 0 || times < 0)
        return -1;
    std::int64_t sum = a + std::int64_t{b} * times;
    return sum > MOST_BYTES ? -1 : static_cast<std::int32_t>(sum);
}

// Lays out the items of one record by a compiler's rules and finds the
// departures of the dictionary from it.
struct RecordWork {
    Record &record;
    bool hpux;
    Compiler compiler;
    std::vector<std::vector<int>> children{};  // by item; roots under index n
    std::vector<int> end_of{};                 // by item: one past its last member
    std::vector<int> usage_from{};             // by item: the item whose USAGE it has, or -1
    std::vector<int> own{};                    // departure an item makes itself, or -1
    std::map<std::pair<int, std::string>, int> known{};  // departures by item and reason
    bool after_odo = false;                    // an OCCURS DEPENDING table is placed: SYNC is off
    int unfinished = -1;                       // the entry the converter stopped in, read only in part
    int dropped = -1;                          // the first item behind an entry the converter dropped
    int dropped_line = 0;                      // the line of that entry
    std::string foreign{};                     // why the record is no record of its file, or ""

    std::vector<CheckItem> &items() { return record.items; }

    // The departure about `item` for `reason`, made once.
    int depart(int item, const std::string &reason)
    {
        auto found = known.find({item, reason});
        if (found != known.end())
            return found->second;
        record.departures.push_back(Departure{item, end_of[item], reason});
        int d = static_cast<int>(record.departures.size()) - 1;
        known.emplace(std::make_pair(item, reason), d);
        return d;
    }

    // The nearest earlier item of `name` that a REDEFINES or a 66 may name, or -1.
    int find(const char *name, int before) const
    {
        for (int i = before - 1; i >= 0; --i)
            if (nameable(record.items[i].level) && std::strcmp(record.items[i].field->name.c_str(), name) == 0)
                return i;
        return -1;
    }

    std::int32_t times(int i) const
    {
        std::int32_t max = record.items[i].notes->occurs_max;
        return max > 1 ? max : 1;
    }

    // A group being placed: where it stands in its parent's list, and
    // where its own members have got to.
    struct Open {
        int group;              // -1 for the top list
        std::int32_t at;        // its offset in its parent's list
        int target;             // the item it redefines, or -1
        std::size_t next;       // its next member to place
        std::int32_t cursor;    // the size of its members so far, or -1
    };

    // Places the items of `roots` from offset 0, members behind their group,
    // with a stack rather than recursion, as groups nest deep; returns
    // their size, or -1.
    std::int32_t place(const std::vector<int> &roots)
    {
        std::vector<Open> open{{-1, 0, -1, 0, 0}};
        for (;;) {
            Open &top = open.back();
            const std::vector<int> &list = top.group < 0 ? roots : children[top.group];
            std::int32_t base = top.group < 0 ? 0 : record.items[top.group].offset;
            if (top.next == list.size()) {
                Open done = top;
                open.pop_back();
                if (done.group < 0)
                    return done.cursor;
                CheckItem &group = record.items[done.group];
                group.size = group.offset < 0 ? -1 : done.cursor;
                if (times(done.group) > 1 && group.size > 0)
                    pad_occurrence(done.group);
                close_item(open.back(), done.group, done.at, done.target);
                continue;
            }
            int i = list[top.next++];
            CheckItem &item = record.items[i];
            const ClauseLink *clause = item.field->clause;
            int target = clause != nullptr && clause->redefines != 0 ? find(clause->first_name.c_str(), i) : -1;
            std::int32_t at = target >= 0 ? record.items[target].offset - base : top.cursor;
            item.offset = top.cursor < 0 || at < 0 || base < 0 ? -1 : extend(base, at);
            item.sliding = after_odo;
            if (item.group) {
                if (item.notes->picture != nullptr)  // a compiler refuses it, and all behind it
                    item.offset = -1;
                open.push_back(Open{i, at, target, 0, 0});  // `top` is not used again
                continue;
            }
            CompilerSize size = compiler_size(item.notes->picture, item.usage, item.notes->sign_clause, compiler);
            if (item.notes->sync && size.align > 1 && !after_odo && item.offset >= 0) {
                item.align = size.align;
                item.slack = (size.align - item.offset % size.align) % size.align;
                item.offset = extend(item.offset, item.slack);
                at = extend(at, item.slack);
            }
            item.size = size.bytes;  // known where it stands or not
            close_item(top, i, at, target);
        }
    }

    // Item `i` is placed: its parent's members reach on past it.
    void close_item(Open &parent, int i, std::int32_t at, int target)
    {
        const CheckItem &item = record.items[i];
        after_odo = after_odo || item.notes->depending;
        std::int32_t end = item.offset < 0 ? -1 : extend(at, item.size, times(i));
        // A redefining item lies over another; one that is longer carries what follows on.
        parent.cursor = end < 0 ? -1 : target >= 0 ? (end > parent.cursor ? end : parent.cursor) : end;
    }

    // The largest alignment SYNC gave an item under group `i`.
    std::int32_t widest_align(int i) const
    {
        std::int32_t widest = 1;
        for (int j = i + 1; j < end_of[i]; ++j)
            widest = record.items[j].align > widest ? record.items[j].align : widest;
        return widest;
    }

    // A table with synchronized members: a compiler pads each occurrence to
    // their largest alignment, putting the pad in front of the last member
    // when that is elementary and nowhere otherwise.
    void pad_occurrence(int i)
    {
        CheckItem &item = record.items[i];
        std::int32_t align = widest_align(i);
        int last = children[i].back();
        if (align == 1 || item.size % align == 0 || record.items[last].group || record.items[last].offset < 0)
            return;
        std::int32_t pad = align - item.size % align;
        record.items[last].offset = extend(record.items[last].offset, pad);
        record.items[last].slack += pad;
        item.size = extend(item.size, pad);
    }

    void build()
    {
        std::vector<CheckItem> &all = items();
        int n = static_cast<int>(all.size());
        children.assign(static_cast<std::size_t>(n) + 1, {});
        end_of.assign(static_cast<std::size_t>(n), n);
        usage_from.assign(static_cast<std::size_t>(n), -1);
        own.assign(static_cast<std::size_t>(n), -1);
        std::vector<int> open;  // items whose members may follow
        for (int i = 0; i < n; ++i) {
            CheckItem &item = all[i];
            end_of[i] = i + 1;
            if (item.level == 66)
                continue;
            while (!open.empty() && (item.level == 77 || all[open.back()].level >= item.level)) {
                end_of[open.back()] = i;  // a 77 is a record of its own
                open.pop_back();
            }
            int parent = open.empty() ? n : open.back();
            children[parent].push_back(i);
            if (parent < n)
                all[parent].group = true;
            usage_from[i] = item.notes->usage != nullptr ? i : parent < n ? usage_from[parent] : -1;
            item.usage = usage_from[i] >= 0 ? all[usage_from[i]].notes->usage : nullptr;
            open.push_back(i);
        }
        for (int i : open)
            end_of[i] = n;
        // 77 items start at 0 like a record; the others follow the 01.
        std::vector<int> run;
        record.length = 0;
        for (int i : children[n]) {
            if (all[i].level == 77) {
                keep_length(place(run));
                run.assign(1, i);
                std::int32_t own_length = place(run);
                if (i == 0)  // the record is the 77 item itself
                    keep_length(own_length);
                run.clear();
            } else {
                run.push_back(i);
            }
        }
        keep_length(place(run));
        for (int i = 0; i < n; ++i)
            if (all[i].level == 66)
                rename(i);
    }

    // The record is as long as the longest run of its items that a 77 does not start.
    void keep_length(std::int32_t length)
    {
        record.length = length < 0 || record.length < 0 ? -1 : length > record.length ? length : record.length;
    }

    // An entry the converter drops at `line` (a syntax error): a compiler has
    // it, so from there on neither the record nor any group around it has a
    // known layout. Only a record begun before that line is touched.
    void drop_behind(int line)
    {
        int n = static_cast<int>(items().size());
        if (dropped >= 0 || n == 0 || items()[0].notes->line > line)
            return;
        for (int i = 0; i < n; ++i) {
            if (items()[i].notes->line < line) {
                if (end_of[i] > i + 1 && items()[end_of[i] - 1].notes->line >= line)
                    items()[i].size = -1;  // a group the entry may belong to
                continue;
            }
            if (dropped < 0)
                dropped = i, dropped_line = line;
            items()[i].offset = items()[i].size = -1;
        }
        if (dropped >= 0)
            record.length = -1;
    }

    // A level 66: one item's place, or the span from one through another.
    void rename(int i)
    {
        CheckItem &item = items()[i];
        const ClauseLink *clause = item.field->clause;
        int first = clause != nullptr ? find(clause->first_name.c_str(), i) : -1;
        int last = clause != nullptr && !clause->second_name.empty() ? find(clause->second_name.c_str(), i) : first;
        item.offset = item.size = -1;
        if (first < 0 || last < 0 || items()[first].offset < 0 || items()[last].size < 0)
            return;
        item.offset = items()[first].offset;
        std::int32_t end = extend(items()[last].offset, items()[last].size, times(last));
        item.size = last == first ? items()[first].size : end > item.offset ? end - item.offset : -1;
    }

    bool differs(int i)
    {
        const CheckItem &item = items()[i];
        return item.offset < 0 || item.size < 0 || item.offset != item.field->offset || item.size != item.field->size;
    }

    // Why a compiler sizes an elementary item differently, in words.
    std::string size_reason(int i, int &about)
    {
        const CheckItem &item = items()[i];
        const char *usage = item.usage;
        std::string dict = std::to_string(item.field->size), comp = counted(item.size, "byte");
        about = i;
        if (item.size < 0)
            return std::string("a compiler refuses ") + (usage != nullptr ? "USAGE " + std::string(usage) + " on " : "") +
                   line_of(item) + " as written, or sizes it in a way not known here, so its layout cannot be compared";
        if (item.notes->usage == nullptr && usage != nullptr) {
            about = usage_from[i];
            return "USAGE " + std::string(usage) + " of group " + line_of(items()[about]) +
                   " is passed on to its members by a compiler, not by the dictionary";
        }
        PictureCount pic = count_picture(item.notes->picture);
        std::int16_t sign = item.notes->sign_clause;
        if (usage == nullptr && (sign == 2 || sign == 4) && item.size == item.field->size + 1)
            return std::string("SIGN ") + (sign == 4 ? "LEADING" : "TRAILING") + " SEPARATE on " + line_of(item) +
                   " takes a byte the dictionary does not count";
        if (usage == nullptr || usage_is(usage, {"DISPLAY"}))
            return "the PICTURE " + std::string(item.notes->picture != nullptr ? item.notes->picture : "") + " of " +
                   line_of(item) + " is " + comp + " to a compiler, " + dict +
                   " in the dictionary, which counts a repeat count only behind 9, A or X" +
                   (has_lower(item.notes->picture) ? " and a lower-case letter as one position" : "");
        if (usage_is(usage, {"COMP-6", "COMPUTATIONAL-6"}))
            return "COMP-6 on " + line_of(item) + " has no sign nibble to a compiler (" + comp +
                   "); the dictionary packs it with one (" + dict + ")";
        if (std::strstr(usage, "POINTER") != nullptr)
            return "USAGE " + std::string(usage) + " on " + line_of(item) + " takes " + comp +
                   " to a compiler; the dictionary gives " + dict;
        if (usage_is(usage, {"COMP-X", "COMPUTATIONAL-X"}))
            return "COMP-X on " + line_of(item) + " takes " + comp +
                   " to a compiler; the dictionary sizes it by its binary table (" + dict + ")";
        if (usage_is(usage, {"COMP-5", "COMPUTATIONAL-5"}) && pic.digits <= 2)
            return "COMP-5 of " + std::to_string(pic.digits) + (pic.digits == 1 ? " digit on " : " digits on ") + line_of(item) +
                   " takes 1 byte to a compiler; the dictionary's binary table gives " + dict;
        if (hpux && compiler_size(item.notes->picture, "BINARY", 0, compiler).bytes == item.size)
            return "the wide binary table of -h gives " + line_of(item) + " " + counted(item.field->size, "byte") + " where a compiler stores " + comp;
        return "the dictionary gives " + line_of(item) + " " + counted(item.field->size, "byte") + " where a compiler stores " + comp;
    }

    // Whether an elementary member of group `i` is sized differently.
    bool member_differs(int i)
    {
        for (int j = i + 1; j < end_of[i]; ++j)
            if (!items()[j].group && items()[j].level != 66 && items()[j].size != items()[j].field->size)
                return true;
        return false;
    }

    // The departure an item makes itself, if any.
    void find_own(int i)
    {
        const CheckItem &item = items()[i];
        const ItemNotes &notes = *item.notes;
        int about = i;
        if (i == 0 && !foreign.empty()) {
            own[i] = depart(i, foreign);
        } else if (dropped == i) {
            own[i] = depart(i, "the converter drops the entry at line " + std::to_string(dropped_line) +
                                   " (a syntax error), which a compiler stores, so the layout from " + line_of(item) +
                                   " on is unknown");
        } else if (item.group && notes.picture != nullptr) {
            own[i] = depart(i, "a compiler refuses " + line_of(item) +
                                   ": it has a PICTURE and items below it, so the layout from there on is unknown");
        } else if (item.offset < 0 && unfinished == i) {
            own[i] = depart(i, "the converter stops reading at " + line_of(item) +
                                   ", so it has no row in the dictionary and nothing behind it is read");
        } else if (!item.group && item.level != 66 && item.field->type_name == TypeName::none) {
            own[i] = depart(i, line_of(item) + " has no row in the dictionary");
        } else if (item.level == 66 && (item.offset < 0 || item.size < 0)) {
            own[i] = depart(i, line_of(item) + " is a level 66 item that renames nothing a compiler can place, "
                                               "so its layout cannot be compared");
        } else if (item.level == 77 && item.field->offset != 0) {
            own[i] = depart(i, line_of(item) + " is a level 77 item, a record of its own to a compiler; "
                                               "the dictionary counts it into the record before it");
        } else if (item.group && !item.field->picture.empty() && item.notes->usage != nullptr) {
            own[i] = depart(i, "USAGE " + std::string(item.notes->usage) + " on group " + line_of(item) +
                                   " gives it a PICTURE of its own in the dictionary");
        } else if (item.slack > 0) {
            // a size that differs as well is named with it
            bool sized = !item.group && item.size != item.field->size;
            own[i] = depart(i, "SYNC on " + line_of(item) + ": a compiler puts " + counted(item.slack, "slack byte") +
                                   " in front of it" +
                                   (sized ? "; and " + size_reason(i, about) : ""));
        } else if (!item.group && item.level != 66 && item.size != item.field->size) {
            std::string reason = size_reason(i, about);
            own[i] = depart(about, reason);
        } else if (notes.occurs_max > 1 && (item.field->occurs > 1 ? item.field->occurs : 1) != times(i)) {
            own[i] = depart(i, "OCCURS " + std::to_string(notes.occurs_min) + " TO " + std::to_string(notes.occurs_max) +
                                   " on " + line_of(item) + ": the dictionary counts " +
                                   counted(item.field->occurs > 1 ? item.field->occurs : 1, "occurrence") + ", a compiler " +
                                   std::to_string(notes.occurs_max));
        } else if (item.field->clause != nullptr && item.field->clause->redefines != 0 && item.size >= 0) {
            int target = find(item.field->clause->first_name.c_str(), i);
            std::int32_t over = target < 0 ? -1 : extend(0, items()[target].size, times(target));
            std::int32_t span = extend(0, item.size, times(i));
            if (target >= 0 && over >= 0 && span > over && !item.group)
                own[i] = depart(i, line_of(item) + " redefines " + items()[target].field->name.c_str() + " with " +
                                       std::to_string(span) + " bytes over " + std::to_string(over) +
                                       ": a compiler places what follows behind its end");
            else if (target >= 0 && item.group && item.size != item.field->size && !member_differs(i))
                own[i] = depart(i, "group " + line_of(item) + " redefines " + items()[target].field->name.c_str() +
                                       ": the dictionary gives it " + counted(item.field->size, "byte") +
                                       ", a compiler the " + std::to_string(item.size) + " of its members");
        }
    }

    // The departure that makes item `i` differ: for a size that differs the
    // item's own, or for a group the first among its members; for an item
    // that is only moved, the first departure before it.
    int cause_of(int i, int first_own, const std::vector<int> &next_own)
    {
        const CheckItem &item = items()[i];
        if (item.size < 0 || item.size != item.field->size) {
            if (own[i] >= 0)
                return own[i];
            if (item.group && i + 1 < end_of[i] && next_own[i + 1] < end_of[i])
                return own[next_own[i + 1]];
        }
        if (first_own < i)
            return own[first_own];
        if (own[i] >= 0)
            return own[i];
        return depart(i, "the dictionary places " + line_of(item) + " at " + std::to_string(item.field->offset) +
                             " with " + counted(item.field->size, "byte") + ", a compiler at " +
                             std::to_string(item.offset) + " with " + counted(item.size, "byte"));
    }

    void compare()
    {
        int n = static_cast<int>(items().size());
        for (int i = 0; i < n; ++i)
            find_own(i);
        // The first item with a departure of its own (a 66 aside), and from
        // each item on the next member with one.
        int first_own = n;
        std::vector<int> next_own(static_cast<std::size_t>(n) + 1, n);
        for (int i = n - 1; i >= 0; --i) {
            next_own[i] = own[i] >= 0 && items()[i].level != 66 ? i : next_own[i + 1];
            if (own[i] >= 0 && items()[i].level != 66)
                first_own = i;
        }
        for (int i = 0; i < n; ++i)
            items()[i].cause = differs(i) ? cause_of(i, first_own, next_own) : -1;
        // Where the layouts agree the bytes may still be read otherwise.
        for (int i = 0; i < n; ++i) {
            CheckItem &item = items()[i];
            if (item.cause >= 0 || item.group || item.level == 66)
                continue;
            TypeName type = compiler_storage_type(item, compiler);
            if (reads_otherwise(item.field->type_name, type))
                item.cause = depart(i, type_reason(item, type));
        }
        // Named in the order of the items they are about, those found last too.
        std::vector<Departure> &found = record.departures;
        std::vector<int> order(found.size()), rank(found.size());
        for (std::size_t d = 0; d < found.size(); ++d)
            order[d] = static_cast<int>(d);
        std::stable_sort(order.begin(), order.end(), [&](int a, int b) { return found[a].item < found[b].item; });
        std::vector<Departure> sorted;
        for (int d : order) {
            rank[static_cast<std::size_t>(d)] = static_cast<int>(sorted.size());
            sorted.push_back(found[static_cast<std::size_t>(d)]);
        }
        found = sorted;
        for (CheckItem &item : items())
            item.cause = item.cause >= 0 ? rank[static_cast<std::size_t>(item.cause)] : -1;
    }
};

}  // namespace

// The line of a record's first item with notes, or 0.
int first_line(const TableDef *table)
{
    for (const ColumnDef *column = table->columns; column != nullptr; column = column->next)
        if (column->field != nullptr && notes_of(column->field) != nullptr)
            return notes_of(column->field)->line;
    return 0;
}

std::vector<Record> check_records(bool hpux, bool stopped, const std::vector<int> &dropped,
                                  const std::vector<SectionHeader> &headers, Compiler compiler)
{
    std::vector<Record> records;
    for (const FileDef *file = state.files; file != nullptr; file = file->next) {
        int file_start = file->tables != nullptr ? first_line(file->tables) : 0;
        for (const TableDef *table = file->tables; table != nullptr; table = table->next) {
            Record record{file, table, {}, {}, -1};
            for (const ColumnDef *column = table->columns; column != nullptr; column = column->next) {
                const ItemNotes *notes = column->field != nullptr ? notes_of(column->field) : nullptr;
                // A condition name that the converter keeps as an item (the
                // first of its file) has no storage to a compiler either.
                if (notes != nullptr && notes->level != 88 && notes->level != 78)
                    record.items.push_back(CheckItem{column->field, notes, notes->level, false, nullptr, -1, -1, 0, 1, -1, false});
            }
            RecordWork work{record, hpux, compiler};
            work.build();
            // A header between the file's first record and this one ends the file to a compiler.
            int start = first_line(table);
            for (const SectionHeader &h : headers)
                if (file_start < h.line && h.line < start && !record.items.empty())
                    work.foreign = h.text + " (line " + std::to_string(h.line) + ") ends the records of file " +
                                   file->name.c_str() + " to a compiler; the converter reads " +
                                   line_of(record.items[0]) + " and the entries behind it as a record of that file";
            if (!work.foreign.empty()) {
                for (CheckItem &item : record.items)
                    item.offset = item.size = -1;
                record.length = -1;
                record.foreign = true;
            }
            for (int line : dropped)
                work.drop_behind(line);
            // Clauses of the entry in which the converter stopped went unread.
            const CheckItem *last = record.items.empty() ? nullptr : &record.items.back();
            if (stopped && file->next == nullptr && table->next == nullptr && last != nullptr && !last->group &&
                last->field->type_name == TypeName::none) {
                work.unfinished = static_cast<int>(record.items.size()) - 1;
                record.items.back().offset = record.items.back().size = -1;
            }
            work.compare();
            records.push_back(std::move(record));
        }
    }
    return records;
}
