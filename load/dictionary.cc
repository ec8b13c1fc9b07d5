// The dictionary read back as tarnmap writes it. Texts are not escaped, so a
// row is matched against its kind's known columns (text or number), trying
// each closing quote that a comma or the line end follows; then COLUMN rows
// are tied to their TABLE and FIELD rows, and each column gets its kind.
#include <climits>
#include <cstring>
#include <string_view>
#include <unordered_set>

#include "load/load.h"

namespace {

// One row's columns as matched; texts without their quotes.
struct Row {
    std::string_view cols[11];
    size_t n = 0;
};

// Matches line[pos..] against pattern[k..] ('T' text, 'N' number); budget
// bounds the backtracking that a line full of "," could cause.
bool match(std::string_view line, size_t pos, const char *pattern, size_t k, Row &row, long &budget)
{
    if (--budget < 0)
        return false;
    bool last = pattern[k + 1] == '\0';
    if (pattern[k] == 'N') {
        size_t e = pos;
        if (e < line.size() && line[e] == '-')
            e++;
        size_t digits = e;
        while (e < line.size() && line[e] >= '0' && line[e] <= '9')
            e++;
        if (e == digits || e - digits > 9)
            return false;
        row.cols[k] = line.substr(pos, e - pos);
        if (last)
            return e == line.size();
        return e < line.size() && line[e] == ',' && match(line, e + 1, pattern, k + 1, row, budget);
    }
    if (pos >= line.size() || line[pos] != '"')
        return false;
    for (size_t e = line.find('"', pos + 1); e != std::string_view::npos; e = line.find('"', e + 1)) {
        if (--budget < 0)
            return false;
        row.cols[k] = line.substr(pos + 1, e - pos - 1);
        if (last) {
            if (e + 1 == line.size())
                return true;
        } else if (e + 1 < line.size() && line[e + 1] == ',' && match(line, e + 2, pattern, k + 1, row, budget)) {
            return true;
        }
    }
    return false;
}

// The value of a number column that match has checked (at most 9 digits).
int number(std::string_view s)
{
    bool negative = !s.empty() && s[0] == '-';
    long v = 0;
    for (size_t i = negative ? 1 : 0; i < s.size() && v <= INT_MAX; i++)  // past int, it stays past, without overflow
        v = v * 10 + (s[i] - '0');
    v = v > INT_MAX ? INT_MAX : v;
    return static_cast<int>(negative ? -v : v);
}

struct FieldRow {
    std::string file, item, type;
    int offset = 0, size = 0, display = 0, scale = 0, line = 0;
};

struct TypeName {
    const char *name;
    Storage storage;
    int width;        // bytes of a binary kind, 0 for the others
    bool is_signed;
    bool little = false;  // the -LE types of tarnmap-check --dictionary
};

constexpr TypeName types[] = {
    {"STRING", Storage::string, 0, false},
    {"ZONED", Storage::zoned, 0, true},
    {"TRAILING-OVERPUNCHED-NUMERIC", Storage::trailing_overpunch, 0, true},
    {"LEADING-OVERPUNCHED-NUMERIC", Storage::leading_overpunch, 0, true},
    {"ZONED-NUM", Storage::trailing_separate, 0, true},
    {"LEADING-SIGN-NUMERIC", Storage::leading_separate, 0, true},
    {"PACKED", Storage::packed, 0, true},
    {"PACKED-U", Storage::packed, 0, false},
    {"DOUBLE", Storage::ieee_or_hex_double, 0, true},
    {"VMSDATE8", Storage::vmsdate, 0, false},
    {"CHAR", Storage::binary, 1, true},       {"UCHAR", Storage::binary, 1, false},
    {"WORD", Storage::binary, 2, true},       {"UWORD", Storage::binary, 2, false},
    {"INT3", Storage::binary, 3, true},       {"UINT3", Storage::binary, 3, false},
    {"LONGWORD", Storage::binary, 4, true},   {"ULONG", Storage::binary, 4, false},
    {"INT5", Storage::binary, 5, true},       {"UINT5", Storage::binary, 5, false},
    {"INT6", Storage::binary, 6, true},       {"UINT6", Storage::binary, 6, false},
    {"INT7", Storage::binary, 7, true},       {"UINT7", Storage::binary, 7, false},
    // deliberate: signed, as QUADWORD stands for both; every value of 18 digits fits
    {"QUADWORD", Storage::binary, 8, true},
    // written by tarnmap-check --dictionary only
    {"PACKED-NOSIGN", Storage::packed_nosign, 0, false}, {"FLOAT", Storage::ieee_or_hex_single, 0, true},
    {"FLOAT-LE", Storage::ieee_or_hex_single, 0, true, true}, {"DOUBLE-LE", Storage::ieee_or_hex_double, 0, true, true},
    {"WORD-LE", Storage::binary, 2, true, true},      {"UWORD-LE", Storage::binary, 2, false, true},
    {"LONGWORD-LE", Storage::binary, 4, true, true},  {"ULONG-LE", Storage::binary, 4, false, true},
    {"QUADWORD-LE", Storage::binary, 8, true, true},
};

// Digits of the largest value of a binary kind of w bytes.
constexpr int binary_digits[9] = {0, 3, 5, 8, 10, 13, 15, 17, 19};

// Gives a column its storage and the kind of its values; "" or the reason.
std::string classify(const FieldRow &f, Column &c)
{
    const TypeName *t = nullptr;
    for (const TypeName &candidate : types)
        if (f.type == candidate.name)
            t = &candidate;
    if (!t)
        return "unknown storage type \"" + f.type + "\"";
    if (f.offset < 0 || f.size < 0)
        return "negative offset or size";
    if (t->width && f.size != t->width)
        return f.type + " takes " + std::to_string(t->width) + " bytes, not " + std::to_string(f.size);
    if ((t->storage == Storage::ieee_or_hex_double || t->storage == Storage::vmsdate) && f.size != 8)
        return f.type + " takes 8 bytes, not " + std::to_string(f.size);
    if (t->storage == Storage::ieee_or_hex_single && f.size != 4)
        return f.type + " takes 4 bytes, not " + std::to_string(f.size);
    c.little = t->little;
    c.storage = t->storage;
    c.is_signed = t->is_signed;
    c.offset = static_cast<uint32_t>(f.offset);
    c.size = static_cast<uint32_t>(f.size);
    c.sql.bytes = f.size;
    c.sql.scale = f.scale;
    int digits = f.size;
    switch (t->storage) {
    case Storage::string: c.sql.kind = ValueKind::text; c.sql.scale = 0; return "";
    case Storage::ieee_or_hex_double: c.sql.kind = ValueKind::real; c.sql.scale = 0; return "";
    case Storage::ieee_or_hex_single: c.sql.kind = ValueKind::real; c.sql.scale = 0; return "";
    case Storage::packed_nosign: digits = 2 * f.size; break;
    case Storage::vmsdate: c.sql.kind = ValueKind::timestamp; c.sql.scale = 0; return "";
    case Storage::trailing_separate:
    case Storage::leading_separate: digits = f.size > 0 ? f.size - 1 : 0; break;
    case Storage::packed: digits = 2 * f.size - 1; break;
    case Storage::binary: digits = binary_digits[t->width]; break;
    default: break;
    }
    if (f.scale < -99 || f.scale > 99)
        return "scale " + std::to_string(f.scale) + " out of range";
    c.sql.digits = digits;
    bool whole = f.scale < 0 ? digits - f.scale <= 18 : f.scale == 0 && (digits <= 18 || t->width > 0);
    c.sql.kind = whole ? ValueKind::integer : ValueKind::decimal;
    return "";
}

}  // namespace

