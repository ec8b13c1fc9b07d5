// tarnmap-prep: writes a COBOL source as tarnmap reads it: reference format
// and free format, COPY and REPLACE expanded, words in upper case, clause
// forms and USAGE words the converter does not take rewritten. The run:
// options -> read -> COPY -> REPLACE -> words -> lines (and the map) -> output.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "prep/prep.h"

namespace {

const char *program = "tarnmap-prep";
int problems = 0;

// The synopsis, on standard output for --help, on standard error after a wrong option.
void usage(std::FILE *to)
{
    std::fprintf(to,
                 "usage: %s [-I DIR]... [--fixed | --free] [--tab N] [-h] [--map FILE] [-o FILE]\n"
                 "                    [--verbose] [SOURCE]\n"
                 "       %s --help | --version\n",
                 program, program);
}

// The synopsis and every option, for --help.
void help()
{
    usage(stdout);
    std::printf("\nWrites SOURCE (standard input without it) as tarnmap reads it.\n\n"
                "  -I DIR        look for COPY members in DIR too (before COBCPY's folders)\n"
                "  --fixed       the source is in fixed reference format\n"
                "  --free        the source is in free format\n"
                "  --tab N       tab stops every N columns (default 8)\n"
                "  -h            the dictionary is made with tarnmap -h (1-byte binary items)\n"
                "  --map FILE    write where every line of the output came from to FILE\n"
                "  -o FILE       write the prepared source to FILE instead of standard output\n"
                "  --verbose     say which format was chosen and every rewrite made\n"
                "\nExit status: 0 clean, 1 problems reported, 2 no text written, 3 output not written.\n");
}

// The "FILE:LINE: " of a message; nothing for a file index below 0.
std::string where(int file, int line)
{
    if (file < 0)
        return "";
    const std::string &name = files()[static_cast<std::size_t>(file)];
    return (name == "-" ? std::string("standard input") : name) + ":" + std::to_string(line) + ": ";
}

// The value of an option, as "--tab N", "--tab=N" or "-IDIR"; ARGV[I] moves on.
const char *value_of(int argc, char **argv, int &i, const char *name)
{
    std::size_t n = std::strlen(name);
    const char *arg = argv[i];
    if (std::strncmp(arg, name, n) != 0)
        return nullptr;
    if (arg[n] == '=' && name[1] == '-')
        return arg + n + 1;
    if (arg[n] != '\0')
        return name[1] == '-' ? nullptr : arg + n;
    if (i + 1 >= argc) {
        std::fprintf(stderr, "%s: %s needs a value\n", program, name);
        std::exit(2);
    }
    return argv[++i];
}

// Every line with its line end; false when a write or the flush fails.
bool write_text(std::FILE *out, const std::vector<std::string> &lines)
{
    for (const std::string &line : lines)
        if (std::fwrite(line.data(), 1, line.size(), out) != line.size() || std::fputc('\n', out) == EOF)
            return false;
    return std::fflush(out) == 0;
}

}  // namespace

// The file table: the source first, then the members in the order they are read.
std::vector<std::string> &files()
{
    static std::vector<std::string> list;
    return list;
}

// A problem: counted for the exit status and reported at once.
void problem(int file, int line, const std::string &what)
{
    ++problems;
    std::fprintf(stderr, "%s: %s%s\n", program, where(file, line).c_str(), what.c_str());
}

// A note of --verbose, which leaves the exit status alone.
void note(const Options &options, int file, int line, const std::string &what)
{
    if (options.verbose)
        std::fprintf(stderr, "%s: %snote: %s\n", program, where(file, line).c_str(), what.c_str());
}

// How many problems the run has reported.
int problem_count()
{
    return problems;
}

// Options, then the run; the exit status says how it went.
int main(int argc, char **argv)
{
    files().clear();  // deliberate: the fuzz target runs main again and again
    problems = 0;
    Options options;
    const char *output = nullptr, *map = nullptr, *source = nullptr;
    std::vector<std::string> cobcpy;
    for (int i = 1; i < argc; ++i) {
        const char *arg = argv[i];
        const char *value;
        if (std::strcmp(arg, "--help") == 0) {
            help();
            return std::fflush(stdout) == 0 ? 0 : 3;
        } else if (std::strcmp(arg, "--version") == 0) {
            std::printf("%s %s\n", program, TARNMAP_VERSION);
            return std::fflush(stdout) == 0 ? 0 : 3;
        } else if (std::strcmp(arg, "--fixed") == 0 || std::strcmp(arg, "--free") == 0) {
            options.format = arg[2] == 'f' && arg[3] == 'i' ? 1 : 2;
        } else if (std::strcmp(arg, "--verbose") == 0 || std::strcmp(arg, "-v") == 0) {
            options.verbose = true;
        } else if (std::strcmp(arg, "-h") == 0) {
            options.wide_binary = true;
        } else if ((value = value_of(argc, argv, i, "--tab")) != nullptr) {
            char *end;
            long tab = std::strtol(value, &end, 10);
            if (*value == '\0' || *end != '\0' || tab < 1 || tab > 80) {
                std::fprintf(stderr, "%s: --tab takes a number from 1 to 80, not '%s'\n", program, value);
                return 2;
            }
            options.tab = static_cast<int>(tab);
        } else if ((value = value_of(argc, argv, i, "-I")) != nullptr) {
            options.include_dirs.emplace_back(value);
        } else if ((value = value_of(argc, argv, i, "--map")) != nullptr) {
            map = value;
        } else if ((value = value_of(argc, argv, i, "-o")) != nullptr) {
            output = value;
        } else if (arg[0] == '-' && arg[1] != '\0') {
            std::fprintf(stderr, "%s: unknown option %s\n", program, arg);
            usage(stderr);
            return 2;
        } else if (source != nullptr) {
            std::fprintf(stderr, "%s: one source at a time (%s and %s)\n", program, source, arg);
            usage(stderr);
            return 2;
        } else {
            source = arg;
        }
    }
    // COBCPY's folders come after those of -I, as a compiler takes them.
    if (const char *env = std::getenv("COBCPY")) {
        std::string list = env;
        for (std::size_t start = 0; start <= list.size();) {
            std::size_t colon = list.find(':', start);
            if (colon == std::string::npos)
                colon = list.size();
            if (colon > start)
                options.include_dirs.push_back(list.substr(start, colon - start));
            start = colon + 1;
        }
    }

    files().push_back(source != nullptr ? source : "-");
    Stream stream;
    if (!read_source(0, options, stream, -1, 0))
        return 2;
    expand_copies(stream, options);
    apply_replace_statements(stream);
    rewrite_words(stream, options);
    std::vector<const Elem *> origins;
    std::vector<std::string> lines = render(stream, origins);

    std::FILE *out = output != nullptr ? std::fopen(output, "w") : stdout;
    if (out == nullptr) {
        std::fprintf(stderr, "%s: cannot write %s: %s\n", program, output, std::strerror(errno));
        return 3;
    }
    bool written = write_text(out, lines);
    int saved = errno;
    if (out != stdout && std::fclose(out) != 0 && written) {
        written = false;
        saved = errno;
    }
    if (!written) {
        std::fprintf(stderr, "%s: cannot write %s: %s\n", program, output != nullptr ? output : "standard output",
                     std::strerror(saved));
        return 3;
    }
    if (map != nullptr && !write_map(map, origins)) {
        std::fprintf(stderr, "%s: cannot write %s: %s\n", program, map, std::strerror(errno));
        return 3;
    }
    return problem_count() > 0 ? 1 : 0;
}
