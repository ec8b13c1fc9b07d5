// What end-to-end cases reach only at length: the PICTURE analysis and the
// storage tables row by row, and the arithmetic everything relies on.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "layout/layout.h"

namespace {

TEST(Picture, CountsScaleAndClass)
{
    struct Row { const char *picture; std::int32_t digits, scale, item_class; };
    const Row rows[] = {
        {"X(10)", 10, 0, 2}, {"A(3)X", 4, 0, 2}, {"9(5)", 5, 0, 1}, {"S9(5)V99", 7, 2, 1}, {"S9(5)V9(2)", 7, 2, 1},
        {"9(3)V9(2)9", 6, 2, 1}, {"V99", 2, 2, 1}, {"9V", 1, 0, 1}, {"VPP99", 2, -4, 1}, {"S9(3)VPP", 3, -5, 1},
        {"9VPP", 1, -3, 1}, {"V9P", 1, 3, 1}, {"PP99", 2, 2, 1}, {"9(2)P(2)", 2, 2, 1}, {"P(3)9", 1, 3, 1},
        {"PPV99", 2, 2, 1}, {"ZZ9.99", 6, 0, 1}, {"$$$,$$9.99", 10, 0, 1}, {"Z(5)9", 2, 0, 1}, {"-(5)9.99", 5, 0, 1},
        {"ZZZ", 3, 0, 0}, {"Z(5)", 1, 0, 0}, {"9(3)X(2)", 5, 0, 2}, {"X9", 2, 0, 1}, {"S", 0, 0, 1}, {"P", 0, 1, 1},
        {"9()", 0, 0, 1}, {"9(0)", 0, 0, 1}, {"9(5", 5, 0, 1}, {"(3)", 0, 0, 0}, {"9(3)(2)", 3, 0, 1},
        {"99V(2)", 2, 2, 1}, {"x(10)", 1, 0, 0}, {"X)", 2, 0, 2}, {"X( 7)", 7, 0, 2}, {"X(-3)", -3, 0, 2},
        {"X(2B)", 2, 0, 2}, {"PP(3)", 0, 3, 1}, {"V9(123)", 123, 12, 1}, {"V9(100)", 100, 10, 1},
        {"V99(4)", 5, 4, 1}, {"9V99-", 4, 3, 1}, {"PVP9", 1, 2, 1}, {"VP(2)99", 2, -4, 1}, {"V9V9", 2, 3, 1},
        {"X(2147483647)9", INT32_MIN, 0, 1}, {"A(4294967297)", 1, 0, 2}, {"9(000000000000000000000000000000000007)", 0, 0, 1},
    };
    for (const Row &row : rows) {
        FieldDef field{};
        set_text(field.picture, row.picture);
        PictureInfo info = analyse_picture(&field);
        EXPECT_EQ(info.digit_count, row.digits) << row.picture;
        EXPECT_EQ(info.scale, row.scale) << row.picture;
        EXPECT_EQ(info.item_class, row.item_class) << row.picture;
        EXPECT_EQ(field.sign, std::strchr(row.picture, 'S') ? 1 : 0) << row.picture;
    }
    FieldDef field{};
    field.sign = 4;  // an S overrides SIGN LEADING SEPARATE
    set_text(field.picture, "S9(00000000000000000000000000007)");  // cut at 32, the ')' is lost
    EXPECT_EQ(analyse_picture(&field).digit_count, 7);
    EXPECT_EQ(field.sign, 1);
}

// What the rows of an item say: type size display scale; SQL type and length.
std::string mapped(const char *picture, std::int16_t usage, std::int16_t sign, std::int16_t hpux)
{
    FieldDef f{};
    ColumnDef c{};
    set_text(f.picture, picture);
    f.usage = usage, f.sign = sign, state.hpux = hpux;
    state.cur_field = &f, state.cur_column = &c;
    map_storage(analyse_picture(&f));
    char text[160];
    std::snprintf(text, sizeof text, "%s %d %d %d; %s %d", type_text(f.type_name), f.size, f.display_size,
                  f.scale, type_text(c.type_name), c.length);
    return text;
}

TEST(Storage, TypesAndSizes)
{
    struct Row { const char *picture; std::int16_t usage, sign, hpux; const char *rows; };
    const Row rows[] = {
        {"X(30)", -1, 0, 0, "STRING 30 30 0; VARCHAR 30"}, {"9(5)", -1, 0, 0, "ZONED 5 5 0; VARCHAR 5"},
        {"S9(5)V99", -1, 0, 0, "TRAILING-OVERPUNCHED-NUMERIC 7 7 2; VARCHAR 7"},
        {"9(4)", -1, 4, 0, "LEADING-SIGN-NUMERIC 4 4 0; VARCHAR 4"}, {"9(4)", -1, 2, 0, "ZONED-NUM 4 4 0; VARCHAR 4"},
        {"9(4)", -1, 3, 0, "LEADING-OVERPUNCHED-NUMERIC 4 4 0; VARCHAR 4"}, {"9(4)", -1, 5, 0, "ZONED 4 4 0; VARCHAR 4"},
        {"S9(7)V99", 3, 0, 0, "PACKED 5 10 2; DOUBLE 8"}, {"9(6)", 3, 0, 0, "PACKED-U 4 8 0; DOUBLE 8"},
        {"S9(7)V99", 0, 0, 0, "LONGWORD 4 10 2; DOUBLE 8"}, {"S9(4)", 2, 1, 1, "DOUBLE 8 15 0; DOUBLE 8"},
        {"9(20)", 4, 0, 1, "VMSDATE8 8 20 0; TIMESTAMP 16"}, {"V", 3, 0, 0, "PACKED-U 1 2 0; DOUBLE 8"},
        {"9(5)", 6, 1, 0, "PACKED 3 6 0; DOUBLE 8"}, {"X(4)", 3, 0, 0, "PACKED-U 3 6 0; DOUBLE 8"},
        {"9(-3)", 3, 0, 0, "PACKED-U -1 -2 0; DOUBLE 8"}, {"ZZZ", -1, 0, 0, " 3 3 0; VARCHAR 3"},
        {"ZZZ", 0, 0, 0, "UWORD 2 5 0; INTEGER 4"}, {"VP9", 0, 0, 0, "UWORD 2 5 -2; DOUBLE 8"},
        {"9(0)", -1, 0, 0, "ZONED 0 0 0; VARCHAR 0"}, {"9(4)", 7, 0, 0, "ZONED 4 4 0; VARCHAR 4"},
    };
    for (const Row &row : rows)
        EXPECT_EQ(mapped(row.picture, row.usage, row.sign, row.hpux), row.rows) << row.picture << " " << row.usage;
}

TEST(Storage, BinaryTablesAtEveryRowBoundary)
{
    // Signed, then unsigned, at scale 0; a scale takes DOUBLE 8 (a negative one: VP9 above).
    struct Row { std::int16_t hpux; const char *picture, *is_signed, *is_unsigned; };
    const Row rows[] = {
        {0, "9(0)", "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {0, "9", "WORD 2 5 0; SMALLINT 2", "UWORD 2 5 0; INTEGER 4"},
        {0, "9(4)", "WORD 2 5 0; SMALLINT 2", "UWORD 2 5 0; INTEGER 4"},
        {0, "9(5)", "LONGWORD 4 10 0; INTEGER 4", "ULONG 4 10 0; DOUBLE 8"},
        {0, "9(9)", "LONGWORD 4 10 0; INTEGER 4", "ULONG 4 10 0; DOUBLE 8"},
        {0, "9(10)", "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {1, "9(0)", "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {1, "9", "CHAR 1 3 0; INTEGER 4", "UCHAR 1 3 0; INTEGER 4"},
        {1, "9(2)", "CHAR 1 3 0; INTEGER 4", "UCHAR 1 3 0; INTEGER 4"},
        {1, "9(3)", "WORD 2 5 0; INTEGER 4", "UWORD 2 5 0; INTEGER 4"},
        {1, "9(4)", "WORD 2 5 0; INTEGER 4", "UWORD 2 5 0; INTEGER 4"},
        {1, "9(5)", "INT3 3 7 0; INTEGER 4", "UINT3 3 7 0; INTEGER 4"},
        {1, "9(6)", "INT3 3 7 0; INTEGER 4", "UINT3 3 7 0; INTEGER 4"},
        {1, "9(7)", "LONGWORD 4 10 0; INTEGER 4", "ULONG 4 10 0; DOUBLE 8"},
        {1, "9(9)", "LONGWORD 4 10 0; INTEGER 4", "ULONG 4 10 0; DOUBLE 8"},
        {1, "9(10)", "INT5 5 12 0; DOUBLE 8", "UINT5 5 12 0; DOUBLE 8"},
        {1, "9(11)", "INT5 5 12 0; DOUBLE 8", "UINT5 5 12 0; DOUBLE 8"},
        {1, "9(12)", "INT6 6 15 0; DOUBLE 8", "UINT6 6 15 0; DOUBLE 8"},
        {1, "9(14)", "INT6 6 15 0; DOUBLE 8", "UINT6 6 15 0; DOUBLE 8"},
        {1, "9(15)", "INT7 7 17 0; DOUBLE 8", "UINT7 7 17 0; DOUBLE 8"},
        {1, "9(16)", "INT7 7 17 0; DOUBLE 8", "UINT7 7 17 0; DOUBLE 8"},
        {1, "9(17)", "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
    };
    for (const Row &row : rows) {
        for (std::int16_t sign : {1, 0}) {
            std::string expected = sign != 0 ? row.is_signed : row.is_unsigned;
            EXPECT_EQ(mapped(row.picture, 0, sign, row.hpux), expected) << row.hpux << row.picture << sign;
            expected.replace(expected.find(" 0;"), std::string::npos, " 1; DOUBLE 8");
            EXPECT_EQ(mapped((row.picture + std::string("P")).c_str(), 0, sign, row.hpux), expected);
        }
    }
}

TEST(Arithmetic, WrapsAsTwosComplementAndReadsNumbersAsAtoi)
{
    EXPECT_EQ(add32(INT32_MAX, 1), INT32_MIN);
    EXPECT_EQ(sub32(INT32_MIN, 1), INT32_MAX);
    EXPECT_EQ(mul32(65536, 65536), 0);
    EXPECT_EQ(to16(32768), -32768);
    EXPECT_EQ(to16(-1), -1);
    const std::pair<const char *, std::int32_t> numbers[] = {
        {"05", 5}, {"-4", -4}, {" +7", 7}, {"12AB", 12}, {"X", 0}, {"", 0}, {"4294967297", 1},
        {"99999999999999999999", -1}, {"-99999999999999999999", 0}, {"9223372036854775807", -1},
        {"9223372036854775808", -1}, {"9000000000000000001", -494665727}, {"9223372036854775806", -2}, {"-9223372036854775808", 0},
        {"-9223372036854775809", 0}, {"12884901885", -3},
    };
    for (const auto &[text, value] : numbers)
        EXPECT_EQ(text_to_int(text), value) << text;
}

}  // namespace
