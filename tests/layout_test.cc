// Field layout: PICTURE analysis and storage mapping as table rows. The close
// operations and overlays are covered end to end by the golden cases.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "layout/layout.h"

namespace {

// A fresh run with group types shown (-s), so that group rows can be checked.
class Layout : public ::testing::Test {
protected:
    void SetUp() override
    {
        state = LayoutState{};
        reset_level_stack();
        state.hide_substructure = 0;
    }
};

// What the rows of the item in work say: type size display scale; SQL length.
std::string mapped()
{
    const FieldDef &f = *state.cur_field;
    char text[160];
    std::snprintf(text, sizeof text, "%s %d %d %d; %s %d", f.type_name, f.size, f.display_size,
                  f.scale, state.cur_column->type_name, state.cur_column->length);
    return text;
}

TEST_F(Layout, PictureAnalysis)
{
    struct Row { const char *picture; std::int32_t digits, scale, item_class; };
    const Row rows[] = {
        {"X(10)", 10, 0, 2}, {"A(3)X", 4, 0, 2}, {"9(5)", 5, 0, 1}, {"S9(5)V99", 7, 2, 1},
        {"S9(5)V9(2)", 7, 2, 1}, {"9(3)V9(2)9", 6, 2, 1}, {"V99", 2, 2, 1}, {"9V", 1, 0, 1},
        {"VPP99", 2, -4, 1}, {"S9(3)VPP", 3, -5, 1}, {"9VPP", 1, -3, 1}, {"V9P", 1, 3, 1},
        {"PP99", 2, 2, 1}, {"9(2)P(2)", 2, 2, 1}, {"P(3)9", 1, 3, 1}, {"PPV99", 2, 2, 1},
        {"ZZ9.99", 6, 0, 1}, {"$$$,$$9.99", 10, 0, 1}, {"Z(5)9", 2, 0, 1}, {"-(5)9.99", 5, 0, 1},
        {"ZZZ", 3, 0, 0}, {"Z(5)", 1, 0, 0}, {"9(3)X(2)", 5, 0, 2}, {"X9", 2, 0, 1},
        {"S", 0, 0, 1}, {"P", 0, 1, 1},
        {"9()", 0, 0, 1}, {"9(0)", 0, 0, 1}, {"9(5", 5, 0, 1}, {"(3)", 0, 0, 0},
        {"9(3)(2)", 3, 0, 1}, {"99V(2)", 2, 2, 1}, {"x(10)", 1, 0, 0}, {"X)", 2, 0, 2},
        {"X( 7)", 7, 0, 2}, {"X(-3)", -3, 0, 2}, {"X(2B)", 2, 0, 2}, {"PP(3)", 0, 3, 1},
        {"V9(123)", 123, 12, 1}, {"V9(100)", 100, 10, 1}, {"V99(4)", 5, 4, 1},
        {"9V99-", 4, 3, 1}, {"PVP9", 1, 2, 1}, {"VP(2)99", 2, -4, 1}, {"V9V9", 2, 3, 1},
    };
    for (const Row &row : rows) {
        FieldDef field{};
        copy_text(field.picture, row.picture);
        PictureInfo info = analyse_picture(&field);
        EXPECT_EQ(info.digit_count, row.digits) << row.picture;
        EXPECT_EQ(info.scale, row.scale) << row.picture;
        EXPECT_EQ(info.item_class, row.item_class) << row.picture;
        EXPECT_EQ(field.sign, std::strchr(row.picture, 'S') ? 1 : 0) << row.picture;
    }
    FieldDef field{};
    field.sign = 4;  // an S overrides SIGN LEADING SEPARATE
    std::string cut = "9(" + std::string(28, '0') + "7)";  // the copy loses the ')'
    copy_text(field.picture, ("S" + cut).c_str());
    EXPECT_EQ(analyse_picture(&field).digit_count, 7);
    EXPECT_EQ(field.sign, 1);
    EXPECT_EQ(std::strlen(state.cur_picture), 32u);
}

TEST_F(Layout, StorageMapping)
{
    struct Row { const char *picture; std::int16_t usage, sign, hpux; const char *rows; };
    const Row rows[] = {
        {"X(30)", -1, 0, 0, "STRING 30 30 0; VARCHAR 30"}, {"9(5)", -1, 0, 0, "ZONED 5 5 0; VARCHAR 5"},
        {"S9(5)V99", -1, 0, 0, "TRAILING-OVERPUNCHED-NUMERIC 7 7 2; VARCHAR 7"},
        {"9(4)", -1, 4, 0, "LEADING-SIGN-NUMERIC 4 4 0; VARCHAR 4"},
        {"9(4)", -1, 3, 0, "LEADING-OVERPUNCHED-NUMERIC 4 4 0; VARCHAR 4"},
        {"9(4)", -1, 2, 0, "ZONED-NUM 4 4 0; VARCHAR 4"}, {"9(4)", -1, 5, 0, "ZONED 4 4 0; VARCHAR 4"},
        {"S9(7)V99", 3, 0, 0, "PACKED 5 10 2; DOUBLE 8"}, {"9(6)", 3, 0, 0, "PACKED-U 4 8 0; DOUBLE 8"},
        {"S9(4)", 0, 0, 0, "WORD 2 5 0; SMALLINT 2"}, {"9(4)", 0, 0, 0, "UWORD 2 5 0; INTEGER 4"},
        {"S9(9)", 0, 0, 0, "LONGWORD 4 10 0; INTEGER 4"}, {"9(9)", 0, 0, 0, "ULONG 4 10 0; DOUBLE 8"},
        {"S9(7)V99", 0, 0, 0, "LONGWORD 4 10 2; DOUBLE 8"},
        {"S9(18)", 0, 0, 0, "QUADWORD 8 19 0; DOUBLE 8"},
        // the pictures that USAGE words default
        {"S9(4)", 2, 1, 1, "DOUBLE 8 15 0; DOUBLE 8"}, {"9(09)", 0, 0, 1, "ULONG 4 10 0; DOUBLE 8"},
        {"9(09)", 0, 1, 1, "LONGWORD 4 10 0; INTEGER 4"}, {"9(11)", 0, 1, 1, "INT5 5 12 0; DOUBLE 8"},
        {"9(11)", 0, 0, 1, "UINT5 5 12 0; DOUBLE 8"}, {"9(11)", 0, 1, 0, "QUADWORD 8 19 0; DOUBLE 8"},
        {"9(20)", 4, 0, 1, "VMSDATE8 8 20 0; TIMESTAMP 16"},
        // packed sizes; under a USAGE the class plays no part
        {"V", 3, 0, 0, "PACKED-U 1 2 0; DOUBLE 8"}, {"9(5)", 6, 1, 0, "PACKED 3 6 0; DOUBLE 8"},
        {"X(4)", 3, 0, 0, "PACKED-U 3 6 0; DOUBLE 8"}, {"9(-3)", 3, 0, 0, "PACKED-U -1 -2 0; DOUBLE 8"},
        {"ZZZ", -1, 0, 0, " 3 3 0; VARCHAR 3"}, {"ZZZ", 0, 0, 0, "UWORD 2 5 0; INTEGER 4"},
        {"VP9", 0, 0, 0, "UWORD 2 5 -2; DOUBLE 8"}, {"9(0)", -1, 0, 0, "ZONED 0 0 0; VARCHAR 0"},
        {"9(4)", 7, 0, 0, "ZONED 4 4 0; VARCHAR 4"},
    };
    for (const Row &row : rows) {
        FieldDef field{};
        ColumnDef column{};
        copy_text(field.picture, row.picture);
        field.usage = row.usage;
        field.sign = row.sign;
        state.hpux = row.hpux;
        state.cur_field = &field;
        state.cur_column = &column;
        map_storage(analyse_picture(&field));
        EXPECT_EQ(mapped(), row.rows) << row.picture << " usage " << row.usage;
    }
}

TEST_F(Layout, BinaryTablesAtRowBoundaries)
{
    // Rows at scale 0, signed and unsigned; a scale, even a negative one,
    // turns the column into DOUBLE 8.
    struct Row { std::int16_t hpux; std::int32_t digits; const char *is_signed, *is_unsigned; };
    const Row rows[] = {
        {0, 0, "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {0, 1, "WORD 2 5 0; SMALLINT 2", "UWORD 2 5 0; INTEGER 4"},
        {0, 2, "WORD 2 5 0; SMALLINT 2", "UWORD 2 5 0; INTEGER 4"},
        {0, 4, "WORD 2 5 0; SMALLINT 2", "UWORD 2 5 0; INTEGER 4"},
        {0, 5, "LONGWORD 4 10 0; INTEGER 4", "ULONG 4 10 0; DOUBLE 8"},
        {0, 9, "LONGWORD 4 10 0; INTEGER 4", "ULONG 4 10 0; DOUBLE 8"},
        {0, 10, "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {0, 16, "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {0, 17, "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {1, 0, "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
        {1, 1, "CHAR 1 3 0; INTEGER 4", "UCHAR 1 3 0; INTEGER 4"},
        {1, 2, "CHAR 1 3 0; INTEGER 4", "UCHAR 1 3 0; INTEGER 4"},
        {1, 4, "WORD 2 5 0; INTEGER 4", "UWORD 2 5 0; INTEGER 4"},
        {1, 5, "INT3 3 7 0; INTEGER 4", "UINT3 3 7 0; INTEGER 4"},
        {1, 9, "LONGWORD 4 10 0; INTEGER 4", "ULONG 4 10 0; DOUBLE 8"},
        {1, 10, "INT5 5 12 0; DOUBLE 8", "UINT5 5 12 0; DOUBLE 8"},
        {1, 16, "INT7 7 17 0; DOUBLE 8", "UINT7 7 17 0; DOUBLE 8"},
        {1, 17, "QUADWORD 8 19 0; DOUBLE 8", "QUADWORD 8 19 0; DOUBLE 8"},
    };
    FieldDef field{};
    ColumnDef column{};
    state.cur_field = &field;
    state.cur_column = &column;
    field.usage = 0;
    for (const Row &row : rows) {
        state.hpux = row.hpux;
        for (std::int16_t sign = 0; sign < 2; ++sign) {
            field.sign = sign;
            std::string expected = sign != 0 ? row.is_signed : row.is_unsigned;
            map_storage(PictureInfo{row.digits, 0, 1});
            EXPECT_EQ(mapped(), expected) << row.hpux << " " << row.digits << " " << sign;
            map_storage(PictureInfo{row.digits, -1, 1});
            expected = expected.substr(0, expected.find(" 0;")) + " -1; DOUBLE 8";
            EXPECT_EQ(mapped(), expected) << row.hpux << " " << row.digits << " " << sign;
        }
    }
}

}  // namespace
