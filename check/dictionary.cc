// tarnmap-check --dictionary: puts the compiler's layout into the model that
// the converter's own writer reads, so that every row is made by the same
// code as tarnmap's, and stays tarnmap's byte for byte where the layouts agree.
// Called by main after check_records; write_dictionary does the rest.
#include <cstdio>
#include <cstring>

#include "check/check.h"

namespace {

// How a compiler stores an elementary item, as far as its type goes.
enum class Kind { display, binary, native_binary, packed, comp6, float4, float8, unknown };

// The kind of storage of a USAGE word (null: DISPLAY). Native items are
// stored in the machine's byte order by GnuCOBOL, which is little-endian on
// the machines it runs on here; COMP and BINARY are big-endian there too.
Kind kind_of(const char *usage)
{
    if (usage == nullptr || usage_is(usage, {"DISPLAY"}))
        return Kind::display;
    if (usage_is(usage, {"COMP", "COMPUTATIONAL", "COMP-4", "COMPUTATIONAL-4", "BINARY", "COMP-X", "COMPUTATIONAL-X"}))
        return Kind::binary;
    if (usage_is(usage, {"COMP-5", "COMPUTATIONAL-5", "INDEX", "POINTER", "PROCEDURE-POINTER", "PROGRAM-POINTER",
                         "BINARY-LONG", "BINARY-C-LONG"}))
        return Kind::native_binary;
    if (usage_is(usage, {"COMP-3", "COMPUTATIONAL-3", "PACKED-DECIMAL"}))
        return Kind::packed;
    if (usage_is(usage, {"COMP-6", "COMPUTATIONAL-6"}))
        return Kind::comp6;
    if (usage_is(usage, {"COMP-1", "COMPUTATIONAL-1"}))
        return Kind::float4;
    if (usage_is(usage, {"COMP-2", "COMPUTATIONAL-2", "FLOAT-LONG"}))
        return Kind::float8;
    return Kind::unknown;
}

bool is_binary(TypeName type)
{
    return type >= TypeName::word && type <= TypeName::uint7;
}

// A binary type by its bytes and sign; -LE where it is little-endian.
TypeName binary_type(std::int32_t bytes, bool is_signed, bool little)
{
    using T = TypeName;
    switch (bytes) {
    case 1: return is_signed ? T::char1 : T::uchar;
    case 2: return little ? (is_signed ? T::word_le : T::uword_le) : is_signed ? T::word : T::uword;
    case 3: return is_signed ? T::int3 : T::uint3;
    case 4: return little ? (is_signed ? T::longword_le : T::ulongword_le) : is_signed ? T::longword : T::ulongword;
    case 5: return is_signed ? T::int5 : T::uint5;
    case 6: return is_signed ? T::int6 : T::uint6;
    case 7: return is_signed ? T::int7 : T::uint7;
    default: return little ? T::quadword_le : T::quadword;
    }
}

// The display type of a numeric item by its SIGN clause as written, which a
// compiler keeps whether or not the PICTURE has an S; the dictionary lets
// the S make every sign trailing and overpunched.
TypeName display_type(const CheckItem &item)
{
    switch (item.notes->sign_clause) {
    case 1: return TypeName::trailing_overpunched;
    case 2: return TypeName::zoned_num;
    case 3: return TypeName::leading_overpunched;
    case 4: return TypeName::leading_sign;
    default: return item.field->sign != 0 ? TypeName::trailing_overpunched : TypeName::zoned;
    }
}

bool is_numeric_display(TypeName type)
{
    return type >= TypeName::zoned && type <= TypeName::leading_sign;
}

// The compiler's storage type of an elementary item of `bytes` bytes; the
// dictionary's own where it says the same.
TypeName compiler_type(const CheckItem &item, std::int32_t bytes, Compiler compiler)
{
    const FieldDef &field = *item.field;
    bool is_signed = field.sign != 0;
    switch (kind_of(item.usage)) {
    case Kind::display:
        return is_numeric_display(field.type_name) ? display_type(item) : field.type_name;
    case Kind::binary:
    case Kind::native_binary: {
        bool little = compiler == Compiler::gnucobol && kind_of(item.usage) == Kind::native_binary && bytes > 1;
        if (!little && is_binary(field.type_name) && field.size == bytes)
            return field.type_name;
        return binary_type(bytes, is_signed, little);
    }
    case Kind::packed:
        return is_signed ? TypeName::packed : TypeName::packed_u;
    case Kind::comp6:  // a sign nibble only when signed
        return is_signed ? TypeName::packed : TypeName::packed_nosign;
    case Kind::float4:
        return compiler == Compiler::gnucobol ? TypeName::float_single_le : TypeName::float_single;
    case Kind::float8:
        return compiler == Compiler::gnucobol ? TypeName::double_float_le : TypeName::double_float;
    case Kind::unknown:
        break;
    }
    return field.type_name;
}

// Any binary type, -LE or not.
bool is_any_binary(TypeName type)
{
    return is_binary(type) || (type >= TypeName::word_le && type <= TypeName::quadword_le);
}

bool is_signed_binary(TypeName type)
{
    using T = TypeName;
    for (T t : {T::char1, T::word, T::int3, T::longword, T::int5, T::int6, T::int7, T::quadword, T::word_le,
                T::longword_le, T::quadword_le})
        if (type == t)
            return true;
    return false;
}

// Display width of a value of this type and size, as the converter's tables give it.
std::int32_t display_size(TypeName type, std::int32_t bytes)
{
    static const std::int32_t binary_width[] = {0, 3, 5, 7, 10, 12, 15, 17, 19};
    if (type == TypeName::packed || type == TypeName::packed_u || type == TypeName::packed_nosign)
        return 2 * bytes;
    if (is_any_binary(type))
        return bytes >= 1 && bytes <= 8 ? binary_width[bytes] : 19;
    if (type == TypeName::string || is_numeric_display(type))
        return bytes;
    return 15;  // floating point
}

// The COLUMN row's SQL type and length for a storage type, as the
// converter's default tables give them.
void set_sql_type(ColumnDef &column, TypeName type, std::int32_t bytes, std::int16_t scale)
{
    if (type == TypeName::string || is_numeric_display(type)) {
        column.type_name = TypeName::varchar, column.length = bytes;
        return;
    }
    column.type_name = TypeName::double_float, column.length = 8;
    if (!is_any_binary(type) || scale != 0)
        return;
    if (bytes <= 2 && is_signed_binary(type))
        column.type_name = TypeName::smallint, column.length = 2;
    else if (bytes <= 2 || (bytes <= 4 && is_signed_binary(type)))
        column.type_name = TypeName::integer, column.length = 4;
}

// Why an item keeps the dictionary's place, or null when it need not.
const char *kept_because(const Record &record, const CheckItem &item, Compiler compiler, bool first)
{
    if (item.level == 77 && !first)
        return "a level 77 item is a record of its own, not part of this one";
    if (item.sliding && compiler == Compiler::ibm)
        return "it lies behind an OCCURS DEPENDING ON table, so its place moves with the count";
    if (item.offset < 0 || item.size < 0)
        return item.cause >= 0 ? record.departures[static_cast<std::size_t>(item.cause)].reason.c_str()
                               : "a compiler's layout of it is not known here";
    return nullptr;
}

// The item a level 66 renames alone, or -1.
int renamed(const Record &record, std::size_t i)
{
    const ClauseLink *clause = record.items[i].field->clause;
    if (clause == nullptr || !clause->second_name.empty())
        return -1;
    for (std::size_t j = i; j-- > 0;) {
        const CheckItem &item = record.items[j];
        if (item.level != 66 && item.level != 77 && item.level != 1 &&
            std::strcmp(item.field->name.c_str(), clause->first_name.c_str()) == 0)
            return static_cast<int>(j);
    }
    return -1;
}

// Puts one record's items in place; returns how many keep the dictionary's.
int apply_record(const Record &record, Compiler compiler, const char *path)
{
    // The columns of the table are the items, in order, among some the check leaves out.
    std::vector<ColumnDef *> columns;
    ColumnDef *column = record.table->columns;
    for (const CheckItem &item : record.items) {
        while (column != nullptr && column->field != item.field)
            column = column->next;
        columns.push_back(column);
    }
    int kept = 0;
    for (std::size_t i = 0; i < record.items.size(); ++i) {
        const CheckItem &item = record.items[i];
        FieldDef *field = columns[i] != nullptr ? columns[i]->field : nullptr;
        if (field == nullptr)
            continue;
        if (const char *why = kept_because(record, item, compiler, i == 0)) {
            if (field->type_name != TypeName::none) {
                std::fprintf(stderr, "%s: %s:%d: %s keeps the dictionary's place (%d+%d): %s\n", "tarnmap-check", path,
                             static_cast<int>(item.notes->line), field->name.c_str(), static_cast<int>(field->offset),
                             static_cast<int>(field->size), why);
                ++kept;
            }
            continue;
        }
        field->offset = item.offset;
        if (item.level == 66) {
            int target = renamed(record, i);
            if (target >= 0 && columns[static_cast<std::size_t>(target)] != nullptr) {
                const FieldDef *from = record.items[static_cast<std::size_t>(target)].field;
                field->type_name = from->type_name, field->size = from->size;
                field->display_size = from->display_size, field->occurs = from->occurs;
                columns[i]->type_name = columns[static_cast<std::size_t>(target)]->type_name;
                columns[i]->length = columns[static_cast<std::size_t>(target)]->length;
            } else if (field->size != item.size) {  // a span: its bytes are its width
                field->size = field->display_size = columns[i]->length = item.size;
            }
            continue;
        }
        if (item.notes->occurs_max > 1)
            field->occurs = item.notes->occurs_max;
        if (item.group) {
            field->size = item.size;
            continue;
        }
        TypeName type = compiler_storage_type(item, compiler);
        if (type == field->type_name && item.size == field->size)
            continue;
        field->display_size = display_size(type, item.size);
        field->type_name = type;
        field->size = item.size;
        set_sql_type(*columns[i], type, item.size, field->scale);
    }
    return kept;
}

}  // namespace

