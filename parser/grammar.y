/* The accepted COBOL data description subset. yyparse builds the model as
 * the text goes by: every action is one call into parser/ or layout/.
 * Production numbers are the program's own (the list has gaps) and stand in
 * the right-hand comment column; other code refers to them.
 */
%{
#include "layout/layout.h"
#include "parser/parser.h"
#include "scanner/scanner.h"

/* The stacks start with room for 150 entries and double as needed; the
 * grammar is left-recursive, so ordinary input stays far below that. */
#define YYINITDEPTH 150
#define YYMAXDEPTH (1L << 28)
%}

%define api.value.type {char *}

/* Shift over reduce in five places, all meaning "the token continues the
 * clause in work": an identifier behind occurs_clause (production 128, not
 * 99), and an identifier or number behind the value lists of productions
 * 136 and 138 (one more value_item, not production 99 or 95). */
%expect 5

%token t_TERMINATOR 257
%token t_EXIT 258
/* 259 is not in use */
%token t_OPTIONAL 260
%token t_ASSIGN 261
%token t_ORGANIZATION 262
%token t_INDEXED 263
%token t_RECORD 264
%token t_RECORDS 265
%token t_ALTERNATE 266
%token t_OF 267
%token t_RESERVE 268
%token t_STATUS 269
%token t_BLOCK 270
%token t_TO 271
%token t_FD 272
%token t_PICTURE 273
%token t_VALUE_OF 274
%token t_VALUE 275
%token t_RELATIVE 276
%token t_SEQUENTIAL 277
%token t_OCCURS 278
%token t_REDEFINES 279
%token t_RENAMES 280
%token t_THRU 281
/* 282 and 283 are not in use */
%token t_INDEXED_BY 284
%token t_LABEL 285
%token t_DATA 286
%token t_VARYING 287
%token t_DEPENDING 288
%token t_RECORDING 289
/* 290 is not in use */
%token t_GLOBAL 291
%token t_THREADLOCAL 292
%token t_LINAGE 293
%token t_TOP 294
%token t_FOOTING 295
%token t_BOTTOM 296
%token t_CODESET 297
%token t_FOR 298
%token t_REPORT 299
%token t_FALSE 300
%token t_OPERATION 301
%token t_USAGE 302
%token t_TYPEDEF 303
%token t_BY 304
%token t_ASCENDING 305
%token t_DESCENDING 306
%token t_SIGN 307
%token t_TRAILING 308
%token t_LEADING 309
%token t_SEPARATE 310
%token t_SYNC 311
%token t_LEFT 312
%token t_RIGHT 313
%token t_BLANK 314
%token t_ZERO 315
%token t_JUST 316
%token t_IDENTIFIER 317
%token t_STRING 318
%token t_FUNNYSTR 319
%token t_NUMERIC 320
%token t_PICSTRING 321
%token t_COMP 322

%start source_text

%%

source_text : %empty ;                                                                          /* 1 */
numbered_fd_end : %empty { close_file_levels(); } ;                                             /* 4 */
source_text : source_text t_NUMERIC file_description_entry numbered_fd_end t_TERMINATOR ;       /* 5 */
fd_end : %empty { close_file_levels(); } ;                                                      /* 6 */
source_text : source_text file_description_entry fd_end t_TERMINATOR ;                          /* 7 */
numbered_entry_end : %empty { close_data_entry(); } ;                                           /* 8 */
source_text : source_text t_NUMERIC data_description_entry numbered_entry_end t_TERMINATOR ;    /* 9 */
entry_end : %empty { close_data_entry(); } ;                                                    /* 10 */
source_text : source_text data_description_entry entry_end t_TERMINATOR ;                       /* 11 */
source_text : source_text t_NUMERIC exit_statement t_TERMINATOR ;                               /* 12 */
source_text : source_text exit_statement t_TERMINATOR ;                                         /* 13 */
source_text : source_text t_TERMINATOR ;                                                        /* 14 */
error_report : %empty { if (report_syntax_error()) YYACCEPT; } ;                                /* 15 */
source_text : source_text error error_report t_TERMINATOR ;                                     /* 16 */

