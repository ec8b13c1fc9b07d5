// tarnmap-check: the records the converter has read, laid out a second time
// by a COBOL compiler's storage rules (IBM Enterprise COBOL's, or GnuCOBOL's
// with cobc -std=ibm), and the items whose dictionary offset or size
// differs, each with the first departure that causes it, or whose bytes the
// dictionary's storage type reads otherwise than the compiler stores them.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "model/model.h"

// Whose storage rules: they differ in a few sizes and in byte order.
enum class Compiler { ibm, gnucobol };

// A compiler takes no item of this many bytes, nor a repeat count beyond it.
constexpr std::int32_t MOST_BYTES = 0x3fffffff;

// What a PICTURE (as written; null for none) says to a compiler.
struct PictureCount {
    std::int32_t positions = 0;
    std::int32_t digits = 0;
    bool alphanumeric = false;
    bool is_signed = false;
    bool valid = true;  // every repeat count at least 1, and the total in reason
};
PictureCount count_picture(const char *picture);

// Whether a USAGE word (null for none) is one of `words`.
bool usage_is(const char *usage, std::initializer_list<const char *> words);

// The storage of an elementary item as a compiler works it out.
struct CompilerSize {
    std::int32_t bytes;  // -1: a compiler refuses the item
    std::int32_t align;  // alignment under SYNC: 1, 2, 4 or 8
};

// Bytes a compiler stores for an elementary item with this PICTURE (as
// written; null for none), USAGE word (its own or its group's; null for
// DISPLAY) and SIGN clause kind (2 and 4 are SEPARATE).
CompilerSize compiler_size(const char *picture, const char *usage, std::int16_t sign_clause,
                           Compiler compiler = Compiler::gnucobol);

// One item of a record, laid out both ways.
struct CheckItem {
    const FieldDef *field;
    const ItemNotes *notes;      // never null
    std::int32_t level;          // as written
    bool group;                  // items of a greater level follow it
    const char *usage;           // its USAGE word, or the nearest group's
    std::int32_t offset, size;   // the compiler's; size of one occurrence; -1 unknown
    std::int32_t slack;          // bytes SYNC put in front of it
    std::int32_t align;          // what SYNC aligned it to; 1 when not aligned
    int cause;                   // index into Record::departures, -1 when it agrees
    bool sliding;                // behind an OCCURS DEPENDING table: where it lies depends on the count
};

// One departure of the dictionary from a compiler, and where it stands.
struct Departure {
    int item;                    // the item it is about
    int behind;                  // the first item behind it and its members
    std::string reason;          // in words, naming the item and its line
};

// One level 01 record: a table of the dictionary.
struct Record {
    const FileDef *file;
    const TableDef *table;
    std::vector<CheckItem> items;
    std::vector<Departure> departures;
    std::int32_t length;         // the compiler's record length, level 77 items aside; -1 unknown
    bool foreign = false;        // no record of its file to a compiler: read through a section header
};

// A header that ends the records of a file to a compiler but that the
// converter reads through (LOCAL-STORAGE, REPORT, SCREEN or COMMUNICATION
// SECTION, PROCEDURE DIVISION): the records behind it join the file before.
struct SectionHeader {
    int line;
    std::string text;            // "LOCAL-STORAGE SECTION"
};

// Every record of the model, laid out by the compiler's rules and compared;
// `hpux` as the converter's -h; `stopped` when the converter stopped reading
// before the end of the source; `dropped` the lines of its syntax errors,
// each of which drops an entry; `headers` those read through.
std::vector<Record> check_records(bool hpux, bool stopped, const std::vector<int> &dropped,
                                  const std::vector<SectionHeader> &headers, Compiler compiler);

// The storage type a compiler gives an elementary item laid out at its
// compiler size (item.size); the dictionary's own where they agree, and none
// where neither has one. --dictionary writes it; the report compares it.
TypeName compiler_storage_type(const CheckItem &item, Compiler compiler);

// Puts every item of `records` where the compiler stores it, in the model the
// converter's writer reads: offset, size, occurrences, storage type and the
// FILE row's record length. A record that is none of its file's to a
// compiler is taken out, with a line on standard error. Items whose place a
// compiler leaves unknown keep the dictionary's and are named on standard
// error, as `path`:LINE; returns how many.
int apply_compiler_layout(std::vector<Record> &records, Compiler compiler, const char *path);

// Lines of the converter's syntax errors that drop an entry with storage,
// in the order met; the parse must run with yyerror and yylex wrapped.
const std::vector<int> &dropped_lines();
// The headers the converter read through, in the order met (the same wrap).
const std::vector<SectionHeader> &section_headers();
// Forgets both, for a harness that parses again in the same process.
void forget_dropped_lines();
