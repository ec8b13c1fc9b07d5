// Syntax error reports: the line yyerror writes, and the statement and token
// parts that production 15 adds once the parser has resynchronised.
#include <cstdio>

#include "grammar.hh"
#include "model/model.h"
#include "parser/parser.h"
#include "scanner/scanner.h"

extern int yychar;  // the parser's lookahead: the offending token

namespace {
// Shown for yylval while no text token has been read yet.
const char *last_text()
{
    return yylval != nullptr ? yylval : "";
}
}  // namespace

void yyerror(const char *)
{
    // deliberate: every report says the same, whatever the parser passes.
    std::printf("syntax error near %s\n", last_text());
}

bool report_syntax_error()
{
    // deliberate: while tokens are being dropped the parser shifts `error`
    // again after each one, which re-enters this action; those drops are silent.
    if (yychar == YYEMPTY)
        return false;
    std::printf(" : in statement on line %d", static_cast<int>(state.line_no));
    if (yychar == YYEOF) {
        std::fputs(", terminating with token <EOF>\n", stdout);
        return true;
    }
    const char *name = token_name(yychar);
    if (yychar == t_RECORDS || name == nullptr)
        std::fputs(", terminating with token <yychar>", stdout);
    else if (is_text_token(yychar))
        std::printf(", terminating with token <%s = %s>", name, last_text());
    else
        std::printf(", terminating with token <%s>", name);
    std::fputs("\nResuming lexical analysis after next t_TERMINATOR", stdout);
    return false;
}
