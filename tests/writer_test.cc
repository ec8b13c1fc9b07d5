// Dictionary writer over hand-built models: answers on standard input from a
// file, the dictionary and standard output compared byte for byte. Prompts,
// filters and repeated items are covered end to end by the golden cases.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <deque>
#include <fstream>
#include <sstream>
#include <string>

#include "dictionary/dictionary.h"

namespace {

template <typename T>
void append(T *&head, T *record)
{
    T **link = &head;
    while (*link != nullptr)
        link = &(*link)->next;
    *link = record;
}

// A model linked as the parser leaves it; the records live as long as it does.
struct Model {
    std::deque<FileDef> files;
    std::deque<TableDef> tables;
    std::deque<FieldDef> fields;
    std::deque<ColumnDef> columns;

    void file(const char *name, std::int32_t record_length, const char *path = "")
    {
        FileDef &f = files.emplace_back();
        copy_text(f.name, name), copy_text(f.path, path), f.record_length = record_length;
        copy_text(f.organization, "INDEXED"), copy_text(f.record_format, "FIXED");
        append(state.files, &f);
    }
    void table(const char *name)
    {
        copy_text(tables.emplace_back().name, name);
        append(files.back().tables, &tables.back());
    }
    // An item of the last table; an empty type is a group without -s.
    FieldDef &item(int level, const std::string &name, const char *type, std::int32_t offset,
                   std::int32_t size, std::int32_t occurs = 0)
    {
        FieldDef &f = fields.emplace_back();
        copy_text(f.name, name.c_str()), copy_text(f.type_name, type);
        f.level = level, f.offset = offset, f.size = f.display_size = size, f.occurs = occurs;
        ColumnDef &c = columns.emplace_back();
        copy_text(c.name, name.c_str()), copy_text(c.type_name, *type ? "VARCHAR" : "");
        c.field = &f;
        append(files.back().fields, &f);
        append(tables.back().columns, &c);
        return f;
    }
};

std::string format(const char *fmt, ...)
{
    char text[1024];
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(text, sizeof text, fmt, args);
    va_end(args);
    return text;
}

std::string statistics(int files, int fields, int tables, int columns)
{
    return format("\nConversion Statistics\n\nTotal number of FILE definitions          : %d"
                  "\nTotal number of FIELD definitions         : %d"
                  "\nTotal number of DB definitions            : 1"
                  "\nTotal number of TABLE definitions         : %d"
                  "\nTotal number of COLUMN definitions        : %d"
                  "\n\nConversion completed successfully\n\n",
                  files, fields, tables, columns);
}

std::string temp_path(const char *what)
{
    return testing::TempDir() + "writer_test_" + std::to_string(getpid()) + "_" + what;
}

std::string read_file(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void set_answers(const std::string &answers)
{
    std::ofstream(temp_path("answers"), std::ios::binary) << answers;
    ASSERT_NE(std::freopen(temp_path("answers").c_str(), "r", stdin), nullptr);
}

const std::string PROMPTS = "\n\nDatabase Name : Default Directory : ";
const std::string CONVERTING = "\n\nConverting parsed data to CSV data.\n";

class Writer : public testing::Test {
protected:
    void SetUp() override { state = LayoutState{}, m = Model{}; }
    void TearDown() override
    {
        for (const char *what : {"answers", "csv", "log"})
            std::remove(temp_path(what).c_str());
    }
    // write_dictionary into a file: the dictionary and standard output.
    void run(const std::string &answers = "SALES\n/data\n")
    {
        set_answers(answers);
        std::FILE *out = std::fopen(temp_path("csv").c_str(), "w+");
        ASSERT_NE(out, nullptr);
        testing::internal::CaptureStdout();
        write_dictionary(out);
        said = testing::internal::GetCapturedStdout();
        csv = read_file(temp_path("csv"));
    }
    bool said_statistics(int files, int fields, int tables, int columns) const
    {
        return said.find(statistics(files, fields, tables, columns)) != std::string::npos;
    }
    std::string dots() const
    {
        std::size_t from = said.find(CONVERTING) + CONVERTING.size();
        return said.substr(from, said.find("\nConversion Statistics") - from);
    }

    Model m;
    std::string said, csv;
};

TEST_F(Writer, CustomerExample)
{
    m.file("CUSTOMER", 24);
    m.table("CUST-REC");
    m.item(5, "CUST-ID", "ZONED", 0, 4);
    m.item(5, "CUST-NAME", "STRING", 4, 20);
    run();
    EXPECT_EQ(csv, "\"FILE\",\"CUSTOMER\",\"INDEXED\",\"FIXED\",24\n"
                   "\"FIELD\",\"CUSTOMER\",\"CUST-ID\",\"ZONED\",0,4,4,0,0,\"\",\"\"\n"
                   "\"FIELD\",\"CUSTOMER\",\"CUST-NAME\",\"STRING\",4,20,20,0,0,\"\",\"\"\n"
                   "\"DB\",\"SALES\",\"/data\",\"DISAM\",\"\"\n"
                   "\"TABLE\",\"SALES\",\"CUST_REC\",\"TABLE\",\"CUSTOMER\",\"CUSTOMER\",\"\"\n"
                   "\"COLUMN\",\"SALES\",\"CUST_REC\",\"CUST_ID\",\"CUST-ID\",\"VARCHAR\",4,1,1,\"\"\n"
                   "\"COLUMN\",\"SALES\",\"CUST_REC\",\"CUST_NAME\",\"CUST-NAME\",\"VARCHAR\",20,1,1,\"\"\n");
    EXPECT_EQ(said, PROMPTS + CONVERTING + statistics(1, 2, 1, 2));
}

TEST_F(Writer, EmptyModelOnStandardOutputLeavesItOpen)
{
    set_answers("SALES\n\n");
    testing::internal::CaptureStdout();
    write_dictionary(stdout);
    EXPECT_NE(fcntl(STDOUT_FILENO, F_GETFD), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), PROMPTS + CONVERTING +
                  "\"DB\",\"SALES\",\"\",\"DISAM\",\"\"\n" + statistics(0, 0, 0, 0));
}

TEST_F(Writer, ProgressDotsCountFilteredRowsAndEachExpansionApart)
{
    // 1 FILE + n FIELD + 1 TABLE + n COLUMN candidates; groups are none.
    for (int n : {498, 499}) {
        SetUp();
        m.file("F", 1);
        m.table("R");
        m.item(5, "G", "", 0, 0), m.item(5, "H", "", 0, 0);
        for (int i = 0; i < n; ++i)
            m.item(10, "FILLER_" + std::to_string(i), "STRING", i, 1);
        run();
        EXPECT_EQ(dots(), n == 499 ? "." : "");
        EXPECT_TRUE(said_statistics(1, 0, 1, 0));
    }
    // 500 calls of 2 rows each give no dot; one call of 1000 rows gives one.
    for (int count : {500, 1000}) {
        SetUp();
        m.file("F", 1);
        m.table("R");
        if (count == 500)
            m.item(5, "G", "", 0, 2, 500), m.item(10, "B", "STRING", 0, 1, 2);
        else
            m.item(5, "C", "STRING", 0, 1, 1000);
        run();
        EXPECT_EQ(dots(), count == 500 ? "" : "..");
        EXPECT_TRUE(said_statistics(1, 1000, 1, 1000));
    }
}

}  // namespace
