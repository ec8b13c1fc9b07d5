// Names of the tokens, as the syntax error report prints them and the
// scanner tests show them. Numbers from 257; 259, 282, 283 and 290 are unused.
#include "scanner/scanner.h"

namespace {
constexpr int FIRST_TOKEN = 257;
constexpr const char *TOKEN_NAMES[] = {
    "t_TERMINATOR", "t_EXIT", nullptr, "t_OPTIONAL", "t_ASSIGN",              // 257
    "t_ORGANIZATION", "t_INDEXED", "t_RECORD", "t_RECORDS", "t_ALTERNATE",    // 262
    "t_OF", "t_RESERVE", "t_STATUS", "t_BLOCK", "t_TO",                       // 267
    "t_FD", "t_PICTURE", "t_VALUE_OF", "t_VALUE", "t_RELATIVE",               // 272
    "t_SEQUENTIAL", "t_OCCURS", "t_REDEFINES", "t_RENAMES", "t_THRU",         // 277
    nullptr, nullptr, "t_INDEXED_BY", "t_LABEL", "t_DATA",                    // 282
    "t_VARYING", "t_DEPENDING", "t_RECORDING", nullptr, "t_GLOBAL",           // 287
    "t_THREADLOCAL", "t_LINAGE", "t_TOP", "t_FOOTING", "t_BOTTOM",            // 292
    "t_CODESET", "t_FOR", "t_REPORT", "t_FALSE", "t_OPERATION",               // 297
    "t_USAGE", "t_TYPEDEF", "t_BY", "t_ASCENDING", "t_DESCENDING",            // 302
    "t_SIGN", "t_TRAILING", "t_LEADING", "t_SEPARATE", "t_SYNC",              // 307
    "t_LEFT", "t_RIGHT", "t_BLANK", "t_ZERO", "t_JUST",                       // 312
    "t_IDENTIFIER", "t_STRING", "t_FUNNYSTR", "t_NUMERIC", "t_PICSTRING",     // 317
    "t_COMP",                                                                 // 322
};
constexpr int TOKEN_COUNT = static_cast<int>(sizeof TOKEN_NAMES / sizeof TOKEN_NAMES[0]);
static_assert(TOKEN_COUNT == 322 - FIRST_TOKEN + 1, "one name for each number up to t_COMP");
}  // namespace

const char *token_name(int token)
{
    if (token < FIRST_TOKEN || token >= FIRST_TOKEN + TOKEN_COUNT)
        return nullptr;
    return TOKEN_NAMES[token - FIRST_TOKEN];
}

bool is_text_token(int token)
{
    return token >= 317 && token <= 322;  // t_IDENTIFIER .. t_COMP
}
