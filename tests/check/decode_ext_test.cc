// Known answers of the storage types that only tarnmap-check --dictionary
// writes, as tarnmap-load decodes them: bytes in, value text out, with the
// run's byte order and floating point format both ways (a -LE type ignores
// them).
#include <gtest/gtest.h>

#include <string>

#include "load/load.h"

namespace {

struct Case {
    const char *type;
    int scale;
    std::string bytes;  // the column's bytes; their count is the size
    const char *want;   // the value's text, or null for a bad value
    bool little_run;    // --byte-order little
    bool hex_run;       // --float hex
};

#define B(s) std::string(s, sizeof(s) - 1)

const Case cases[] = {
    // COMP-6: digits only; an odd count leaves the first nibble 0; no sign nibble to misread.
    {"PACKED-NOSIGN", 0, B("\x01\x23\x45"), "12345", false, false},
    {"PACKED-NOSIGN", 2, B("\x98\x76"), "98.76", false, false},
    {"PACKED-NOSIGN", 0, B("\x12\x3C"), nullptr, false, false},
    // COMP-1 in the run's order and format.
    {"FLOAT", 0, B("\x3F\xC0\x00\x00"), "1.5", false, false},
    {"FLOAT", 0, B("\x00\x00\xC0\x3F"), "1.5", true, false},
    {"FLOAT", 0, B("\x41\x18\x00\x00"), "1.5", false, true},
    {"FLOAT", 0, B("\xC2\x64\x00\x00"), "-100", false, true},
    {"FLOAT", 0, B("\x7F\x80\x00\x00"), nullptr, false, false},
    // GnuCOBOL's native items: little-endian whatever the run says.
    {"FLOAT-LE", 0, B("\x00\x00\x80\xBE"), "-0.25", false, true},
    {"DOUBLE-LE", 0, B("\x00\x00\x00\x00\x00\x00\x04\xC0"), "-2.5", false, true},
    {"DOUBLE-LE", 0, B("\x00\x00\x00\x00\x00\x00\x04\xC0"), "-2.5", true, false},
    {"WORD-LE", 0, B("\xFE\xFF"), "-2", false, false},
    {"WORD-LE", 0, B("\xFE\xFF"), "-2", true, false},
    {"UWORD-LE", 0, B("\xFE\xFF"), "65534", false, false},
    {"LONGWORD-LE", 2, B("\x39\x30\x00\x00"), "123.45", false, false},
    {"ULONG-LE", 0, B("\xFE\xFF\xFF\xFF"), "4294967294", false, false},
    {"QUADWORD-LE", 0, B("\x01\x00\x9C\x58\x4C\x49\x1F\xF2"), "-999999999999999999", false, false},
};

TEST(DictionaryFlavour, KnownAnswers)
{
    for (const Case &c : cases) {
        std::string n = std::to_string(c.bytes.size());
        std::string text = "\"FILE\",\"F\",\"INDEXED\",\"FIXED\",100\n"
                           "\"FIELD\",\"F\",\"X\",\"" + std::string(c.type) + "\",0," + n + "," + n + "," +
                           std::to_string(c.scale) + ",0,\"\",\"\"\n\"DB\",\"D\",\"\",\"DISAM\",\"\"\n"
                           "\"TABLE\",\"D\",\"T\",\"TABLE\",\"F\",\"F\",\"\"\n"
                           "\"COLUMN\",\"D\",\"T\",\"X\",\"X\",\"DOUBLE\",8,1,1,\"\"\n";
        Dictionary dict;
        Decoder d;
        std::string error;
        SCOPED_TRACE(std::string(c.type) + " " + n + " bytes");
        ASSERT_TRUE(read_dictionary(text.data(), text.size(), dict, error)) << error;
        ASSERT_TRUE(dict.warnings.empty()) << dict.warnings[0];
        ASSERT_TRUE(make_decoder("ascii", d, error)) << error;
        d.big_endian = d.float_big_endian = !c.little_run;  // as --byte-order sets both
        d.hex_float = c.hex_run;
        const Column &col = dict.tables.at(0).columns.at(0);
        std::string out(value_capacity(col), '\0');
        size_t len = 0;
        Bad why = decode(d, col, reinterpret_cast<const unsigned char *>(c.bytes.data()), &out[0], len);
        if (c.want) {
            EXPECT_EQ(why, Bad::none) << bad_name(why);
            EXPECT_EQ(out.substr(0, len), c.want);
        } else {
            EXPECT_NE(why, Bad::none);
        }
    }
}

}  // namespace
