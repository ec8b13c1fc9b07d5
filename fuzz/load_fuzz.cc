// libFuzzer target over tarnmap-load's input handling: the dictionary reader,
// the framing check and record reader over the data, and every decoder.
//
// An input is: one byte of options, then the dictionary up to the first form
// feed (0x0C), then the data file. Bits of the options byte, from the lowest:
// code page 037 (else ASCII; with the next but one, the mixed code page 930
// of shift-out and shift-in), little-endian binaries, IBM hexadecimal
// floating point, descriptors (in blocks on a VARIABLE file), little-endian
// descriptors (lines of text without the bit before), descriptor lengths of
// the data alone, keep trailing blanks, skip the first record. Every
// value text a decoder makes is checked for the form its kind promises.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "load/frames.h"
#include "load/load.h"

namespace {

// The text of a number: -?digits(.digits)?, no leading zero before a digit.
bool exact_decimal(const char *s, size_t n, int scale, bool whole)
{
    size_t i = n && s[0] == '-' ? 1 : 0, digits = 0;
    if (i == n)
        return false;
    if (s[i] == '0' && i + 1 < n && s[i + 1] != '.')
        return false;
    while (i < n && s[i] >= '0' && s[i] <= '9')
        i++, digits++;
    if (i < n) {
        if (s[i] != '.' || scale <= 0 || n - i - 1 != static_cast<size_t>(scale))
            return false;
        for (i++; i < n; i++)
            if (s[i] < '0' || s[i] > '9')
                return false;
    } else if (scale > 0) {
        return false;
    }
    return !whole || digits <= 19;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Decoder decoders[3];
    static bool ready = false;
    if (!ready) {
        std::string error;
        if (!make_decoder("ascii", decoders[0], error) || !make_decoder("ebcdic", decoders[1], error) ||
            !make_decoder("IBM930", decoders[2], error))
            std::abort();
        ready = true;
    }
    if (size < 1)
        return 0;
    unsigned options = data[0];
    const char *text = reinterpret_cast<const char *>(data + 1);
    size_t rest = size - 1, n = 0;
    while (n < rest && text[n] != '\f')
        n++;
    Dictionary dict;
    std::string error;
    if (!read_dictionary(text, n, dict, error))
        return 0;
    Decoder d = decoders[(options & 1) ? (options & 4 ? 2 : 1) : 0];
    d.big_endian = !(options & 2);
    d.float_big_endian = d.big_endian;
    d.hex_float = options & 4;
    d.keep_blanks = options & 64;
    const uint8_t *bytes = data + 1 + n + (n < rest);
    size_t count = rest - n - (n < rest);
    int fd = memfd_create("load_fuzz", 0);
    if (fd < 0 || write(fd, bytes, count) != static_cast<ssize_t>(count))
        std::abort();
    std::vector<char> out;
    for (const Table &t : dict.tables) {
        const FileDef &file = dict.files[static_cast<size_t>(t.file)];
        Framing f;
        f.lines = (options & 24) == 16;
        f.descriptors = !f.lines && ((options & 8) || file.variable);
        f.blocks = (options & 8) && file.variable;
        f.little = options & 16;
        f.data_length = options & 32;
        f.record_length = file.record_length;
        FrameCheck check = check_framing(fd, f);
        if (!check.ok)
            continue;
        RecordReader reader;
        RecordRange range;
        range.skip = options >> 7;
        if (!reader.open(dup(fd), f, range))
            continue;
        Record rec;
        uint64_t records = 0;
        while (reader.next(rec)) {
            records++;
            for (const Column &c : t.columns) {
                if (uint64_t{c.offset} + c.size > rec.size)
                    continue;
                out.resize(value_capacity(c));
                size_t len = 0;
                if (decode(d, c, rec.data + c.offset, out.data(), len) != Bad::none)
                    continue;
                if (len > out.size())
                    __builtin_trap();
                bool number = c.sql.kind == ValueKind::integer || c.sql.kind == ValueKind::decimal;
                if (number && !exact_decimal(out.data(), len, c.sql.scale, c.sql.kind == ValueKind::integer))
                    __builtin_trap();
            }
        }
        if (!reader.error.empty() || records + range.skip < check.records)
            __builtin_trap();  // a checked file reads to its end
    }
    close(fd);
    return 0;
}
