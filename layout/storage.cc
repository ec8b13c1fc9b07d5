// Storage and type mapping: what the FIELD and COLUMN rows say about an
// item, from its PICTURE analysis, USAGE code, sign kind and the -h flag.
// Called by close_data_entry, for elementary items and for opened groups.
#include "layout/layout.h"

namespace {

// An SQL type of the COLUMN row with its length.
struct SqlType {
    TypeName name;
    std::int32_t length;
};

// One row of a binary size table, for a range of digit counts.
struct BinaryRow {
    std::int32_t min_digits;      // first digit count of the row
    std::int32_t max_digits;      // last digit count of the row
    TypeName signed_type;         // FIELD type when the item is signed
    TypeName unsigned_type;       // FIELD type when it is not
    std::int32_t size;            // bytes in the record
    std::int32_t display_size;    // digits of the largest signed value of that size
    SqlType scaled;               // column when the scale is not 0
    SqlType whole_signed;         // column when the scale is 0, signed
    SqlType whole_unsigned;       // column when the scale is 0, not signed
};

constexpr SqlType DOUBLE{TypeName::double_float, 8};
constexpr SqlType INTEGER{TypeName::integer, 4};
constexpr SqlType SMALLINT{TypeName::smallint, 2};
using T = TypeName;

// Binary items by default. The last row takes every other count, 0 among them.
constexpr BinaryRow DEFAULT_BINARY[] = {
    {1, 4, T::word, T::uword, 2, 5, DOUBLE, SMALLINT, INTEGER},
    {5, 9, T::longword, T::ulongword, 4, 10, DOUBLE, INTEGER, DOUBLE},
    {0, 0, T::quadword, T::quadword, 8, 19, DOUBLE, DOUBLE, DOUBLE},
};

// Binary items of HPUX cobol (-h), with odd widths. The last row as above.
constexpr BinaryRow WIDE_BINARY[] = {
    {1, 2, T::char1, T::uchar, 1, 3, DOUBLE, INTEGER, INTEGER},
    {3, 4, T::word, T::uword, 2, 5, DOUBLE, INTEGER, INTEGER},
    {5, 6, T::int3, T::uint3, 3, 7, DOUBLE, INTEGER, INTEGER},
    {7, 9, T::longword, T::ulongword, 4, 10, DOUBLE, INTEGER, DOUBLE},
    {10, 11, T::int5, T::uint5, 5, 12, DOUBLE, DOUBLE, DOUBLE},
    {12, 14, T::int6, T::uint6, 6, 15, DOUBLE, DOUBLE, DOUBLE},
    {15, 16, T::int7, T::uint7, 7, 17, DOUBLE, DOUBLE, DOUBLE},
    {0, 0, T::quadword, T::quadword, 8, 19, DOUBLE, DOUBLE, DOUBLE},
};

// The row of a table for a digit count; counts no range holds take the last.
template <std::size_t N>
const BinaryRow &binary_row(const BinaryRow (&table)[N], std::int32_t digits)
{
    for (std::size_t i = 0; i + 1 < N; ++i)
        if (digits >= table[i].min_digits && digits <= table[i].max_digits)
            return table[i];
    return table[N - 1];
}

// Sets the column of the item in work.
void set_column(const SqlType &type)
{
    state.cur_column->type_name = type.name;
    state.cur_column->length = type.length;
}

// FIELD type by class and sign kind; none for an item of no class.
TypeName class_type_name(std::int32_t item_class, std::int16_t sign)
{
    if (item_class == 2)
        return TypeName::string;
    if (item_class != 1)
        return TypeName::none;
    switch (sign) {
    case 1:
        return TypeName::trailing_overpunched;
    case 2:
        return TypeName::zoned_num;
    case 3:
        return TypeName::leading_overpunched;
    case 4:
        return TypeName::leading_sign;
    default:  // deliberate: SEPARATE twice pushes the kind past 4; it reads as unsigned
        return TypeName::zoned;
    }
}

// Digit count halved, rounded down, plus 1: the bytes of a packed item.
std::int32_t packed_size(std::int32_t digits)
{
    std::int32_t half = digits / 2;
    if (digits % 2 < 0)  // round down, not toward zero, for a negative count
        half = sub32(half, 1);
    return add32(half, 1);
}

// A binary item by the table that -h picks.
void map_binary(FieldDef *field, const PictureInfo &info)
{
    const BinaryRow &row = state.hpux != 0 ? binary_row(WIDE_BINARY, info.digit_count)
                                           : binary_row(DEFAULT_BINARY, info.digit_count);
    bool is_signed = field->sign != 0;
    field->type_name = is_signed ? row.signed_type : row.unsigned_type;
    field->size = row.size;
    field->display_size = row.display_size;
    // deliberate: a negative scale (P letters behind V) counts as scaled too.
    if (info.scale != 0)
        set_column(row.scaled);
    else
        set_column(is_signed ? row.whole_signed : row.whole_unsigned);
}

}  // namespace

// Type names and sizes of an elementary item, in three overwriting steps.
void map_storage(const PictureInfo &info)
{
    FieldDef *field = state.cur_field;
    field->type_name = class_type_name(info.item_class, field->sign);
    state.cur_column->type_name = TypeName::varchar;
    state.cur_column->length = info.digit_count;
    field->display_size = info.digit_count;
    field->scale = to16(info.scale);
    // deliberate: a USAGE decides over the class, so X(4) COMP-3 is packed.
    switch (field->usage) {
    case 3:
    case 6:
        field->type_name = field->sign != 0 ? TypeName::packed : TypeName::packed_u;
        field->size = packed_size(info.digit_count);
        field->display_size = mul32(field->size, 2);
        set_column(DOUBLE);
        break;
    case 2:
        field->type_name = TypeName::double_float;
        field->size = 8;
        field->display_size = 15;
        set_column(DOUBLE);
        break;
    case 4:
        field->type_name = TypeName::vmsdate8;
        field->size = 8;
        field->display_size = 20;
        set_column(SqlType{TypeName::timestamp, 16});
        break;
    case 0:
        map_binary(field, info);
        break;
    default:  // display: one byte per position
        field->size = info.digit_count;
        break;
    }
}

// A group's types follow the -s option; its size is known only at its close.
void map_group_storage()
{
    FieldDef *field = state.cur_field;
    if (state.hide_substructure != 1) {
        field->type_name = TypeName::string;
        state.cur_column->type_name = TypeName::varchar;
    }
    // deliberate: 0 for an ordinary group, filled in at output; a REDEFINES
    // group keeps the redefined size here even when it grows.
    state.cur_column->length = field->size;
}
