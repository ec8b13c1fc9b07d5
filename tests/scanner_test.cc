// Scanner tests: the real yylex over in-memory sources, its tokens rendered
// as `NUMERIC"05" TERMINATOR`, then `echo"..."` for what went to standard output.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "grammar.hh"
#include "model/model.h"
#include "scanner/scanner.h"

char *yylval = nullptr;  // the parser's, in the program

namespace {
using namespace std::string_literals;

// Scans `source` from a fresh start (SKIP, state.line_no 1) to end of input.
std::string scan(std::string source, bool no_fd = false)
{
    std::FILE *in = fmemopen(source.data(), source.size(), "r");
    scanner_restart(in);
    state.line_no = 1;
    state.no_fd = no_fd;
    testing::internal::CaptureStdout();
    std::string out;
    for (int token; (token = yylex()) != 0;) {
        out += (out.empty() ? "" : " ") + std::string(token_name(token) + 2) + (is_text_token(token) ? "\""s + yylval + "\"" : "");
    }
    int again = yylex();  // end of input stays end of input
    std::fflush(stdout);
    std::string echo = testing::internal::GetCapturedStdout();
    std::fclose(in);
    return out + (echo.empty() ? "" : " echo\"" + echo + "\"") + (again != 0 ? " again" : "");
}

// `prefix` reaches ENTRIES with the scanner's own words.
void expect_scans(const std::vector<std::pair<std::string, std::string>> &rows, const std::string &prefix = "FILE SECTION ")
{
    for (const auto &[source, expected] : rows)
        EXPECT_EQ(scan(prefix + source), expected) << "source: " << source;
}

TEST(Scanner, WordsNumbersStringsAndPictures)
{
    expect_scans({
        {"TO-DATE FD1 TO. RECORD IS RECORDS. EXIT, COMP, EXTERNAL. KEY. THREAD-LOCAL.", R"~(IDENTIFIER"TO-DATE" IDENTIFIER"FD1" IDENTIFIER"TO" TERMINATOR RECORD RECORDS TERMINATOR IDENTIFIER"EXIT" IDENTIFIER"COMP" TERMINATOR IDENTIFIER"KEY" TERMINATOR THREADLOCAL TERMINATOR)~"},
        {"VALUE OF VALUE  OF VALUE OFF INDEXED BY BWZ. BLANK. AND", R"~(VALUE_OF VALUE OF VALUE_OF IDENTIFIER"F" INDEXED_BY BLANK TERMINATOR IDENTIFIER"BLANK" TERMINATOR OPERATION)~"},
        {"COMP_3 COMPUTATIONAL-X. COMP-7 A,B , ,X S9(4) foo - 4", R"~(COMP"COMP_3" COMP"COMPUTATIONAL-X" TERMINATOR IDENTIFIER"COMP-7" FUNNYSTR"A,B" FUNNYSTR",X" FUNNYSTR"S9(4)" FUNNYSTR"foo" OPERATION NUMERIC"4")~"},
        {"05. 1.5. +3 12, 1.5, 1ST-NAME .5", R"~(NUMERIC"05" TERMINATOR NUMERIC"1.5" TERMINATOR NUMERIC"+3" FUNNYSTR"12" FUNNYSTR"1.5" FUNNYSTR"1ST-NAME" TERMINATOR NUMERIC"5")~"},
        {R"~("AB' 'A B'C 'X'. 'X', 'IT''S' "IT'S MORE" ' X)~" "\n'A\nB'", R"~(STRING""AB'" STRING"'A B'" IDENTIFIER"C" STRING"'X'" TERMINATOR FUNNYSTR"'X'" FUNNYSTR"'IT''S'" FUNNYSTR""IT'S" FUNNYSTR"MORE"" IDENTIFIER"X" FUNNYSTR"'A" FUNNYSTR"B'" echo"'")~"},
        {"05 F2 PIC S9(4)V99 COMP-3. PIC 9(5).99. PIC -9, X", R"~(NUMERIC"05" IDENTIFIER"F2" PICTURE PICSTRING"S9(4)V99" COMP"COMP-3" TERMINATOR PICTURE PICSTRING"9(5).99" TERMINATOR PICTURE PICSTRING"-9" IDENTIFIER"X")~"},
        {"PIC IS\n*X\n ZERO COMP + 'A B' PIC. X PIC SELECT X FD 05", R"~(PICTURE ZERO COMP"COMP" OPERATION PICSTRING"'A B'" IDENTIFIER"PIC" TERMINATOR IDENTIFIER"X" PICTURE FD PICSTRING"05" echo"X")~"},
    });
}

TEST(Scanner, CommentsStatesAndEcho)
{
    expect_scans({{"05 A. * FD\nX.*NOTE X*Y 12/34 000100* T\n000100 ! FD\n/ FD\nFD. SELECT. ( _ $ a ' \f 7 \xE9 *",
                   "NUMERIC\"05\" IDENTIFIER\"A\" TERMINATOR FUNNYSTR\"X.*NOTE\" FUNNYSTR\"X*Y\" FUNNYSTR\"12/34\" NUMERIC\"000100\" "
                   "IDENTIFIER\"FD\" TERMINATOR IDENTIFIER\"SELECT\" TERMINATOR NUMERIC\"7\" echo\"(_$a'\f\xE9\""}});
    expect_scans({{"PROGRAM-ID. DEMO.\nINPUT-OUTPUT SECTION.\nSELECT F ASSIGN TO 'A.DAT'.\nDATA DIVISION.\n05 A. FD. KEY. ,X , .5 EXIT. 000100*FD\n!FD\n"
                   "FILE SECTION.\nFD F.\n05 A PIC X(5).\nLINKAGE SECTION G FD H SELECT I FILE SECTION J WORKING-STORAGE SECTION.\n77 K PIC 9.\n",
                   R"~(EXIT TERMINATOR FD IDENTIFIER"F" TERMINATOR NUMERIC"05" IDENTIFIER"A" PICTURE PICSTRING"X(5)" TERMINATOR FD IDENTIFIER"H" IDENTIFIER"J" EXIT echo".F...GI.K")~"}}, "");
}

TEST(Scanner, NoFdLetsTheFirstNumberStart)
{
    EXPECT_EQ(scan("01. A 000100 01 B LINKAGE SECTION 03 C", true), R"~(NUMERIC"000100" NUMERIC"01" IDENTIFIER"B" echo"AC")~");
    EXPECT_EQ(state.no_fd, 0);
    // A PICTURE still pending doesn't claim the number that starts the entries.
    EXPECT_EQ(scan("FILE SECTION PIC LINKAGE SECTION 01 X", true), R"~(PICTURE NUMERIC"01" PICSTRING"X")~");
}

TEST(Scanner, LineCounting)
{
    for (const auto &[source, lines] : std::vector<std::pair<std::string, int>>{
             {"", 0}, {"\n", 1}, {"\r\n", 1}, {"\n\n\n", 1}, {"\n   \n", 2}, {"\n\t \n", 2}, {"*C\n", 1}, {"*C\r\n", 2},
             {"*C\n\n", 2}, {"*C\0\n"s, 1}, {"A", 0}, {"A\n*C", 1}, {"FILE SECTION\n05 A. *C\r\n\n06 'A\rB'", 4}}) {
        scan(source);
        EXPECT_EQ(state.line_no - 1, lines) << "source: " << source;
    }
}

TEST(Scanner, LongWordsAndNulBytes)
{
    const std::string word(20000, 'A');
    EXPECT_EQ(scan("FILE SECTION " + word + ". *" + word + "\n05"), "IDENTIFIER\"" + word + R"~(" TERMINATOR NUMERIC"05")~");
    EXPECT_EQ(state.line_no, 2);
    expect_scans({{"05 A\0B. \0 *\0\n06"s, "NUMERIC\"05\" FUNNYSTR\"A\" TERMINATOR NUMERIC\"06\" echo\"\0\""s}});
    expect_scans({{"\0 \0X FD"s, "FD echo\"\0\""s}}, "");
}

}  // namespace
