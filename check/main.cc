// tarnmap-check: reads a COBOL source as tarnmap does, lays out every record
// a second time by a compiler's storage rules, and reports the items whose
// dictionary offset, size or storage type differs, grouped under the departure
// that causes them; or (--dictionary) writes the dictionary of the compiler's layout.
// Exit status 0 when all agree, 1 when some differ, 2 on trouble.
#include <setjmp.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "check/check.h"
#include "dictionary/dictionary.h"
#include "layout/layout.h"
#include "parser/parser.h"
#include "scanner/scanner.h"

extern "C" [[noreturn]] void __real_exit(int status);

namespace {

const char *program = "tarnmap-check";
jmp_buf converter_stop;  // a stop of the converter's run comes back here
bool parsing = false;    // the converter's parse or writer runs

void usage(std::FILE *to)
{
    std::fprintf(to, "usage: %s [-t | -r] [-h] [--compiler ibm|gnucobol] [--csv] [--all] cobol_file\n"
                     "       %s --dictionary [-t | -r] [-h] [-f] [-s] [--compiler ibm|gnucobol] [-o csv_file] cobol_file\n"
                     "       %s --help | --version\n", program, program, program);
}

// A CSV field: quoted when it holds a comma or a quote.
std::string csv(const std::string &text)
{
    if (text.find_first_of(",\"\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (char c : text)
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + "\"";
}

std::string layout_of(std::int32_t offset, std::int32_t size)
{
    return offset < 0 || size < 0 ? "-" : std::to_string(offset) + "+" + std::to_string(size);
}

void print_item(const Record &record, const CheckItem &item, bool as_csv, bool marked = false)
{
    if (as_csv) {
        std::string reason = item.cause >= 0 ? record.departures[item.cause].reason : "";
        std::printf("%s,%s,%s,%d,%d,%d,%s,%s,%s\n", csv(record.file->name.c_str()).c_str(),
                    csv(record.table->name.c_str()).c_str(), csv(item.field->name.c_str()).c_str(),
                    static_cast<int>(item.notes->line), static_cast<int>(item.field->offset),
                    static_cast<int>(item.field->size), item.offset < 0 ? "" : std::to_string(item.offset).c_str(),
                    item.size < 0 ? "" : std::to_string(item.size).c_str(), csv(reason).c_str());
        return;
    }
    std::string compiler = layout_of(item.offset, item.size);
    if (marked && item.cause >= 0)
        compiler += std::string(compiler.size() < 10 ? 10 - compiler.size() : 0, ' ') + "  [" +
                    std::to_string(item.cause + 1) + "]";
    std::printf("    %-30s line %-6d dictionary %-10s compiler %s\n", item.field->name.c_str(),
                static_cast<int>(item.notes->line), layout_of(item.field->offset, item.field->size).c_str(),
                compiler.c_str());
}

// The items of a record: those that differ, each departure once with the
// items it causes under it; or (--all) every item in source order, marked
// with the number of its departure, and the departures behind them.
void print_record(const Record &record, bool all, bool as_csv)
{
    if (as_csv) {
        for (const CheckItem &item : record.items)
            if (all || item.cause >= 0)
                print_item(record, item, true);
        return;
    }
    std::printf("file %s, record %s\n", record.file->name.c_str(), record.table->name.c_str());
    if (all)
        for (const CheckItem &item : record.items)
            print_item(record, item, false, true);
    // Each departure with its items; one whose items all follow an earlier
    // departure is still named.
    std::size_t n = record.items.size();
    std::vector<std::vector<const CheckItem *>> under(record.departures.size());
    std::vector<bool> differ_from(n + 1, false);  // some item from here on differs
    for (std::size_t i = n; i-- > 0;) {
        const CheckItem &item = record.items[i];
        if (item.cause >= 0)
            under[static_cast<std::size_t>(item.cause)].push_back(&item);
        differ_from[i] = differ_from[i + 1] || item.cause >= 0;
    }
    for (std::size_t d = 0; d < record.departures.size(); ++d) {
        const Departure &departure = record.departures[d];
        if (all) {
            std::printf("  [%zu] %s\n", d + 1, departure.reason.c_str());
            continue;
        }
        bool moves = differ_from[static_cast<std::size_t>(departure.behind)];
        std::printf("  %s%s\n", departure.reason.c_str(),
                    !under[d].empty() ? ":" : moves ? " (what it moves is listed above)" : " (it moves no item)");
        for (std::size_t k = under[d].size(); k-- > 0;)
            print_item(record, *under[d][k], false);
    }
}

// Copies the converter's words to standard error, with a line end behind
// the last, which it leaves open after a syntax error.
void pass_on(std::FILE *words)
{
    std::rewind(words);
    char chunk[4096];
    char last = '\n';
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, words)) > 0; last = chunk[n - 1])
        std::fwrite(chunk, 1, n, stderr);
    if (last != '\n')
        std::fputc('\n', stderr);
}

