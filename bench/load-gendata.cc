// load-gendata display|packed MB FILE: writes about MB megabytes (10^6
// bytes) of EBCDIC records for bench/load-display.cpy or bench/load-packed.cpy:
// text, zoned and packed numbers with signs, big-endian binaries. The same
// arguments give the same bytes. Text goes through iconv's code page 037.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <iconv.h>

namespace {

struct Field {
    char kind;  // x text, z zoned, s signed zoned, p packed, u unsigned packed, b binary
    int size;   // bytes
};

// The two records, field by field, as the copybooks lay them out.
const std::vector<Field> display_record = {
    {'z', 10}, {'x', 30}, {'x', 40}, {'x', 20}, {'x', 2}, {'z', 5}, {'x', 15}, {'s', 11},
    {'s', 9}, {'z', 8}, {'x', 1}, {'x', 35}, {'z', 4}, {'s', 5}, {'s', 5}};

std::vector<Field> packed_record()
{
    std::vector<Field> r = {{'u', 6}, {'x', 4}};
    for (int i = 0; i < 12; i++) {
        r.push_back({'p', 6});
        r.push_back({'p', 5});
    }
    r.insert(r.end(), {{'p', 9}, {'p', 3}, {'b', 4}, {'b', 4}, {'b', 4}, {'b', 4}, {'x', 30}});
    return r;
}

std::uint64_t state = 0x2545F4914F6CDD1DULL;

// xorshift: fast, and the same on every machine.
std::uint32_t next(std::uint32_t n)
{
    state ^= state << 13;
    state ^= state >> 7;
    state ^= state << 17;
    return static_cast<std::uint32_t>(state % n);
}

unsigned char ebcdic[128];  // printable ASCII to code page 037, from iconv

// The code page table for the text, built once from iconv.
bool build_table()
{
    iconv_t cd = iconv_open("IBM037", "ASCII");
    if (cd == reinterpret_cast<iconv_t>(-1))
        return false;
    for (int c = 32; c < 127; c++) {
        char in = static_cast<char>(c), out = 0;
        char *ip = &in, *op = &out;
        std::size_t il = 1, ol = 1;
        if (iconv(cd, &ip, &il, &op, &ol) == static_cast<std::size_t>(-1))
            return false;
        ebcdic[c] = static_cast<unsigned char>(out);
    }
    iconv_close(cd);
    return true;
}

// Words and blanks, trailing blanks behind a text of random length.
void text(unsigned char *p, int size)
{
    static const char pool[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ abcdefghijklmnopqrstuvwxyz 0123456789 .,-/&";
    int len = size == 1 ? 1 : static_cast<int>(next(static_cast<std::uint32_t>(size))) + 1;
    for (int i = 0; i < size; i++)
        p[i] = ebcdic[i < len ? static_cast<unsigned char>(pool[next(sizeof pool - 1)]) : ' '];
}

void field(unsigned char *p, const Field &f)
{
    int digits = f.kind == 'p' || f.kind == 'u' ? f.size * 2 - 1 : f.size;
    bool neg = (f.kind == 's' || f.kind == 'p') && next(3) == 0;
    switch (f.kind) {
    case 'x':
        text(p, f.size);
        break;
    case 'z':
    case 's':
        for (int i = 0; i < f.size; i++)
            p[i] = static_cast<unsigned char>(0xF0 + next(10));
        if (f.kind == 's')
            p[f.size - 1] = static_cast<unsigned char>((neg ? 0xD0 : 0xC0) | (p[f.size - 1] & 0x0F));
        break;
    case 'p':
    case 'u':
        for (int i = 0; i < digits; i += 2)
            p[i / 2] = static_cast<unsigned char>(next(10) << 4 | (i + 1 < digits ? next(10) : 0));
        p[f.size - 1] = static_cast<unsigned char>((p[f.size - 1] & 0xF0) | (f.kind == 'u' ? 0x0F : neg ? 0x0D : 0x0C));
        break;
    case 'b': {
        std::int64_t v = static_cast<std::int64_t>(next(1000000000)) * (next(2) ? -1 : 1);
        std::uint32_t u = static_cast<std::uint32_t>(v);
        for (int i = 0; i < 4; i++)
            p[i] = static_cast<unsigned char>(u >> (24 - 8 * i));
        break;
    }
    }
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 4 || (std::strcmp(argv[1], "display") != 0 && std::strcmp(argv[1], "packed") != 0)) {
        std::fputs("usage: load-gendata display|packed MB FILE\n", stderr);
        return 2;
    }
    if (!build_table()) {
        std::fputs("load-gendata: iconv has no IBM037\n", stderr);
        return 1;
    }
    const std::vector<Field> rec = argv[1][0] == 'd' ? display_record : packed_record();
    std::size_t reclen = 0;
    for (const Field &f : rec)
        reclen += static_cast<std::size_t>(f.size);
    long long records = std::atoll(argv[2]) * 1000000 / static_cast<long long>(reclen);
    FILE *out = std::fopen(argv[3], "wb");
    if (!out) {
        std::perror(argv[3]);
        return 1;
    }
    std::vector<unsigned char> buf(reclen);
    for (long long n = 0; n < records; n++) {
        unsigned char *p = buf.data();
        for (const Field &f : rec) {
            field(p, f);
            p += f.size;
        }
        std::fwrite(buf.data(), 1, reclen, out);
    }
    if (std::fclose(out) != 0) {
        std::perror(argv[3]);
        return 1;
    }
    return 0;
}
