// libFuzzer target over the whole run of the converter, in this process.
//
// An input is: one byte of options, then standard input (the two answers) up
// to the first NUL byte, then the COBOL source. Bits of the first byte, from
// the lowest: -f -s -t -r -h -u, -o (the dictionary to a file rather than to
// standard output), and the source read from standard input ("-") rather
// than from a file.
//
// The converter's main runs as tarnmap_main. A process stop calls exit, which
// is linked as __wrap_exit (-Wl,--wrap=exit) and comes back here by longjmp;
// streams it opened and left open are closed (--wrap=fopen, --wrap=fclose),
// and the model, the level stack and the scanner are reset before the next
// input. Nested OCCURS counts multiply: a few lines can ask for more rows
// than could ever be written, as designed, so after the close-out
// (--wrap on close_final_levels' mangled name) an input whose dictionary would hold more
// than a million repeated rows ends there, before the prompts. With TARNMAP_FUZZ_UNPACK=DIR the target writes an input out as
// DIR/args, DIR/stdin and DIR/src.cbl instead, for fuzz/repro.
#include <fcntl.h>
#include <setjmp.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fuzz/repeated_rows.h"
#include "grammar.hh"
#include "layout/layout.h"
#include "model/model.h"
#include "scanner/scanner.h"

int tarnmap_main(int argc, char **argv);

extern "C" {
void __real__Z18close_final_levelsv();  // close_final_levels(), as the linker names it
[[noreturn]] void __real_exit(int status);
std::FILE *__real_fopen(const char *path, const char *mode);
int __real_fclose(std::FILE *stream);
}

namespace {

jmp_buf stop;                          // where a process stop comes back to
bool running = false;                  // inside tarnmap_main
std::vector<std::FILE *> left_open;    // streams the run opened and has not closed
std::string dir;                       // work folder: source, answers, dictionary

void write_file(const std::string &path, const std::uint8_t *data, std::size_t size)
{
    std::FILE *f = __real_fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(data, 1, size, f) != size || __real_fclose(f) != 0)
        std::abort();
}

// The command line an input stands for, behind the program name.
std::vector<std::string> arguments(std::uint8_t options)
{
    std::string letters = "-";
    for (int bit = 0; bit < 6; ++bit)
        if (options & (1u << bit))
            letters += "fsthru"[bit];
    std::vector<std::string> args;
    if (letters.size() > 1)
        args.push_back(letters);
    if (options & 0x40)
        args.insert(args.end(), {"-o", dir + "/out.csv"});
    args.push_back(options & 0x80 ? "-" : dir + "/src.cbl");
    return args;
}

// Back to the state a new process starts in.
void reset()
{
    for (std::FILE *f : left_open)
        __real_fclose(f);
    left_open.clear();
    arena_release();
    reset_level_stack();
    scanner_restart(nullptr);
    state = LayoutState{};
    yylval = nullptr;
}

}  // namespace

extern "C" {

void __wrap__Z18close_final_levelsv()
{
    __real__Z18close_final_levelsv();
    if (running && repeated_rows(1000000) >= 1000000)
        longjmp(stop, 1);
}

[[noreturn]] void __wrap_exit(int status)
{
    if (running)
        longjmp(stop, 1);
    __real_exit(status);
}

std::FILE *__wrap_fopen(const char *path, const char *mode)
{
    std::FILE *f = __real_fopen(path, mode);
    if (running && f != nullptr)
        left_open.push_back(f);
    return f;
}

int __wrap_fclose(std::FILE *stream)
{
    left_open.erase(std::remove(left_open.begin(), left_open.end(), stream), left_open.end());
    return __real_fclose(stream);
}

int LLVMFuzzerInitialize(int *, char ***)
{
    char work[] = "/tmp/tarnmap-fuzz-XXXXXX";
    if (mkdtemp(work) == nullptr)
        std::abort();
    dir = work;
    // The converter's messages and rows go nowhere, and its writes succeed;
    // its standard error is closed by -close_fd_mask=2, which keeps
    // libFuzzer's and the sanitizers' reports.
    dup2(open("/dev/null", O_WRONLY), 1);
    return 0;
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::uint8_t options = size > 0 ? data[0] : 0;
    const std::uint8_t *rest = size > 0 ? data + 1 : data;
    const std::uint8_t *end = data + size;
    const std::uint8_t *nul = std::find(rest, end, 0);
    const std::uint8_t *source = nul == end ? end : nul + 1;
    std::vector<std::string> args = arguments(options);
    write_file(dir + "/src.cbl", source, static_cast<std::size_t>(end - source));
    if (options & 0x80)  // the source on standard input; the answers then find its end
        write_file(dir + "/stdin", source, static_cast<std::size_t>(end - source));
    else
        write_file(dir + "/stdin", rest, static_cast<std::size_t>(nul - rest));

    if (const char *unpack = std::getenv("TARNMAP_FUZZ_UNPACK")) {
        std::string text;
        for (const std::string &arg : args)
            text += (arg.rfind(dir, 0) == 0 ? arg.substr(dir.size() + 1) : arg) + "\n";
        std::string to = unpack;
        write_file(to + "/args", reinterpret_cast<const std::uint8_t *>(text.data()), text.size());
        write_file(to + "/src.cbl", source, static_cast<std::size_t>(end - source));
        std::string in = options & 0x80 ? std::string(source, end) : std::string(rest, nul);
        write_file(to + "/stdin", reinterpret_cast<const std::uint8_t *>(in.data()), in.size());
        return 0;
    }

    if (std::freopen((dir + "/stdin").c_str(), "r", stdin) == nullptr)
        std::abort();
    std::vector<char *> argv{const_cast<char *>("tarnmap")};
    for (std::string &arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    running = true;
    if (setjmp(stop) == 0)
        tarnmap_main(static_cast<int>(argv.size() - 1), argv.data());
    running = false;
    std::fflush(stdout);
    std::clearerr(stdout);
    reset();
    return 0;
}

}  // extern "C"