file_description_entry : fd_head ;                                                              /* 35 */
file_description_entry : file_description_entry fd_clause ;                                     /* 36 */
file_description_entry : file_description_entry t_NUMERIC fd_clause ;                           /* 37 */
fd_head : t_FD t_IDENTIFIER { if (!begin_file($2)) YYACCEPT; } ;                                /* 38 */
fd_clause : t_VALUE_OF t_IDENTIFIER t_STRING value_of_pairs { set_file_path($3); } ;            /* 39 */
fd_clause : t_VALUE_OF t_IDENTIFIER t_IDENTIFIER value_of_pairs { set_file_path($3); } ;        /* 40 */
fd_clause : record_key_clause { set_organization("INDEXED"); } ;                                /* 41 */
fd_clause : relative_clause { set_organization("RELATIVE"); } ;                                 /* 42 */
fd_clause : sequential_clause { set_organization("SEQUENTIAL"); } ;                             /* 43 */
fd_clause : t_STATUS ;                                                                          /* 44 */
fd_clause : t_GLOBAL ;                                                                          /* 46 */
fd_clause : t_THREADLOCAL ;                                                                     /* 47 */
fd_clause : record_size_clause ;                                                                /* 48 */
fd_clause : data_records_clause ;                                                               /* 49 */
fd_clause : block_clause ;                                                                      /* 50 */
fd_clause : label_records_clause ;                                                              /* 51 */
fd_clause : recording_clause ;                                                                  /* 52 */
fd_clause : linage_clause ;                                                                     /* 53 */
fd_clause : code_set_clause ;                                                                   /* 54 */
fd_clause : report_clause ;                                                                     /* 55 */
block_clause : t_BLOCK t_NUMERIC block_range ;                                                  /* 56 */
block_range : %empty ;                                                                          /* 57 */
block_range : t_TO t_NUMERIC ;                                                                  /* 58 */
block_range : block_range t_RECORDS ;                                                           /* 59 */
label_records_clause : t_LABEL t_RECORD ;                                                       /* 60 */
label_records_clause : t_LABEL t_RECORDS ;                                                      /* 61 */
label_records_clause : label_records_clause t_IDENTIFIER ;                                      /* 62 */
relative_clause : t_RELATIVE ;                                                                  /* 63 */
relative_clause : relative_clause t_IDENTIFIER ;                                                /* 64 */
record_size_clause : t_RECORD t_NUMERIC ;                                                       /* 65 */
record_size_clause : t_RECORD t_VARYING ;                                                       /* 66 */
record_size_clause : record_size_clause t_TO t_NUMERIC ;                                        /* 67 */
record_size_clause : record_size_clause t_DEPENDING t_IDENTIFIER ;                              /* 68 */
record_key_clause : t_RECORD t_IDENTIFIER ;                                                     /* 69 */
record_key_clause : t_ALTERNATE t_RECORD t_IDENTIFIER ;                                         /* 70 */
record_key_clause : record_key_clause t_OF t_IDENTIFIER ;                                       /* 71 */
linage_clause : t_LINAGE t_NUMERIC ;                                                            /* 72 */
linage_clause : t_LINAGE t_IDENTIFIER ;                                                         /* 73 */
linage_clause : linage_clause t_FOOTING t_NUMERIC ;                                             /* 74 */
linage_clause : linage_clause t_FOOTING t_IDENTIFIER ;                                          /* 75 */
linage_clause : linage_clause t_TOP t_NUMERIC ;                                                 /* 76 */
linage_clause : linage_clause t_TOP t_IDENTIFIER ;                                              /* 77 */
linage_clause : linage_clause t_BOTTOM t_NUMERIC ;                                              /* 78 */
linage_clause : linage_clause t_BOTTOM t_IDENTIFIER ;                                           /* 79 */
code_set_clause : t_CODESET t_IDENTIFIER ;                                                      /* 80 */
code_set_clause : code_set_clause t_FOR t_IDENTIFIER ;                                          /* 81 */
code_set_clause : code_set_clause t_IDENTIFIER ;                                                /* 82 */
report_clause : t_REPORT t_IDENTIFIER ;                                                         /* 83 */
report_clause : report_clause t_IDENTIFIER ;                                                    /* 84 */
sequential_clause : t_SEQUENTIAL ;                                                              /* 85 */
data_records_clause : t_DATA t_RECORD t_IDENTIFIER ;                                            /* 86 */
data_records_clause : t_DATA t_RECORDS t_IDENTIFIER ;                                           /* 87 */
data_records_clause : data_records_clause t_IDENTIFIER ;                                        /* 88 */
recording_clause : t_RECORDING t_IDENTIFIER { set_record_format($2); } ;                        /* 89 */
value_of_pairs : %empty ;                                                                       /* 90 */
value_of_pairs : value_of_pairs t_IDENTIFIER t_IDENTIFIER ;                                     /* 91 */
value_of_pairs : value_of_pairs t_IDENTIFIER t_STRING ;                                         /* 92 */

