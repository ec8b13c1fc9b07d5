// libFuzzer target over tarnmap-prep's whole run, in this process.
//
// An input is one byte of options, then the source. Bits of the first byte,
// from the lowest: --fixed, --free, -h, --verbose, --tab 4 (rather than 8),
// the source read from standard input. The source is also the member M.cpy
// in the work folder, so "COPY M" nests and loops; the output and the map go
// to files there. prep/main.cc's main runs as prep_main.
#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

int prep_main(int argc, char **argv);

namespace {

std::string dir;  // work folder: source, member, output, map

// Writes DATA to PATH or aborts: the target cannot go on without its files.
void write_file(const std::string &path, const std::uint8_t *data, std::size_t size)
{
    std::FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr || std::fwrite(data, 1, size, f) != size || std::fclose(f) != 0)
        std::abort();
}

}  // namespace

// One input: options from its first byte, the source and member from the rest.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    if (dir.empty()) {
        char name[] = "/tmp/prep_fuzz.XXXXXX";
        if (mkdtemp(name) == nullptr)
            std::abort();
        dir = name;
    }
    std::uint8_t options = data[0];
    write_file(dir + "/src.cbl", data + 1, size - 1);
    write_file(dir + "/M.cpy", data + 1, size - 1);
    std::vector<std::string> args{"tarnmap-prep", "-o", dir + "/out.cbl", "--map", dir + "/map"};
    if (options & 1)
        args.emplace_back("--fixed");
    if (options & 2)
        args.emplace_back("--free");
    if (options & 4)
        args.emplace_back("-h");
    if (options & 8)
        args.emplace_back("--verbose");
    if (options & 16) {
        args.emplace_back("--tab");
        args.emplace_back("4");
    }
    int saved_stdin = -1;
    if (options & 32) {
        saved_stdin = dup(0);
        int in = open((dir + "/src.cbl").c_str(), O_RDONLY);
        if (saved_stdin < 0 || in < 0 || dup2(in, 0) < 0)
            std::abort();
        close(in);
        clearerr(stdin);
    } else {
        args.push_back(dir + "/src.cbl");
    }
    std::vector<char *> argv;
    for (std::string &arg : args)
        argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    prep_main(static_cast<int>(argv.size()) - 1, argv.data());
    if (saved_stdin >= 0) {
        dup2(saved_stdin, 0);
        close(saved_stdin);
        clearerr(stdin);
    }
    return 0;
}