// The converter's parse and close-out, with its own words (syntax errors,
// stray characters, its stops) on standard error; false when it stopped
// the run, which leaves no layout to check. `early` is the line on which it
// stopped reading before the end of the source, or 0.
bool parse_source(int &early)
{
    state.keep_notes = 1;
    std::fflush(stdout);
    int saved = dup(1);
    std::FILE *words = std::tmpfile();  // held, so that they end with a line end
    dup2(words != nullptr ? fileno(words) : 2, 1);
    parsing = true;
    bool stopped = setjmp(converter_stop) != 0;
    if (!stopped) {
        yyparse();
        int line = state.line_no;
        early = yylex() != 0 ? line : 0;  // a token left behind: an action stopped the parse
        close_final_levels();
    }
    parsing = false;
    std::fflush(stdout);
    dup2(saved, 1);
    close(saved);
    if (words != nullptr) {
        pass_on(words);
        std::fclose(words);
    }
    return !stopped;
}

// What the command line asks for.
struct Options {
    bool all = false, as_csv = false, dictionary = false;
    Compiler compiler = Compiler::ibm;
    const char *path = nullptr;      // the source, "-" for standard input
    const char *out_path = nullptr;  // -o: the dictionary's file
};

// Reads the command line into `options` and the converter's state; 0 to go
// on, 1 when --help or --version has answered, 2 on a wrong option.
int read_options(int argc, char **argv, Options &options)
{
    bool converter_only = false;  // -f, -s or -o: they go with --dictionary
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help") {
            usage(stdout);
            std::puts("Lays out the records of a COBOL source as tarnmap reads them, a second time by a\n"
                      "compiler's storage rules (IBM Enterprise COBOL, or GnuCOBOL's cobc -std=ibm), and\n"
                      "lists the items whose dictionary offset, size or storage type differs; --dictionary\n"
                      "writes tarnmap's dictionary with every item where that compiler stores it. -t, -r,\n"
                      "-h, -f, -s and -o as for tarnmap; --csv writes CSV; --all lists every item.\n"
                      "Exit status: 0 all agree, 1 some differ, 2 trouble. See tarnmap-check(1).");
            return 1;
        }
        if (arg == "--version") {
            std::printf("%s %s\n", program, TARNMAP_VERSION);
            return 1;
        }
        if (arg == "--csv") {
            options.as_csv = true;
        } else if (arg == "--all") {
            options.all = true;
        } else if (arg == "--dictionary") {
            options.dictionary = true;
        } else if (arg == "--compiler" || arg.rfind("--compiler=", 0) == 0) {
            std::string name = arg.size() > 10 ? arg.substr(11) : i + 1 < argc ? argv[++i] : "";
            if (name != "ibm" && name != "gnucobol") {
                std::fprintf(stderr, "%s: --compiler is ibm or gnucobol, not \"%s\"\n", program, name.c_str());
                return 2;
            }
            options.compiler = name == "ibm" ? Compiler::ibm : Compiler::gnucobol;
        } else if (arg.size() > 1 && arg[0] == '-' && arg[1] != '-') {
            for (std::size_t k = 1; k < arg.size(); ++k) {
                char letter = arg[k];
                if (letter == 't') {
                    state.no_fd = 1;
                } else if (letter == 'r') {
                    state.no_fd = 1, state.multi_record = 1;
                } else if (letter == 'h') {
                    state.hpux = 1;
                } else if (letter == 'f') {
                    state.hide_fillers = 0, converter_only = true;
                } else if (letter == 's') {
                    state.hide_substructure = 0, converter_only = true;
                } else if (letter == 'o' && k + 1 == arg.size() && i + 1 < argc) {
                    options.out_path = argv[++i], converter_only = true;
                } else {
                    std::fprintf(stderr, "%s: %s -%c\n", program,
                                 letter == 'o' ? "a file name must follow" : "unknown option", letter);
                    usage(stderr);
                    return 2;
                }
            }
        } else if (options.path == nullptr && (arg == "-" || arg[0] != '-')) {
            options.path = argv[i];
        } else {
            std::fprintf(stderr, "%s: unexpected argument %s\n", program, argv[i]);
            usage(stderr);
            return 2;
        }
    }
    if (converter_only && !options.dictionary) {
        std::fprintf(stderr, "%s: -f, -s and -o go with --dictionary\n", program);
        return 2;
    }
    if (options.path == nullptr || (options.dictionary && (options.all || options.as_csv))) {
        usage(stderr);
        return 2;
    }
    return 0;
}

