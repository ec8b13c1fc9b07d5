// The layout model: linking, the two name lookups, bounded copies and the
// wrapping arithmetic everything else relies on.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

#include "model/model.h"

namespace {

class ModelTest : public ::testing::Test {
protected:
    void SetUp() override { state = LayoutState{}; }

    FileDef *add_file(const char *name)
    {
        FileDef *file = new_file_def(state.cur_file);
        if (state.files == nullptr)
            state.files = file;
        copy_text(file->name, name);
        state.cur_file = file;
        return file;
    }

    FieldDef *add_field(const char *name)
    {
        FieldDef *field = new_field_def(state.cur_file->fields == nullptr ? nullptr : state.cur_field);
        if (state.cur_file->fields == nullptr)
            state.cur_file->fields = field;
        copy_text(field->name, name);
        state.cur_field = field;
        return field;
    }
};

TEST_F(ModelTest, FindFieldTakesTheNearestPrecedingItemButNeverTheOneInWork)
{
    add_file("F");
    FieldDef *first = add_field("X");
    FieldDef *second = add_field("X");
    add_field("Y");
    EXPECT_EQ(find_field("X"), second);
    EXPECT_EQ(find_field("Y"), nullptr);  // the item in work itself
    (void)first;

    add_field("Y");  // now an earlier Y exists
    EXPECT_NE(find_field("Y"), nullptr);
    EXPECT_NE(find_field("Y"), state.cur_field);
}

TEST_F(ModelTest, FindFieldSearchesOnlyThePreviousFileForwards)
{
    add_file("OLDEST");
    add_field("Z");
    add_file("OLD");
    FieldDef *early = add_field("P");
    add_field("P");
    add_file("NEW");
    add_field("Q");
    EXPECT_EQ(find_field("P"), early);   // first of the previous file
    EXPECT_EQ(find_field("Z"), nullptr); // files further back are not searched
}

TEST_F(ModelTest, FillerMatchesAnyGeneratedFillerOnlyInFindField)
{
    add_file("F");
    add_field("FILLER_3");
    FieldDef *nearer = add_field("FILLER_7");
    add_field("A");
    EXPECT_EQ(find_field("FILLER"), nearer);
    EXPECT_EQ(find_field("FILLER_3")->name, std::string("FILLER_3"));

    TableDef *table = new_table_def(nullptr);
    table->columns = new_column_def(nullptr);
    copy_text(table->columns->name, "FILLER_7");
    state.cur_column = new_column_def(table->columns);
    EXPECT_EQ(find_column("FILLER"), nullptr);
    EXPECT_EQ(find_column("FILLER_7"), table->columns);
}

TEST_F(ModelTest, LongNamesAreCutAndCompareEqualBehindTheCut)
{
    std::string a(70, 'A');
    std::string b = std::string(64, 'A') + "BBBBBB";
    add_file("F");
    FieldDef *stored = add_field(a.c_str());
    EXPECT_EQ(std::strlen(stored->name), 64u);
    add_field("OTHER");
    EXPECT_EQ(find_field(b.c_str()), stored);
}

TEST(CopyText, HonoursTheMemberWidthAndAnExplicitLimit)
{
    char small[4 + 1];
    copy_text(small, "ABCDEFG");
    EXPECT_STREQ(small, "ABCD");
    char picture[PICTURE_WIDTH + 1];
    copy_text(picture, std::string(40, '9').c_str(), SOURCE_PICTURE_WIDTH);
    EXPECT_EQ(std::strlen(picture), 32u);
}

TEST(Arithmetic, WrapsAsTwosComplementWithoutOverflow)
{
    EXPECT_EQ(add32(INT32_MAX, 1), INT32_MIN);
    EXPECT_EQ(sub32(INT32_MIN, 1), INT32_MAX);
    EXPECT_EQ(mul32(65536, 65536), 0);
    EXPECT_EQ(to16(32768), -32768);
    EXPECT_EQ(to16(-1), -1);
}

TEST(TextToInt, ReadsLikeAtoi)
{
    EXPECT_EQ(text_to_int("05"), 5);
    EXPECT_EQ(text_to_int("-4"), -4);
    EXPECT_EQ(text_to_int("12AB"), 12);
    EXPECT_EQ(text_to_int("X"), 0);
    EXPECT_EQ(text_to_int(""), 0);
    EXPECT_EQ(text_to_int("4294967297"), 1);            // wraps to 32 bits
    EXPECT_EQ(text_to_int("99999999999999999999"), -1); // clamps, then wraps
}

}  // namespace
