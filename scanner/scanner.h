// The source scanner: yylex over state.source, and the names of the tokens.
// The parser pulls tokens through yylex; the error report and the scanner
// tests use the names.
#pragma once

#include <cstdio>

int yylex();
// Starts the scanner afresh on `source`, in state SKIP (for tests).
void scanner_restart(std::FILE *source);
// The line a recent token's text (as in yylval) stood on, while notes are
// kept (state.keep_notes); state.line_no for any other text.
int token_line(const char *text);

// "t_IDENTIFIER" and so on for a token number; null for a number not in use.
const char *token_name(int token);
// True for the six tokens that carry a text in yylval.
bool is_text_token(int token);
