// Which entries the converter's syntax errors drop: yyerror and yylex are
// linked wrapped (--wrap), so that tarnmap-check learns the line of each
// error and the level number of the statement it stands in, and the section
// and division headers that the converter reads as a statement of entries.
#include "check/check.h"
#include "grammar.hh"

extern "C" void __real__Z7yyerrorPKc(const char *message);  // yyerror
extern "C" int __real__Z5yylexv();                          // yylex

#include <cstring>

namespace {
std::vector<int> lines;         // of the syntax errors that drop an entry with storage
std::vector<SectionHeader> headers;
int statement_level = 0;        // the level number that begins the statement in work, or 0
bool statement_begins = true;   // the next token begins a statement
int statement_tokens = 0;       // tokens of the statement in work so far
std::string first_word;         // its first token: the word, or "REPORT" for t_REPORT

// A word token's text.
bool is_word(int token, const char *text)
{
    return (token == t_IDENTIFIER || token == t_FUNNYSTR) && yylval != nullptr && std::strcmp(yylval, text) == 0;
}
}  // namespace

const std::vector<SectionHeader> &section_headers()
{
    return headers;
}

const std::vector<int> &dropped_lines()
{
    return lines;
}

void forget_dropped_lines()
{
    lines.clear();
    headers.clear();
    statement_level = 0;
    statement_begins = true;
    statement_tokens = 0;
}

// A syntax error makes the converter drop the entry it stands in; a
// condition or RENAMES entry has no storage to lose.
extern "C" void __wrap__Z7yyerrorPKc(const char *message)
{
    if (statement_level != 88 && statement_level != 78 && statement_level != 66)
        lines.push_back(state.line_no);
    __real__Z7yyerrorPKc(message);
}

// Notes the level number that begins each statement, and the statements
// "LOCAL-STORAGE SECTION." ("SECTION" is a noise word to the converter),
// "REPORT SECTION.", "SCREEN SECTION.", "COMMUNICATION SECTION." and
// "PROCEDURE DIVISION ...".
extern "C" int __wrap__Z5yylexv()
{
    int token = __real__Z5yylexv();
    if (statement_begins) {
        statement_level = token == t_NUMERIC && yylval != nullptr ? text_to_int(yylval) : 0;
        statement_tokens = 0;
        first_word = token == t_REPORT ? "REPORT"
                     : is_word(token, "LOCAL-STORAGE") || is_word(token, "SCREEN") || is_word(token, "COMMUNICATION") ||
                             is_word(token, "PROCEDURE")
                         ? yylval
                         : "";
    }
    if (++statement_tokens == 2 && !first_word.empty()) {
        if (first_word == "PROCEDURE" ? is_word(token, "DIVISION") : token == t_TERMINATOR)
            headers.push_back(SectionHeader{static_cast<int>(state.line_no),
                                            first_word + (first_word == "PROCEDURE" ? " DIVISION" : " SECTION")});
    }
    statement_begins = token == t_TERMINATOR;
    return token;
}
