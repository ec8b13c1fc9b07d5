// The grammar and what its actions do to the model. The driver calls
// yyparse once; the grammar's actions call the functions below, each named
// for its effect. A function that returns bool returns false when the parse
// must stop at once (the action then accepts).
#pragma once

int yyparse();
void yyerror(const char *message);

// Takes the opening quote of `text` away, and everything from the next
// `quote` on, in place; `limit` is the text member's width.
void strip_quotes(char *text, int limit, char quote);

// FD entries.
bool begin_file(const char *name);                 // 38
void set_file_path(const char *literal);           // 39, 40
void set_organization(const char *organization);   // 41, 42, 43, 101
void set_record_format(const char *mode);          // 89

// Data description entries.
bool begin_entry(const char *level, const char *name);  // 96
void set_picture(const char *picture);                  // 97
void set_usage_comp(const char *text, const char *digit_order);  // 98, 134
bool set_usage_word(const char *word, bool after_usage);         // 99, 135
bool add_redefines(const char *name);                   // 100
void set_sign(int kind);                                // 117, 118, 119
void add_sign_separate();                               // 120
void set_occurs(const char *low, const char *high);     // 121, 122
bool set_value(const char *literal);                    // 136, 137
bool add_condition_range(const char *first, const char *second);  // 138
bool add_renames(const char *first, const char *second);          // 142, 143
// What only a compiler's layout needs, noted while notes are kept.
void note_sync();                                       // 115, 116
void note_depending();                                  // 123

// Syntax errors: writes the statement and token parts of the report;
// returns true when the offending token is end of input (15).
bool report_syntax_error();