// A COMP-1 without a PICTURE has no type in the dictionary, but a compiler stores it.
TypeName compiler_storage_type(const CheckItem &item, Compiler compiler)
{
    TypeName type = item.field->type_name;
    if (type != TypeName::none || kind_of(item.usage) == Kind::float4)
        type = compiler_type(item, item.size, compiler);
    return type;
}

// Takes a record that is none of its file's out of the model: no TABLE,
// COLUMN or FIELD rows.
void leave_out(const Record &record, const char *path)
{
    std::fprintf(stderr, "%s: %s:%d: record %s left out: %s\n", "tarnmap-check", path,
                 static_cast<int>(record.items[0].notes->line), record.table->name.c_str(),
                 record.departures.empty() ? "" : record.departures[0].reason.c_str());
    for (ColumnDef *column = record.table->columns; column != nullptr; column = column->next)
        if (column->field != nullptr)
            column->field->type_name = TypeName::none;
    for (FileDef *file = state.files; file != nullptr; file = file->next)
        for (TableDef **at = &file->tables; *at != nullptr; at = &(*at)->next)
            if (*at == record.table) {
                *at = (*at)->next;
                return;
            }
}

int apply_compiler_layout(std::vector<Record> &records, Compiler compiler, const char *path)
{
    int kept = 0;
    for (const Record &record : records) {
        if (record.foreign)
            leave_out(record, path);
        else
            kept += apply_record(record, compiler, path);
    }
    // A file's record length: its longest record, when all are known.
    for (FileDef *file = state.files; file != nullptr; file = file->next) {
        std::int32_t longest = 0;
        bool known = true;
        for (const Record &record : records) {
            if (record.file != file || record.foreign)
                continue;
            known = known && record.length >= 0;
            longest = record.length > longest ? record.length : longest;
        }
        if (known)
            file->record_length = longest;
        else
            std::fprintf(stderr, "tarnmap-check: %s: file %s keeps the dictionary's record length (%d)\n", path,
                         file->name.c_str(), static_cast<int>(file->record_length)), ++kept;
    }
    return kept;
}
