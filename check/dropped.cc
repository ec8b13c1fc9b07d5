// Which entries the converter's syntax errors drop: yyerror and yylex are
// linked wrapped (--wrap), so that tarnmap-check learns the line of each
// error and the level number of the statement it stands in.
#include "check/check.h"
#include "grammar.hh"

extern "C" void __real__Z7yyerrorPKc(const char *message);  // yyerror
extern "C" int __real__Z5yylexv();                          // yylex

namespace {
std::vector<int> lines;         // of the syntax errors that drop an entry with storage
int statement_level = 0;        // the level number that begins the statement in work, or 0
bool statement_begins = true;   // the next token begins a statement
}  // namespace

const std::vector<int> &dropped_lines()
{
    return lines;
}

void forget_dropped_lines()
{
    lines.clear();
    statement_level = 0;
    statement_begins = true;
}

// A syntax error makes the converter drop the entry it stands in; a
// condition or RENAMES entry has no storage to lose.
extern "C" void __wrap__Z7yyerrorPKc(const char *message)
{
    if (statement_level != 88 && statement_level != 78 && statement_level != 66)
        lines.push_back(state.line_no);
    __real__Z7yyerrorPKc(message);
}

// Notes the level number that begins each statement.
extern "C" int __wrap__Z5yylexv()
{
    int token = __real__Z5yylexv();
    if (statement_begins)
        statement_level = token == t_NUMERIC && yylval != nullptr ? text_to_int(yylval) : 0;
    statement_begins = token == t_TERMINATOR;
    return token;
}
