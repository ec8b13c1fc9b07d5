// Known answers of the loader's stages: bytes in, value text out, per storage
// type and sign convention in ASCII, code page 037 and code page 273; the
// dictionary read back; the framing check and record ranges.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "load/frames.h"
#include "load/load.h"

namespace {

// The one column of a dictionary with one FIELD row of this type, size and scale.
Column column(const std::string &type, int size, int scale)
{
    std::string n = std::to_string(size), s = std::to_string(scale);
    std::string text = "\"FILE\",\"F\",\"INDEXED\",\"FIXED\",100\n"
                       "\"FIELD\",\"F\",\"X\",\"" + type + "\",0," + n + "," + n + "," + s + ",0,\"\",\"\"\n"
                       "\"DB\",\"D\",\"\",\"DISAM\",\"\"\n"
                       "\"TABLE\",\"D\",\"T\",\"TABLE\",\"F\",\"F\",\"\"\n"
                       "\"COLUMN\",\"D\",\"T\",\"X\",\"X\",\"VARCHAR\",1,1,1,\"\"\n";
    Dictionary d;
    std::string error;
    EXPECT_TRUE(read_dictionary(text.data(), text.size(), d, error)) << error;
    return d.tables.at(0).columns.at(0);
}

struct Case {
    const char *encoding;   // ascii, ebcdic, IBM273
    const char *type;
    int scale;
    std::string bytes;      // the column's bytes; their count is the size
    const char *want;       // the value's text, or null for a bad value
    Bad why = Bad::none;
    bool little = false, hex = false, keep = false;
};

#define B(s) std::string(s, sizeof(s) - 1)

const Case cases[] = {
    // Zoned in ASCII: plain, both overpunch conventions, GnuCOBOL's, scales.
    {"ascii", "ZONED", 0, B("0123"), "123"},
    {"ascii", "ZONED", 2, B("0123"), "1.23"},
    {"ascii", "ZONED", 2, B("005"), "0.05"},
    {"ascii", "ZONED", 2, B("0000"), "0.00"},
    {"ascii", "ZONED", -2, B("012"), "1200"},
    {"ascii", "ZONED", 0, B("12 4"), nullptr, Bad::blank},
    {"ascii", "ZONED", 0, B("    "), nullptr, Bad::blank},
    {"ascii", "ZONED", 0, B("\0\0\0\0"), nullptr, Bad::low_values},
    {"ascii", "ZONED", 0, B("\xff\xff\xff\xff"), nullptr, Bad::high_values},
    {"ascii", "ZONED", 0, B("1.34"), nullptr, Bad::non_digit},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 2, B("012J"), "-1.21"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("012{"), "120"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("012}"), "-120"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("012I"), "129"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("012R"), "-129"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("012p"), "-120"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("012y"), "-129"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 2, B("000}"), "0.00"},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("01A3"), nullptr, Bad::non_digit},
    {"ascii", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("012S"), nullptr, Bad::bad_sign},
    {"ascii", "LEADING-OVERPUNCHED-NUMERIC", 0, B("J23"), "-123"},
    {"ascii", "LEADING-OVERPUNCHED-NUMERIC", 1, B("{23"), "2.3"},
    {"ascii", "ZONED-NUM", 0, B("123-"), "-123"},
    {"ascii", "ZONED-NUM", 0, B("123+"), "123"},
    {"ascii", "ZONED-NUM", 0, B("1234"), nullptr, Bad::bad_sign},
    {"ascii", "ZONED-NUM", 0, B("123 "), nullptr, Bad::blank},
    {"ascii", "LEADING-SIGN-NUMERIC", 1, B("-123"), "-12.3"},
    {"ascii", "LEADING-SIGN-NUMERIC", 1, B("+003"), "0.3"},
    // Packed: every sign nibble as IBM reads it, bad nibbles, unsigned.
    {"ascii", "PACKED", 0, B("\x12\x34\x5C"), "12345"},
    {"ascii", "PACKED", 0, B("\x12\x34\x5D"), "-12345"},
    {"ascii", "PACKED", 0, B("\x12\x34\x5B"), "-12345"},
    {"ascii", "PACKED", 0, B("\x12\x34\x5A"), "12345"},
    {"ascii", "PACKED", 0, B("\x12\x34\x5E"), "12345"},
    {"ascii", "PACKED", 2, B("\x12\x34\x5F"), "123.45"},
    {"ascii", "PACKED", 2, B("\x00\x00\x0D"), "0.00"},
    {"ascii", "PACKED", 4, B("\x00\x5C"), "0.0005"},
    {"ascii", "PACKED", -3, B("\x7D"), "-7000"},
    {"ascii", "PACKED", 0, B("\x1A\x34\x5C"), nullptr, Bad::bad_nibble},
    {"ascii", "PACKED", 0, B("\x12\x34\x56"), nullptr, Bad::bad_sign},
    {"ascii", "PACKED", 0, B("\0\0\0"), nullptr, Bad::low_values},
    {"ascii", "PACKED", 0, B("\xff\xff\xff"), nullptr, Bad::high_values},
    {"ascii", "PACKED-U", 0, B("\x12\x3F"), "123"},
    {"ascii", "PACKED", 0, B("\x12\x34\x56\x78\x90\x12\x34\x56\x78\x9C"), "1234567890123456789"},
    {"ebcdic", "PACKED", 0, B("\x40\x40\x40"), nullptr, Bad::blank},
    // Binary: both byte orders, signs, widths, scales.
    {"ascii", "WORD", 0, B("\xFF\xFE"), "-2"},
    {"ascii", "WORD", 0, B("\xFE\xFF"), "-2", Bad::none, true},
    {"ascii", "UWORD", 0, B("\xFF\xFE"), "65534"},
    {"ascii", "WORD", -1, B("\x00\x05"), "50"},
    {"ascii", "LONGWORD", 2, B("\x00\x00\x30\x39"), "123.45"},
    {"ascii", "LONGWORD", 2, B("\xFF\xFF\xFF\xFB"), "-0.05"},
    {"ascii", "ULONG", 0, B("\xFF\xFF\xFF\xFF"), "4294967295"},
    {"ascii", "QUADWORD", 0, B("\x80\0\0\0\0\0\0\0"), "-9223372036854775808"},
    {"ascii", "QUADWORD", 0, B("\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"), "9223372036854775807"},
    {"ascii", "CHAR", 0, B("\x80"), "-128"},
    {"ascii", "UCHAR", 0, B("\x80"), "128"},
    {"ascii", "UINT3", 0, B("\xFF\xFF\xFF"), "16777215"},
    {"ascii", "INT5", 0, B("\xFF\xFF\xFF\xFF\xFF"), "-1"},
    {"ascii", "INT7", 3, B("\x00\x00\x00\x00\x00\x04\xD2"), "1.234"},
    // Floating point: IEEE 754 in both orders, IBM hexadecimal.
    {"ascii", "DOUBLE", 0, B("\x3F\xF8\0\0\0\0\0\0"), "1.5"},
    {"ascii", "DOUBLE", 0, B("\x9A\x99\x99\x99\x99\x99\xB9\x3F"), "0.1", Bad::none, true},
    {"ascii", "DOUBLE", 0, B("\x7F\xF8\0\0\0\0\0\0"), nullptr, Bad::not_finite},
    {"ascii", "DOUBLE", 0, B("\x41\x18\0\0\0\0\0\0"), "1.5", Bad::none, false, true},
    {"ascii", "DOUBLE", 0, B("\xC2\x64\0\0\0\0\0\0"), "-100", Bad::none, false, true},
    {"ascii", "DOUBLE", 0, B("\x40\x19\x99\x99\x99\x99\x99\x9A"), "0.1", Bad::none, false, true},
    {"ascii", "DOUBLE", 0, B("\0\0\0\0\0\0\0\0"), "0", Bad::none, false, true},
    // VMS dates: the epoch and 1970-01-01 00:00:01.5.
    {"ascii", "VMSDATE8", 0, B("\0\0\0\0\0\0\0\0"), "1858-11-17 00:00:00.0000000"},
    {"ascii", "VMSDATE8", 0, B("\x00\x7C\x95\x67\x4C\xD0\x21\xC0"), "1970-01-01 00:00:01.5000000"},
    // Strings: trimmed, kept, characters outside the code page.
    {"ascii", "STRING", 0, B("AB  "), "AB"},
    {"ascii", "STRING", 0, B(" A B "), " A B"},
    {"ascii", "STRING", 0, B("AB  "), "AB  ", Bad::none, false, false, true},
    {"ascii", "STRING", 0, B("A\x80"), nullptr, Bad::no_character},
    {"ascii", "STRING", 0, B("A\0"), nullptr, Bad::no_character},
    // Code page 037: zones C, D, F, A, B, E; separate signs; texts.
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xF2\xC3"), "123"},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xF2\xD3"), "-123"},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xF2\xF3"), "123"},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xF2\xB3"), "-123"},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xF2\xA3"), "123"},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xF2\xE3"), "123"},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 2, B("\xF0\xF0\xD0"), "0.00"},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\x40\xC3"), nullptr, Bad::blank},
    {"ebcdic", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xF2\x33"), nullptr, Bad::bad_sign},
    {"ebcdic", "ZONED", 0, B("\xF1\xC2\xF3"), nullptr, Bad::non_digit},
    {"ebcdic", "ZONED", 0, B("\x40\x40"), nullptr, Bad::blank},
    {"ebcdic", "LEADING-OVERPUNCHED-NUMERIC", 0, B("\xD1\xF2"), "-12"},
    {"ebcdic", "LEADING-SIGN-NUMERIC", 0, B("\x60\xF1\xF2"), "-12"},
    {"ebcdic", "ZONED-NUM", 0, B("\xF1\xF2\x4E"), "12"},
    {"ebcdic", "ZONED-NUM", 0, B("\xF1\xF2\x2B"), nullptr, Bad::bad_sign},
    {"ebcdic", "STRING", 0, B("\xC1\xC2\x4A\x5A\x40\x40"), "AB\xC2\xA2!"},
    {"ebcdic", "PACKED", 2, B("\x01\x23\x4D"), "-12.34"},
    {"ebcdic", "WORD", 0, B("\x00\x2A"), "42"},
    // Code page 273: the same digits and zones, other characters.
    {"IBM273", "STRING", 0, B("\xC1\x4A\xC0\x5A\x40"), "A\xC3\x84\xC3\xA4\xC3\x9C"},
    {"IBM273", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xD2"), "-12"},
    {"IBM273", "LEADING-SIGN-NUMERIC", 0, B("\x4E\xF1\xF2"), "12"},
    {"IBM273", "ZONED", 0, B("\x00\xF0"), nullptr, Bad::non_digit},
    {"IBM-1140", "STRING", 0, B("\x9F\xC1"), "\xE2\x82\xAC" "A"},  // the euro sign
    // Code page 930: double-byte characters between shift-out and shift-in.
    {"IBM-930", "STRING", 0, B("\xC1\x0E\x45\x41\x0F\xC3\x40"), "A\xE4\xB8\x80" "C"},
    {"IBM-930", "STRING", 0, B("\x0E\x40\x40\x0F\x40"), "\xE3\x80\x80"},  // a double-byte blank stays
    {"IBM-930", "STRING", 0, B("\xC1\x0E\x45"), nullptr, Bad::no_character},  // cut inside a character
    {"IBM-930", "TRAILING-OVERPUNCHED-NUMERIC", 0, B("\xF1\xD2"), "-12"},
};

TEST(Decode, KnownAnswers)
{
    for (const Case &c : cases) {
        Decoder d;
        std::string error;
        ASSERT_TRUE(make_decoder(c.encoding, d, error)) << error;
        d.big_endian = !c.little;
        d.float_big_endian = !c.little;
        d.hex_float = c.hex;
        d.keep_blanks = c.keep;
        Column col = column(c.type, static_cast<int>(c.bytes.size()), c.scale);
        std::string out(value_capacity(col), '\0');
        size_t len = 0;
        Bad why = decode(d, col, reinterpret_cast<const unsigned char *>(c.bytes.data()), &out[0], len);
        SCOPED_TRACE(std::string(c.encoding) + " " + c.type + " scale " + std::to_string(c.scale));
        if (c.want) {
            EXPECT_EQ(why, Bad::none) << bad_name(why);
            EXPECT_EQ(out.substr(0, len), c.want);
        } else {
            EXPECT_EQ(why, c.why) << bad_name(why);
        }
    }
}

// Which values stay exact integers in a database, which become exact decimal text.
TEST(Decode, KindFromDigitsAndScale)
{
    EXPECT_EQ(column("PACKED", 10, 0).sql.kind, ValueKind::decimal);   // 19 digits
    EXPECT_EQ(column("PACKED", 9, 0).sql.kind, ValueKind::integer);    // 17 digits
    EXPECT_EQ(column("ZONED", 18, 0).sql.kind, ValueKind::integer);
    EXPECT_EQ(column("ZONED", 19, 0).sql.kind, ValueKind::decimal);
    EXPECT_EQ(column("ZONED", 16, -2).sql.kind, ValueKind::integer);
    EXPECT_EQ(column("ZONED", 17, -2).sql.kind, ValueKind::decimal);
    EXPECT_EQ(column("ZONED", 3, 1).sql.kind, ValueKind::decimal);
    EXPECT_EQ(column("QUADWORD", 8, 0).sql.kind, ValueKind::integer);
    EXPECT_EQ(column("QUADWORD", 8, 2).sql.kind, ValueKind::decimal);
    EXPECT_EQ(column("DOUBLE", 8, 0).sql.kind, ValueKind::real);
    EXPECT_EQ(column("VMSDATE8", 8, 0).sql.kind, ValueKind::timestamp);
}

TEST(Decode, CodePageNames)
{
    Decoder d;
    std::string error;
    EXPECT_TRUE(make_decoder("IBM-500", d, error)) << error;
    EXPECT_TRUE(d.ebcdic);
    EXPECT_TRUE(make_decoder("ISO-8859-1", d, error)) << error;
    EXPECT_FALSE(d.ebcdic);
    EXPECT_FALSE(make_decoder("NO-SUCH-PAGE", d, error));
    EXPECT_FALSE(make_decoder("UTF-16", d, error));
}

// Rows as tarnmap writes them, quotes and commas in texts unescaped, and
// the rows it never writes.
TEST(Dictionary, RowsAndErrors)
{
    const std::string good =
        "\"FILE\",\"F\",\"INDEXED\",\"VARIABLE\",12\n"
        "\"FILE\",\"G\",\"INDEXED\",\"FIXED\",3\n"
        "\"FIELD\",\"F\",\"A\",\"STRING\",0,4,4,0,0,\"\",\"x\",\"y\"\n"
        "\"FIELD\",\"F\",\"B\",\"PACKED\",4,3,6,2,0,\"\",\"\"\n"
        "\"DB\",\"D\"B\",\"/data, old\",\"DISAM\",\"\"\n"
        "\"TABLE\",\"D\"B\",\"T\",\"TABLE\",\"F\",\"a \"b\", c.dat\",\"\"\n"
        "\"COLUMN\",\"D\"B\",\"T\",\"B\",\"B\",\"DOUBLE\",8,1,1,\"\"\n"
        "\"COLUMN\",\"D\"B\",\"T\",\"A\",\"A\",\"VARCHAR\",4,1,1,\"x\",\"y\"\n"
        "\"TABLE\",\"D\"B\",\"U\",\"TABLE\",\"G\",\"g.dat\",\"\"\n";
    Dictionary d;
    std::string error;
    ASSERT_TRUE(read_dictionary(good.data(), good.size(), d, error)) << error;
    EXPECT_EQ(d.db_name, "D\"B");
    EXPECT_EQ(d.directory, "/data, old");
    ASSERT_EQ(d.tables.size(), 2u);
    EXPECT_EQ(d.tables[1].file, 1);  // the second file's table
    EXPECT_EQ(d.tables[0].path, "a \"b\", c.dat");
    EXPECT_TRUE(d.files[0].variable);
    ASSERT_EQ(d.tables[0].columns.size(), 2u);
    EXPECT_EQ(d.tables[0].columns[0].offset, 4u);
    EXPECT_EQ(d.tables[0].columns[0].sql.scale, 2);
    EXPECT_EQ(d.tables[0].columns[1].storage, Storage::string);

    struct Bad { std::string text, error; } bad[] = {
        {"\"FILE\",\"F\",\"INDEXED\",\"FIXED\"\n", "1: a FILE row needs 5 columns"},
        {"Converting parsed data to CSV data.\n", "1: tarnmap's standard output"},
        {"# a comment\n", "1: not a dictionary row"},
        {"\"DB\",\"D\",\"\",\"DISAM\",\"\"\n\"TABLE\", D\",\"T\",\"TABLE\",\"F\",\"F\",\"\",\"x\"\n",
         "2: a TABLE row needs 7 columns"},
        {"\"DB\",\"D\",\"\",\"DISAM\",\"\"\n\"TABLE\",\"D\",\"T\",\"TABLE\",\"F\",\"F\",\"\"\n", "2: no FILE row"},
        {"\"DB\",\"D\",\"\",\"DISAM\",\"\"\n\"COLUMN\",\"D\",\"T\",\"A\",\"A\",\"VARCHAR\",4,1,1,\"\"\n",
         "2: no TABLE row"},
        {"\"FILE\",\"F\",\"INDEXED\",\"FIXED\",4\n\"FIELD\",\"F\",\"A\",\"WORD\",0,4,5,0,0,\"\",\"\"\n"
         "\"DB\",\"D\",\"\",\"DISAM\",\"\"\n\"TABLE\",\"D\",\"T\",\"TABLE\",\"F\",\"F\",\"\"\n"
         "\"COLUMN\",\"D\",\"T\",\"A\",\"A\",\"VARCHAR\",4,1,1,\"\"\n",
         "2: WORD takes 2 bytes, not 4"},
        {std::string("\"DB\",\"D\0\",\"\",\"DISAM\",\"\"\n", 22), "1: a NUL byte"},
        {"\"FILE\",\"F\",\"INDEXED\",\"FIXED\",4\n", "1: no DB row"},
        {"\"FILE\",\"F\",\"INDEXED\",\"FIXED\",1234567890\n", "1: a FILE row needs 5 columns"},
    };
    for (const auto &b : bad) {
        Dictionary x;
        EXPECT_FALSE(read_dictionary(b.text.data(), b.text.size(), x, error)) << b.text;
        EXPECT_EQ(error.substr(0, b.error.size()), b.error) << error;
    }
}

// A COLUMN row without a FIELD row of its item (a repeated FILLER-X keeps
// its COLUMN rows) is left out with a warning; the other columns load.
TEST(Dictionary, ColumnWithoutField)
{
    const std::string text =
        "\"FILE\",\"F\",\"INDEXED\",\"FIXED\",4\n"
        "\"FIELD\",\"F\",\"A\",\"STRING\",0,2,2,0,0,\"\",\"\"\n"
        "\"DB\",\"D\",\"\",\"DISAM\",\"\"\n"
        "\"TABLE\",\"D\",\"T\",\"TABLE\",\"F\",\"F\",\"\"\n"
        "\"COLUMN\",\"D\",\"T\",\"FILLER_X_I1\",\"FILLER-X_I1\",\"VARCHAR\",1,1,1,\"\"\n"
        "\"COLUMN\",\"D\",\"T\",\"A\",\"A\",\"VARCHAR\",2,1,1,\"\"\n";
    Dictionary d;
    std::string error;
    ASSERT_TRUE(read_dictionary(text.data(), text.size(), d, error)) << error;
    ASSERT_EQ(d.tables[0].columns.size(), 1u);
    EXPECT_EQ(d.tables[0].columns[0].sql.name, "A");
    ASSERT_EQ(d.warnings.size(), 1u);
    EXPECT_EQ(d.warnings[0].substr(0, 33), "5: no FIELD row for item \"FILLER-");
}

// A file in memory, as a descriptor for the framing functions.
int memfile(const std::string &bytes)
{
    int fd = memfd_create("frames", 0);
    EXPECT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    return fd;
}

std::string rdw(const std::string &data, bool little, bool data_length)
{
    size_t n = data.size() + (data_length ? 0 : 4);
    char d[4] = {static_cast<char>(little ? n & 0xFF : n >> 8), static_cast<char>(little ? n >> 8 : n & 0xFF), 0, 0};
    return std::string(d, 4) + data;
}

std::string bdw(const std::string &records)
{
    size_t n = records.size() + 4;
    char d[4] = {static_cast<char>(n >> 8), static_cast<char>(n & 0xFF), 0, 0};
    return std::string(d, 4) + records;
}

std::string read_all(int fd, const Framing &f, const RecordRange &r)
{
    RecordReader reader;
    std::string got;
    EXPECT_TRUE(reader.open(fd, f, r)) << reader.error;
    Record rec;
    while (reader.next(rec))
        got += std::to_string(rec.number) + ":" + std::string(reinterpret_cast<const char *>(rec.data), rec.size) + " ";
    EXPECT_EQ(reader.error, "");
    return got;
}

TEST(Frames, WholeFileCheck)
{
    Framing fixed;
    fixed.record_length = 4;
    int fd = memfile("AAAABBBBCC");
    FrameCheck c = check_framing(fd, fixed);
    EXPECT_FALSE(c.ok);
    EXPECT_NE(c.error.find("partial record of 2 bytes at byte 8"), std::string::npos) << c.error;
    close(fd);

    std::string chain = rdw("ABC", true, false) + rdw("", true, false) + rdw("DEFGH", true, false);
    Framing big;
    big.descriptors = true;
    fd = memfile(chain);
    c = check_framing(fd, big);
    EXPECT_FALSE(c.ok);
    EXPECT_NE(c.error.find("record 1 at byte 0"), std::string::npos) << c.error;
    EXPECT_NE(c.error.find("fits --rdw=little exactly (3 records)"), std::string::npos) << c.error;
    Framing little = big;
    little.little = true;
    c = check_framing(fd, little);
    EXPECT_TRUE(c.ok) << c.error;
    EXPECT_EQ(c.records, 3u);
    close(fd);

    fd = memfile(rdw("ABC", false, true) + rdw("DE", false, true));
    c = check_framing(fd, big);
    EXPECT_NE(c.error.find("fits --rdw --rdw-length data exactly"), std::string::npos) << c.error;
    close(fd);

    fd = memfile(rdw("ABC", false, false) + rdw("DEFG", false, false).substr(0, 6));
    c = check_framing(fd, big);
    EXPECT_NE(c.error.find("record 2 at byte 7: its 4 bytes pass the end of the file by 2"), std::string::npos)
        << c.error;
    close(fd);

    // Blocks: read as records, their descriptors would make every block one record.
    Framing blocks = big;
    blocks.blocks = true;
    fd = memfile(bdw(rdw("AB", false, false) + rdw("C", false, false)) + bdw(rdw("DEF", false, false)));
    EXPECT_EQ(check_framing(fd, blocks).records, 3u);
    EXPECT_EQ(check_framing(fd, big).error, "every record holds a chain of descriptors: the file fits --bdw --rdw (3 records)");
    close(fd);
    fd = memfile(bdw(rdw("AB", false, false) + rdw("C", false, false)).substr(0, 10) + rdw("CDE", false, false));
    c = check_framing(fd, blocks);
    EXPECT_EQ(c.error.substr(0, 63), "record 2 at byte 10: its 3 bytes pass the end of its block by 2");
    close(fd);
    fd = memfile(bdw(rdw("AB", false, false)) + std::string("\0\x03\0\0", 4));
    EXPECT_EQ(check_framing(fd, blocks).error.substr(0, 57), "block 2 at byte 10: 00 03 00 00 is not a block descriptor");
    close(fd);
    fd = memfile(std::string("\x80\0\0\x03", 4) + rdw("ABC", false, false));  // shorter than its descriptor
    EXPECT_EQ(check_framing(fd, blocks).error.substr(0, 45), "block 1 at byte 0: 80 00 00 03 is not a block");
    close(fd);
    fd = memfile(std::string("\x80\0\0\x0B", 4) + rdw("ABC", false, false));  // the extended form
    EXPECT_TRUE(check_framing(fd, blocks).ok);
    c = check_framing(fd, big);
    EXPECT_EQ(c.error, "record 1 at byte 0: 80 00 00 0B is not a descriptor; the file fits --bdw --rdw exactly (1 records)");
    close(fd);
}

TEST(Frames, RangesOfWholeRecords)
{
    Framing fixed;
    fixed.record_length = 2;
    int fd = memfile("AABBCCDDEE");
    RecordRange r;
    EXPECT_EQ(read_all(dup(fd), fixed, r), "1:AA 2:BB 3:CC 4:DD 5:EE ");
    r.skip = 1;
    r.count = 2;
    EXPECT_EQ(read_all(dup(fd), fixed, r), "2:BB 3:CC ");
    r = RecordRange{3, 7, 0, UINT64_MAX};  // records starting in [3, 7): at 4 and 6
    EXPECT_EQ(read_all(dup(fd), fixed, r), "3:CC 4:DD ");
    close(fd);

    Framing big;
    big.descriptors = true;
    fd = memfile(rdw("A", false, false) + rdw("BBB", false, false) + rdw("", false, false) + rdw("DD", false, false));
    EXPECT_EQ(read_all(dup(fd), big, RecordRange{}), "1:A 2:BBB 3: 4:DD ");
    EXPECT_EQ(read_all(dup(fd), big, RecordRange{1, 13, 0, UINT64_MAX}), "2:BBB 3: ");
    EXPECT_EQ(read_all(dup(fd), big, RecordRange{0, UINT64_MAX, 2, 1}), "3: ");
    close(fd);

    big.blocks = true;  // record 3 starts at byte 17, behind the second block's descriptor
    fd = memfile(bdw(rdw("A", false, false) + rdw("BBB", false, false)) + bdw("") + bdw(rdw("", false, false)));
    EXPECT_EQ(read_all(dup(fd), big, RecordRange{}), "1:A 2:BBB 3: ");
    EXPECT_EQ(read_all(dup(fd), big, RecordRange{5, 25, 0, UINT64_MAX}), "2:BBB 3: ");
    close(fd);

    Framing lines;  // padded to 3 bytes; a CR before the LF is the line end's
    lines.lines = true;
    lines.record_length = 3;
    fd = memfile("AA\nB\r\n\nCCC");
    EXPECT_EQ(read_all(dup(fd), lines, RecordRange{}), "1:AA  2:B   3:    4:CCC ");
    EXPECT_EQ(read_all(dup(fd), lines, RecordRange{3, 7, 0, UINT64_MAX}), "2:B   3:    ");
    EXPECT_TRUE(check_framing(fd, lines).ok);
    lines.record_length = 2;
    EXPECT_EQ(check_framing(fd, lines).error, "record 4 at byte 7: a line of 3 bytes, longer than the record length 2");
    close(fd);
}

TEST(Decimal, Format)
{
    char out[64];
    struct { const char *digits; bool negative; int scale; const char *want; } rows[] = {
        {"0005", false, 2, "0.05"}, {"0005", true, 2, "-0.05"}, {"1230", false, 2, "12.30"},
        {"7", false, 0, "7"}, {"12", false, -2, "1200"}, {"000", true, 0, "0"}, {"", false, 3, "0.000"},
        {"0", true, -2, "0"}, {"123456789012345678", false, 0, "123456789012345678"},
    };
    for (const auto &r : rows) {
        size_t n = format_decimal(r.digits, std::strlen(r.digits), r.negative, r.scale, out);
        EXPECT_EQ(std::string(out, n), r.want);
    }
}

}  // namespace