// Row by row, in one pass; COLUMN rows find their TABLE and FIELD rows by cursors.
bool read_dictionary(const char *text, size_t n, Dictionary &dict, std::string &error)
{
    std::vector<FieldRow> fields;
    std::vector<std::unordered_set<std::string>> names;  // the column names of each table
    std::vector<size_t> cursor;  // per file: index into fields behind the last FIELD matched
    bool have_db = false;
    std::string_view all(text, n);
    int line_no = 0;
    size_t table_cursor = 0;
    for (size_t start = 0; start < all.size();) {
        size_t end = all.find('\n', start);
        if (end == std::string_view::npos)
            end = all.size();
        std::string_view line = all.substr(start, end - start);
        start = end + 1;
        line_no++;
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (line.empty())
            continue;
        auto fail = [&](const std::string &what) {
            error = std::to_string(line_no) + ": " + what;
            return false;
        };
        if (line.find('\0') != std::string_view::npos)
            return fail("a NUL byte in the row");
        if (line.size() > 4096)  // tarnmap writes a few hundred bytes at most
            return fail("a row longer than 4096 bytes");
        const char *pattern = nullptr;
        if (line.substr(0, 7) == "\"FILE\",") pattern = "TTTTN";
        else if (line.substr(0, 8) == "\"FIELD\",") pattern = "TTTTNNNNNTT";
        else if (line.substr(0, 5) == "\"DB\",") pattern = "TTTTT";
        else if (line.substr(0, 8) == "\"TABLE\",") pattern = "TTTTTTT";
        else if (line.substr(0, 9) == "\"COLUMN\",") pattern = "TTTTTTNNNT";
        else if (all.find("Converting parsed data to CSV data.") != std::string_view::npos)
            return fail("tarnmap's standard output, not a dictionary: write it with tarnmap -o FILE");
        else
            return fail("not a dictionary row (FILE, FIELD, DB, TABLE or COLUMN)");
        Row row;
        long budget = 20000;  // tarnmap's rows match in a few dozen steps
        std::string_view kind = line.substr(1, line.find('"', 1) - 1);  // from the prefix tested above
        if (!match(line, 0, pattern, 0, row, budget) || row.cols[0] != kind)
            return fail("a " + std::string(kind) +
                        " row needs " + std::to_string(std::strlen(pattern)) + " columns (" + pattern +
                        ": T text in quotes, N number)");
        if (kind == "FILE") {
            FileDef f;
            f.name = row.cols[1];
            f.variable = row.cols[3] == "VARIABLE";
            int length = number(row.cols[4]);
            if (length <= 0 || length > (16 << 20))
                return fail("record length " + std::to_string(length) + " out of range (1 to 16 MiB)");
            f.record_length = static_cast<uint32_t>(length);
            f.line = line_no;
            dict.files.push_back(f);
            cursor.push_back(0);
        } else if (kind == "FIELD") {
            FieldRow f;
            f.file = row.cols[1];
            f.item = row.cols[2];
            f.type = row.cols[3];
            f.offset = number(row.cols[4]);
            f.size = number(row.cols[5]);
            f.display = number(row.cols[6]);
            f.scale = number(row.cols[7]);
            f.line = line_no;
            fields.push_back(f);
        } else if (kind == "DB") {
            if (have_db)
                return fail("a second DB row");
            have_db = true;
            dict.db_name = row.cols[1];
            dict.directory = row.cols[2];
        } else if (kind == "TABLE") {
            Table t;
            t.sql.name = row.cols[2];
            t.sql.line = line_no;
            t.path = row.cols[5];
            for (size_t i = 0; i < dict.files.size(); i++)
                if (dict.files[i].name == row.cols[4])
                    t.file = static_cast<int>(i);
            if (t.file < 0)
                return fail("no FILE row for file \"" + std::string(row.cols[4]) + "\"");
            if (t.sql.name.empty())
                return fail("an empty table name");
            dict.tables.push_back(t);
            names.emplace_back();
        } else {  // COLUMN: its table is the current one or the next of its name
            size_t ti = table_cursor;
            while (ti < dict.tables.size() && dict.tables[ti].sql.name != row.cols[2])
                ti++;
            if (ti == dict.tables.size())
                for (ti = 0; ti < dict.tables.size() && dict.tables[ti].sql.name != row.cols[2];)
                    ti++;
            if (ti == dict.tables.size())
                return fail("no TABLE row for table \"" + std::string(row.cols[2]) + "\"");
            table_cursor = ti;
            Table &t = dict.tables[ti];
            Column c;
            c.sql.name = row.cols[3];
            c.sql.sql_type = row.cols[5];
            c.sql.sql_length = number(row.cols[6]);
            c.sql.line = line_no;
            if (c.sql.name.empty())
                return fail("an empty column name");
            // The FIELD row of the item: the next of its name in the file, else the first.
            const std::string &file = dict.files[static_cast<size_t>(t.file)].name;
            size_t &at = cursor[static_cast<size_t>(t.file)];
            size_t found = fields.size();
            for (size_t pass = 0; pass < 2 && found == fields.size(); pass++)
                for (size_t i = pass ? 0 : at; i < fields.size(); i++)
                    if (fields[i].file == file && fields[i].item == row.cols[4]) {
                        found = i;
                        break;
                    }
            if (found == fields.size()) {
                dict.warnings.push_back(std::to_string(line_no) + ": no FIELD row for item \"" +
                                        std::string(row.cols[4]) + "\"; column " + c.sql.name + " left out");
                continue;
            }
            at = found + 1;
            std::string why = classify(fields[found], c);
            if (!why.empty()) {
                line_no = fields[found].line;
                return fail(why);
            }
            // Two items of one name (in different groups, or names cut at 64
            // characters) would be one column twice: the later one gets a suffix.
            std::string name = c.sql.name;
            for (int k = 2; !names[ti].insert(c.sql.name).second; k++)
                c.sql.name = name + "_" + std::to_string(k);
            if (c.sql.name != name)
                dict.warnings.push_back(std::to_string(line_no) + ": column " + name + " appears twice in table " +
                                        t.sql.name + "; this one loads as " + c.sql.name);
            t.columns.push_back(c);
            t.sql.columns.push_back(c.sql);
        }
    }
    if (!have_db) {
        error = line_no == 0 ? std::string(" an empty file: not a dictionary")
                             : std::to_string(line_no) + ": no DB row: not a dictionary";
        return false;
    }
    return true;
}
