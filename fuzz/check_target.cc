// libFuzzer target over tarnmap-check's own stages, in this process: the
// converter's parse with notes kept, the compiler's layout and the
// comparison, and the rows of --dictionary through the converter's writer.
//
// An input is that of the converter's target, so that its corpus seeds this
// one: one byte of options, standard input (the two answers) up to the first
// NUL byte, then the COBOL source. Bits of the first byte, from the lowest:
// -f -s -t -r -h, --compiler gnucobol (rather than ibm), and the dictionary
// written (rather than the layouts alone). As in the converter's target, an
// input whose dictionary would hold more than a million repeated rows stops
// before the writer, and a process stop (exit) comes back here.
#include <fcntl.h>
#include <setjmp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "check/check.h"
#include "dictionary/dictionary.h"
#include "fuzz/repeated_rows.h"
#include "grammar.hh"
#include "layout/layout.h"
#include "parser/parser.h"
#include "scanner/scanner.h"

extern "C" [[noreturn]] void __real_exit(int status);

namespace {

jmp_buf stop;          // where a process stop comes back to
bool running = false;  // inside a stage that may stop the process
std::string dir;       // work folder: source and answers

void write_file(const std::string &path, const std::uint8_t *data, std::size_t size)
{
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0)
        std::abort();
}

// Runs `stage`; false when it stopped the process.
template <typename Stage>
bool guarded(Stage stage)
{
    running = true;
    if (setjmp(stop) != 0) {
        running = false;
        return false;
    }
    stage();
    running = false;
    return true;
}

// Back to the state a new process starts in.
void reset()
{
    arena_release();
    reset_level_stack();
    scanner_restart(nullptr);
    state = LayoutState{};
    yylval = nullptr;
    forget_dropped_lines();
}

}  // namespace

extern "C" {

[[noreturn]] void __wrap_exit(int status)
{
    if (running)
        longjmp(stop, 1);
    __real_exit(status);
}

int LLVMFuzzerInitialize(int *, char ***)
{
    char work[] = "/tmp/tarnmap-check-fuzz-XXXXXX";
    if (mkdtemp(work) == nullptr)
        std::abort();
    dir = work;
    dup2(open("/dev/null", O_WRONLY), 1);  // messages, prompts and rows go nowhere
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::uint8_t options = size > 0 ? data[0] : 0;
    const std::uint8_t *rest = size > 0 ? data + 1 : data;
    const std::uint8_t *end = data + size;
    const std::uint8_t *nul = std::find(rest, end, 0);
    const std::uint8_t *source = nul == end ? end : nul + 1;
    write_file(dir + "/src.cbl", source, static_cast<std::size_t>(end - source));
    write_file(dir + "/stdin", rest, static_cast<std::size_t>(nul - rest));
    if (std::freopen((dir + "/stdin").c_str(), "r", stdin) == nullptr)
        std::abort();

    state.hide_fillers = options & 0x01 ? 0 : 1;
    state.hide_substructure = options & 0x02 ? 0 : 1;
    state.no_fd = options & 0x0c ? 1 : 0;
    state.multi_record = options & 0x08 ? 1 : 0;
    state.hpux = options & 0x10 ? 1 : 0;
    state.keep_notes = 1;
    Compiler compiler = options & 0x20 ? Compiler::gnucobol : Compiler::ibm;
    state.source = std::fopen((dir + "/src.cbl").c_str(), "r");
    if (state.source == nullptr)
        std::abort();
    std::FILE *source_file = state.source;
    bool early = false;
    bool parsed = guarded([&early] {
        yyparse();
        early = yylex() != 0;
        close_final_levels();
    });
    if (parsed) {
        std::vector<Record> records = check_records(state.hpux != 0, early, dropped_lines(), section_headers(), compiler);
        apply_compiler_layout(records, compiler, "src.cbl");
        std::FILE *out = std::fopen("/dev/null", "w");
        if (out == nullptr)
            std::abort();
        // The writer closes `out`; it stops only at the prompts, before that.
        bool write = (options & 0x40) != 0 && repeated_rows(1000000) < 1000000;
        if (!write || !guarded([out] { write_dictionary(out); }))
            std::fclose(out);
    }
    std::fflush(stdout);
    std::clearerr(stdout);
    std::fclose(source_file);
    reset();
    return 0;
}

}  // extern "C"