// The dictionary of the compiler's layout, written by the converter's own
// writer after its two prompts; 0 when every item stands where the compiler
// stores it, 1 when some keep the dictionary's place, 2 on trouble.
int write_compiler_dictionary(std::vector<Record> &records, const Options &options)
{
    int kept = apply_compiler_layout(records, options.compiler, options.path);
    std::FILE *out = options.out_path != nullptr ? std::fopen(options.out_path, "w") : stdout;
    if (out == nullptr) {
        std::fprintf(stderr, "%s: cannot write %s: %s\n", program, options.out_path, std::strerror(errno));
        return 2;
    }
    parsing = true;  // two empty database names stop the writer
    if (setjmp(converter_stop) != 0) {
        parsing = false;
        std::fprintf(stderr, "%s: no database name, so no dictionary\n", program);
        return 2;
    }
    write_dictionary(out);
    parsing = false;
    if (int error = dictionary_file_error()) {
        std::fprintf(stderr, "%s: cannot write %s: %s\n", program, options.out_path, std::strerror(error));
        return 2;
    }
    return kept > 0 ? 1 : 0;
}

int run(int argc, char **argv)
{
    Options options;
    if (int status = read_options(argc, argv, options))
        return status == 1 ? 0 : status;
    const char *path = options.path;
    state.source = std::strcmp(path, "-") == 0 ? stdin : std::fopen(path, "r");
    if (state.source == nullptr) {
        std::fprintf(stderr, "%s: cannot read %s: %s\n", program, path, std::strerror(errno));
        return 2;
    }

    int early = 0;
    if (!parse_source(early)) {
        std::fprintf(stderr, "%s: %s: the converter stops on this source, so it has no layout to check\n",
                     program, path);
        return 2;
    }

    std::vector<Record> records = check_records(state.hpux != 0, early != 0, dropped_lines(), section_headers(),
                                                options.compiler);
    if (early != 0)
        std::fprintf(stderr, "%s: %s: the converter stops reading at line %d; what follows is in neither layout\n",
                     program, path, early);
    int items = 0, differ = 0;
    for (const Record &record : records) {
        for (const CheckItem &item : record.items) {
            ++items;
            differ += item.cause >= 0;
        }
    }
    // A record that is one elementary 01 item has no items in the dictionary
    // to misplace; a source without any record is trouble.
    if (records.empty()) {
        std::fprintf(stderr, "%s: %s: no record%s\n", program, path,
                     state.no_fd == 0 && state.files == nullptr ? " (a copybook without an FD needs -t or -r)" : "");
        return 2;
    }
    if (options.dictionary)
        return write_compiler_dictionary(records, options);
    if (options.as_csv)
        std::puts("file,record,item,line,dictionary_offset,dictionary_size,compiler_offset,compiler_size,reason");
    for (const Record &record : records)
        if (options.all || options.as_csv || !record.departures.empty())
            print_record(record, options.all, options.as_csv);
    if (!options.as_csv)
        std::printf("%d of %d items differ from a compiler's layout\n", differ, items);
    return differ > 0 ? 1 : 0;
}

}  // namespace

// The converter ends its run with exit when it stops (a lookup that fails,
// an unreadable source, two empty database names); while it runs, that
// comes back to run().
extern "C" [[noreturn]] void __wrap_exit(int status)
{
    if (parsing)
        longjmp(converter_stop, 1);
    __real_exit(status);
}

int main(int argc, char **argv)
{
    int status = 2;
    try {
        status = run(argc, argv);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "%s: %s\n", program, e.what());
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::fprintf(stderr, "%s: cannot write standard output: %s\n", program, std::strerror(errno));
        status = 2;
    }
    return status;
}