data_description_entry : entry_head ;                                                           /* 93 */
data_description_entry : data_description_entry entry_clause ;                                  /* 94 */
data_description_entry : data_description_entry t_NUMERIC entry_clause ;                        /* 95 */
entry_head : t_NUMERIC t_IDENTIFIER { if (!begin_entry($1, $2)) YYACCEPT; } ;                   /* 96 */
entry_clause : t_PICTURE t_PICSTRING { set_picture($2); } ;                                     /* 97 */
entry_clause : t_COMP { set_usage_comp($1, "236"); } ;                                          /* 98 */
entry_clause : t_IDENTIFIER { if (!set_usage_word($1, false)) YYACCEPT; } ;                     /* 99 */
entry_clause : t_REDEFINES t_IDENTIFIER { if (!add_redefines($2)) YYACCEPT; } ;                 /* 100 */
entry_clause : t_INDEXED_BY t_IDENTIFIER { set_organization("INDEXED"); } ;                     /* 101 */
entry_clause : usage_clause ;                                                                   /* 102 */
entry_clause : renames_clause ;                                                                 /* 103 */
entry_clause : value_clause ;                                                                   /* 104 */
entry_clause : storage_class_clause ;                                                           /* 105 */
entry_clause : occurs_clause ;                                                                  /* 106 */
entry_clause : sign_clause ;                                                                    /* 107 */
entry_clause : sync_clause ;                                                                    /* 108 */
entry_clause : blank_clause ;                                                                   /* 109 */
entry_clause : justified_clause ;                                                               /* 110 */
justified_clause : t_JUST ;                                                                     /* 111 */
justified_clause : t_JUST t_RIGHT ;                                                             /* 112 */
blank_clause : t_BLANK ;                                                                        /* 113 */
blank_clause : t_BLANK t_ZERO ;                                                                 /* 114 */
sync_clause : t_SYNC t_LEFT { note_sync(); } ;                                                  /* 115 */
sync_clause : t_SYNC t_RIGHT { note_sync(); } ;                                                 /* 116 */
sign_clause : t_SIGN { set_sign(1); } ;                                                         /* 117 */
sign_clause : t_SIGN t_LEADING { set_sign(3); } ;                                               /* 118 */
sign_clause : t_SIGN t_TRAILING { set_sign(1); } ;                                              /* 119 */
sign_clause : sign_clause t_SEPARATE { add_sign_separate(); } ;                                 /* 120 */
occurs_clause : t_OCCURS t_NUMERIC { set_occurs("0", $2); } ;                                   /* 121 */
occurs_clause : t_OCCURS t_NUMERIC t_TO t_NUMERIC { set_occurs($2, $4); } ;                     /* 122 */
occurs_clause : occurs_clause t_DEPENDING t_IDENTIFIER { note_depending(); } ;                  /* 123 */
occurs_clause : occurs_clause t_INDEXED t_BY t_IDENTIFIER ;                                     /* 124 */
occurs_clause : occurs_clause t_ASCENDING t_IDENTIFIER ;                                        /* 125 */
occurs_clause : occurs_clause t_DESCENDING t_IDENTIFIER ;                                       /* 126 */
occurs_clause : occurs_clause t_OF t_IDENTIFIER ;                                               /* 127 */
occurs_clause : occurs_clause t_IDENTIFIER ;                                                    /* 128 */
storage_class_clause : t_GLOBAL ;                                                               /* 130 */
storage_class_clause : t_THREADLOCAL ;                                                          /* 131 */
storage_class_clause : t_TYPEDEF ;                                                              /* 132 */
storage_class_clause : storage_class_clause t_BY value_item ;                                   /* 133 */
usage_clause : t_USAGE t_COMP { set_usage_comp($2, "362"); } ;                                  /* 134 */
usage_clause : t_USAGE t_IDENTIFIER { if (!set_usage_word($2, true)) YYACCEPT; } ;              /* 135 */
value_clause : t_VALUE value_item value_list { if (!set_value($2)) YYACCEPT; } ;                /* 136 */
value_clause : t_VALUE t_OF value_item { if (!set_value($3)) YYACCEPT; } ;                      /* 137 */
value_clause : t_VALUE value_item t_THRU value_item value_list { if (!add_condition_range($2, $4)) YYACCEPT; } ; /* 138 */
value_clause : value_clause t_TO t_FALSE value_item ;                                           /* 139 */
value_clause : value_clause t_OPERATION value_item ;                                            /* 140 */
value_clause : value_clause t_OPERATION t_OF value_item ;                                       /* 141 */
renames_clause : t_RENAMES t_IDENTIFIER { if (!add_renames($2, "")) YYACCEPT; } ;               /* 142 */
renames_clause : t_RENAMES t_IDENTIFIER t_THRU t_IDENTIFIER { if (!add_renames($2, $4)) YYACCEPT; } ; /* 143 */
value_item : t_IDENTIFIER ;                                                                     /* 144 */
value_item : t_NUMERIC ;                                                                        /* 145 */
value_item : t_STRING ;                                                                         /* 146 */
value_list : %empty ;                                                                           /* 147 */
value_list : value_list value_item ;                                                            /* 148 */
value_list : value_list value_item t_THRU value_item ;                                          /* 149 */
exit_statement : t_EXIT { YYACCEPT; } ;                                                         /* 150 */

%%
