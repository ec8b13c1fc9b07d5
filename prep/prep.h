// tarnmap-prep: what the stages share. A source becomes a stream of elements:
// a line mark for every line it came from, then that line's tokens. COPY
// splices members into the stream, the word stage rewrites tokens in place,
// and main renders the stream as lines, with a map of where each came from.
#ifndef TARNMAP_PREP_H
#define TARNMAP_PREP_H

#include <string>
#include <vector>

struct Options {
    std::vector<std::string> include_dirs;  // -I, then COBCPY's
    int format = 0;                         // 0 detect, 1 fixed, 2 free
    int tab = 8;                            // tab stops every so many columns
    bool wide_binary = false;               // -h: the dictionary is made with tarnmap -h
    bool verbose = false;                   // notes on the format and every rewrite
};

// One element of a prepared stream: a line mark or a token of that line.
struct Elem {
    bool line = false;      // a line mark: the tokens behind it are this line's
    int file = 0;           // index into the file table (files())
    int lineno = 0;         // line in that file
    std::string text;       // token text; may become several words or none
    std::string comment;    // line mark: comment text kept behind the tokens
    bool comment_line = false;  // line mark: the whole line is a comment
    int col = 0;            // column where the token stood (1-based), 0 made up
    bool glued = false;     // no blank before it in the source
    bool literal = false;   // a quoted literal, kept as written
    bool detached = false;  // a blank before it now, whatever the source had
};
using Stream = std::vector<Elem>;

// Files read so far; an element's file indexes this list.
std::vector<std::string> &files();

// Problems and notes: "tarnmap-prep: FILE:LINE: what" on standard error.
void problem(int file, int line, const std::string &what);
void note(const Options &options, int file, int line, const std::string &what);
int problem_count();

// source.cc: the file at index FILE read into lines and tokens; false when it
// cannot be read (reported at WHERE_FILE:WHERE_LINE, or bare when WHERE_FILE < 0).
bool read_source(int file, const Options &options, Stream &out, int where_file, int where_line);
// Splits one line's program text into tokens behind OUT's last line mark.
void tokenize(const std::string &text, int first_col, Stream &out);

// copy.cc: COPY statements expanded, then REPLACE statements applied.
void expand_copies(Stream &stream, const Options &options);
void apply_replace_statements(Stream &stream);

// words.cc: case, listing-control statements, clause forms, USAGE words.
void rewrite_words(Stream &stream, const Options &options);
bool same_word(const std::string &a, const char *b);

// map.cc: the stream as text lines, and the map of where each came from.
std::string tokens_at_columns(const Elem *first, const Elem *end);
std::vector<std::string> render(const Stream &stream, std::vector<const Elem *> &origins);
bool write_map(const char *path, const std::vector<const Elem *> &origins);

#endif
