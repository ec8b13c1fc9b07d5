// The storage rules of one elementary item, as a compiler sizes it: what its
// PICTURE counts, and the bytes and alignment its USAGE gives. Called by the
// record layout (layout.cc) and by --dictionary's storage types.
#include <cctype>
#include <cstdlib>
#include <cstring>

#include "check/check.h"

// Case does not matter, every symbol takes a byte (a repeat count repeats
// any symbol) but S, V and P, and the digit count leaves out P.
PictureCount count_picture(const char *picture)
{
    PictureCount count;
    for (const char *p = picture; p != nullptr && *p != '\0';) {
        char c = static_cast<char>(std::toupper(static_cast<unsigned char>(*p++)));
        std::int32_t times = 1;
        if (*p == '(') {
            long written = std::strtol(p + 1, nullptr, 10);
            times = written >= 1 && written <= MOST_BYTES ? static_cast<std::int32_t>(written) : 0;
            const char *close = std::strchr(p, ')');
            p = close != nullptr ? close + 1 : p + std::strlen(p);
        }
        if (times == 0 || count.positions > MOST_BYTES - 2 * times) {
            count.valid = false;
            break;
        }
        if (c == 'S')
            count.is_signed = true;
        else if (c == 'V' || c == 'P')
            continue;
        else if (c == 'N')  // national: two bytes a position
            count.positions += 2 * times;
        else
            count.positions += times;
        if (c == '9')
            count.digits += times;
        if (c == 'X' || c == 'A')
            count.alphanumeric = true;
    }
    return count;
}

bool usage_is(const char *usage, std::initializer_list<const char *> words)
{
    for (const char *word : words)
        if (usage != nullptr && std::strcmp(usage, word) == 0)
            return true;
    return false;
}

namespace {

bool is(const char *usage, const char *word)
{
    return usage_is(usage, {word});
}

// Bytes of a binary item of `digits` digits; COMP-5 has a 1-byte size.
std::int32_t binary_bytes(std::int32_t digits, bool one_byte)
{
    if (digits < 1 || digits > 18)
        return -1;
    return one_byte && digits <= 2 ? 1 : digits <= 4 ? 2 : digits <= 9 ? 4 : 8;
}

// Smallest byte count that holds 10^digits - 1, for COMP-X.
std::int32_t comp_x_bytes(std::int32_t digits)
{
    double largest = 1;
    for (std::int32_t i = 0; i < digits; ++i)
        largest *= 10;
    std::int32_t bytes = 1;
    for (double room = 256; room < largest; room *= 256)
        ++bytes;
    return bytes;
}
}  // namespace

CompilerSize compiler_size(const char *picture, const char *usage, std::int16_t sign_clause, Compiler compiler)
{
    PictureCount pic = count_picture(picture);
    if (!pic.valid || pic.digits > 38)  // no numeric item holds more digits
        return {-1, 1};
    std::int32_t packed = pic.digits >= 1 ? pic.digits / 2 + 1 : -1;
    if (usage == nullptr || is(usage, "DISPLAY")) {
        if (pic.positions == 0)
            return {-1, 1};
        bool separate = !pic.alphanumeric && (sign_clause == 2 || sign_clause == 4);
        return {pic.positions + (separate ? 1 : 0), 1};
    }
    if (usage_is(usage, {"COMP", "COMPUTATIONAL", "COMP-4", "COMPUTATIONAL-4", "BINARY", "COMP-5",
                       "COMPUTATIONAL-5"})) {
        bool one_byte = compiler == Compiler::gnucobol && std::strchr(usage, '5') != nullptr;  // COMP-5
        std::int32_t bytes = pic.alphanumeric ? -1 : binary_bytes(pic.digits, one_byte);
        return {bytes, bytes};
    }
    if (usage_is(usage, {"COMP-X", "COMPUTATIONAL-X"})) {
        std::int32_t bytes = pic.alphanumeric ? (pic.positions <= 8 ? pic.positions : -1)
                             : pic.digits >= 1 ? comp_x_bytes(pic.digits) : -1;
        // SYNC aligns it only where it has the size of a machine word
        return {bytes, bytes == 2 || bytes == 4 || bytes == 8 ? bytes : 1};
    }
    if (usage_is(usage, {"COMP-3", "COMPUTATIONAL-3", "PACKED-DECIMAL"}))
        return {pic.alphanumeric ? -1 : packed, 1};
    if (usage_is(usage, {"COMP-6", "COMPUTATIONAL-6"}))
        return {pic.alphanumeric || packed < 0 ? -1 : pic.is_signed ? packed : (pic.digits + 1) / 2, 1};
    const struct { const char *word; std::int32_t bytes; } fixed[] = {
        {"COMP-1", 4}, {"COMPUTATIONAL-1", 4}, {"COMP-2", 8}, {"COMPUTATIONAL-2", 8},
        {"POINTER", 8}, {"PROCEDURE-POINTER", 8}, {"PROGRAM-POINTER", 8}, {"INDEX", 4},
        {"BINARY-LONG", 4}, {"BINARY-C-LONG", 8}, {"FLOAT-LONG", 8},
    };
    if (compiler == Compiler::ibm && is(usage, "POINTER"))  // 31-bit addresses
        return picture != nullptr ? CompilerSize{-1, 1} : CompilerSize{4, 4};
    for (const auto &row : fixed)
        if (is(usage, row.word))  // these take no PICTURE
            return picture != nullptr ? CompilerSize{-1, 1} : CompilerSize{row.bytes, row.bytes};
    return {-1, 1};  // QUAD, DATE and the like: no compiler knows them
}
