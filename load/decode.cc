// Bytes to exact value texts: one function per storage type over the
// column's bytes, and the code page table built once from iconv. Anything
// not valid for its type is reported as bad, never read around.
#include <iconv.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <vector>

#include "load/load.h"

namespace {

// Digit of a byte outside the sign position, or -1.
inline int plain_digit(const Decoder &d, unsigned char b)
{
    if (d.ebcdic)
        return b >= 0xF0 && b <= 0xF9 ? b - 0xF0 : -1;
    return b >= '0' && b <= '9' ? b - '0' : -1;
}

// Digit and sign of a byte that may carry an overpunched sign, or -1.
inline int overpunch_digit(const Decoder &d, unsigned char b, bool &negative)
{
    if (d.ebcdic) {  // zone A, C, E, F positive; B, D negative; as IBM reads it
        int zone = b >> 4, digit = b & 0xF;
        if (zone < 0xA || digit > 9)
            return -1;
        negative = zone == 0xB || zone == 0xD;
        return digit;
    }
    negative = false;
    if (b >= '0' && b <= '9') return b - '0';
    if (b == '{') return 0;
    if (b >= 'A' && b <= 'I') return b - 'A' + 1;
    negative = true;
    if (b == '}') return 0;
    if (b >= 'J' && b <= 'R') return b - 'J' + 1;
    if (b >= 'p' && b <= 'y') return b - 'p';  // GnuCOBOL's negative digits in ASCII
    return -1;
}

// Why the bytes of a number are not one: the class a reader can act on.
Bad why_not_number(const Decoder &d, const unsigned char *p, size_t n, Bad otherwise)
{
    size_t zeros = 0, highs = 0, blanks = 0;
    for (size_t i = 0; i < n; i++) {
        zeros += p[i] == 0x00;
        highs += p[i] == 0xFF;
        blanks += p[i] == d.blank;
    }
    if (n && zeros == n) return Bad::low_values;
    if (n && highs == n) return Bad::high_values;
    if (blanks) return Bad::blank;
    return otherwise;
}

// The zoned kinds: digits in every byte but the sign's, which is a separate
// '+'/'-' or an overpunch on the first or last byte.
Bad decode_zoned(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    size_t n = c.size, first = 0, last = n;  // the digit bytes are [first, last)
    bool negative = false;
    int sign_at = -1;                          // byte of an overpunch
    switch (c.storage) {
    case Storage::leading_separate:
    case Storage::trailing_separate: {
        if (n == 0)
            return Bad::non_digit;
        unsigned char s = c.storage == Storage::leading_separate ? p[0] : p[n - 1];
        if (s != d.plus && s != d.minus)
            return why_not_number(d, p, n, Bad::bad_sign);
        negative = s == d.minus;
        if (c.storage == Storage::leading_separate) first = 1; else last = n - 1;
        break;
    }
    case Storage::leading_overpunch: sign_at = 0; break;
    default: sign_at = static_cast<int>(n) - 1; break;  // ZONED too: a sign on its last byte is read
    }
    char *digits = out + value_capacity(c) / 2;
    size_t k = 0;
    for (size_t i = first; i < last; i++) {
        int v;
        if (static_cast<int>(i) == sign_at) {
            bool neg = false;
            v = overpunch_digit(d, p[i], neg);
            negative = neg;
            if (v < 0)
                return why_not_number(d, p, n, Bad::bad_sign);
        } else if ((v = plain_digit(d, p[i])) < 0) {
            return why_not_number(d, p, n, Bad::non_digit);
        }
        digits[k++] = static_cast<char>('0' + v);
    }
    len = format_decimal(digits, k, negative, c.sql.scale, out);
    return Bad::none;
}

// Packed decimal: two digits a byte, the last nibble the sign (A, C, E, F
// positive; B, D negative), the same for signed and unsigned items.
Bad decode_packed(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    size_t n = c.size;
    if (n == 0)
        return Bad::bad_sign;
    char *digits = out + value_capacity(c) / 2;
    size_t k = 0;
    for (size_t i = 0; i < n; i++) {
        unsigned hi = p[i] >> 4, lo = p[i] & 0xFu;
        if (hi > 9 || (i + 1 < n && lo > 9))
            return why_not_number(d, p, n, Bad::bad_nibble);
        digits[k++] = static_cast<char>('0' + hi);
        if (i + 1 < n)
            digits[k++] = static_cast<char>('0' + lo);
    }
    unsigned sign = p[n - 1] & 0xFu;
    if (sign < 0xA)
        return why_not_number(d, p, n, Bad::bad_sign);
    len = format_decimal(digits, k, sign == 0xB || sign == 0xD, c.sql.scale, out);
    return Bad::none;
}

// The column's bytes as an unsigned number, big-endian or little-endian as
// the run says; little-endian for the -LE types whatever it says.
uint64_t column_bits(bool big, const Column &c, const unsigned char *p)
{
    uint64_t v = 0;
    for (size_t i = 0; i < c.size; i++)
        v = v << 8 | p[big && !c.little ? i : c.size - 1 - i];
    return v;
}

// Two's complement or unsigned, 1 to 8 bytes, in the decoder's byte order.
Bad decode_binary(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    uint64_t v = column_bits(d.big_endian, c, p);
    bool negative = false;
    if (c.is_signed && c.size && (v >> (8 * c.size - 1)) & 1) {
        negative = true;
        uint64_t mask = c.size == 8 ? ~uint64_t{0} : (uint64_t{1} << (8 * c.size)) - 1;
        v = (~v + 1) & mask;  // magnitude of the two's complement value
    }
    char digits[24];
    auto r = std::to_chars(digits, digits + sizeof digits, v);
    len = format_decimal(digits, static_cast<size_t>(r.ptr - digits), negative, c.sql.scale, out);
    return Bad::none;
}

// IBM hexadecimal floating point: a sign bit, an excess-64 exponent of 16,
// then `fraction` bits of fraction (56 in a double, 24 in a single).
double ibm_hex(uint64_t bits, int fraction)
{
    int exponent = static_cast<int>(bits >> fraction & 0x7F) - 64;
    double v = std::ldexp(static_cast<double>(bits & ((uint64_t{1} << fraction) - 1)), 4 * exponent - fraction);
    return bits >> (fraction + 7) & 1 ? -v : v;
}

// COMP-2: IEEE 754 binary64, or IBM hexadecimal floating point (sign, 7-bit
// excess-64 exponent of 16, 56-bit fraction) rounded to the nearest double.
Bad decode_double(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    uint64_t bits = column_bits(d.float_big_endian, c, p);
    double v;
    if (d.hex_float && !c.little)
        v = ibm_hex(bits, 56);
    else
        std::memcpy(&v, &bits, sizeof v);
    if (!std::isfinite(v))
        return Bad::not_finite;
    auto r = std::to_chars(out, out + value_capacity(c), v);
    len = static_cast<size_t>(r.ptr - out);
    return Bad::none;
}

// COMP-1: IEEE 754 binary32, or IBM hexadecimal floating point of 24 bits;
// the -LE form is always IEEE.
Bad decode_single(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    uint32_t bits = static_cast<uint32_t>(column_bits(d.float_big_endian, c, p));
    double v;
    if (d.hex_float && !c.little) {
        v = ibm_hex(bits, 24);
    } else {
        float f;
        std::memcpy(&f, &bits, sizeof f);
        v = f;
    }
    if (!std::isfinite(v))
        return Bad::not_finite;
    auto r = std::to_chars(out, out + value_capacity(c), static_cast<float>(v));
    len = static_cast<size_t>(r.ptr - out);
    return Bad::none;
}

// COMP-6: two digits a byte and no sign nibble.
Bad decode_packed_nosign(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    char *digits = out + value_capacity(c) / 2;
    for (size_t i = 0; i < c.size; i++) {
        if ((p[i] >> 4) > 9 || (p[i] & 0xFu) > 9)
            return why_not_number(d, p, c.size, Bad::bad_nibble);
        digits[2 * i] = static_cast<char>('0' + (p[i] >> 4));
        digits[2 * i + 1] = static_cast<char>('0' + (p[i] & 0xFu));
    }
    len = format_decimal(digits, 2 * size_t{c.size}, false, c.sql.scale, out);
    return Bad::none;
}

// VMS date: 100-nanosecond ticks since 1858-11-17 00:00, as text.
Bad decode_vmsdate(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    uint64_t bits = column_bits(d.big_endian, c, p);
    if (bits >> 63)
        return Bad::out_of_range;
    const uint64_t per_day = 864000000000u;
    int64_t days = static_cast<int64_t>(bits / per_day) - 40587 + 719468;  // days since 0000-03-01
    uint64_t rest = bits % per_day;
    int64_t era = days / 146097, doe = days - era * 146097;  // civil date, after H. Hinnant
    int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100), mp = (5 * doy + 2) / 153;
    int64_t day = doy - (153 * mp + 2) / 5 + 1, month = mp < 10 ? mp + 3 : mp - 9;
    int64_t year = yoe + era * 400 + (month <= 2);
    uint64_t secs = rest / 10000000u, ticks = rest % 10000000u;
    int n = std::snprintf(out, value_capacity(c), "%04lld-%02lld-%02lld %02llu:%02llu:%02llu.%07llu",
                          static_cast<long long>(year), static_cast<long long>(month), static_cast<long long>(day),
                          static_cast<unsigned long long>(secs / 3600), static_cast<unsigned long long>(secs / 60 % 60),
                          static_cast<unsigned long long>(secs % 60), static_cast<unsigned long long>(ticks));
    len = static_cast<size_t>(n);
    return Bad::none;
}

// Each byte through the code page table; the trailing blanks cut unless kept.
// A text with double-byte characters between shift-out (X'0E') and shift-in
// (X'0F'), through iconv, whose state starts single-byte in every field.
Bad decode_shifted(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    iconv_t cd = static_cast<iconv_t>(d.shifted);
    char *in = reinterpret_cast<char *>(const_cast<unsigned char *>(p)), *o = out;
    size_t inleft = c.size, outleft = value_capacity(c);
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (iconv(cd, &in, &inleft, &o, &outleft) == static_cast<size_t>(-1) ||
        iconv(cd, nullptr, nullptr, &o, &outleft) == static_cast<size_t>(-1))
        return Bad::no_character;
    len = static_cast<size_t>(o - out);
    if (std::memchr(out, '\0', len) != nullptr)
        return Bad::no_character;
    while (!d.keep_blanks && len > 0 && out[len - 1] == ' ')
        len--;
    return Bad::none;
}

Bad decode_string(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    if (d.shifted != nullptr && std::memchr(p, 0x0E, c.size) != nullptr)
        return decode_shifted(d, c, p, out, len);
    size_t k = 0, kept = 0;  // kept: the length up to the last non-blank
    for (size_t i = 0; i < c.size; i++) {
        unsigned char b = p[i];
        uint8_t n = d.utf8_len[b];
        if (n == 0)
            return Bad::no_character;
        std::memcpy(out + k, d.utf8[b], n);
        k += n;
        if (b != d.blank)
            kept = k;
    }
    len = d.keep_blanks ? k : kept;
    return Bad::none;
}

}  // namespace

// The reason of a bad value, as the report names it.
const char *bad_name(Bad b)
{
    switch (b) {
    case Bad::none: return "valid";
    case Bad::non_digit: return "a byte that is not a digit";
    case Bad::blank: return "blanks where digits belong";
    case Bad::low_values: return "low-values";
    case Bad::high_values: return "high-values";
    case Bad::bad_sign: return "no valid sign";
    case Bad::bad_nibble: return "a nibble that is not a digit";
    case Bad::no_character: return "a byte that is no character of the code page";
    case Bad::not_finite: return "not a finite number";
    case Bad::out_of_range: return "out of range";
    }
    return "?";
}

// Room for the digits, the sign, the point, the zeros a scale adds, and working space.
size_t value_capacity(const Column &c)
{
    switch (c.sql.kind) {
    case ValueKind::text: return 4 * size_t{c.size};
    case ValueKind::real:
    case ValueKind::timestamp: return 40;
    default: break;
    }
    size_t scale = static_cast<size_t>(c.sql.scale < 0 ? -c.sql.scale : c.sql.scale);
    size_t digits = static_cast<size_t>(c.sql.digits) > c.size * 2 ? static_cast<size_t>(c.sql.digits) : c.size * 2;
    // Twice the text: the digits are gathered in the upper half.
    return 2 * (digits + scale + 24);
}

// Builds the text straight from the digits, never through a binary number.
size_t format_decimal(const char *digits, size_t n, bool negative, int scale, char *out)
{
    while (n > 0 && *digits == '0') {
        digits++;
        n--;
    }
    char *o = out;
    if (negative && n > 0)
        *o++ = '-';
    if (scale <= 0) {
        if (n == 0) {
            *o++ = '0';
        } else {
            std::memcpy(o, digits, n);
            o += n;
            std::memset(o, '0', static_cast<size_t>(-scale));
            o += -scale;
        }
        return static_cast<size_t>(o - out);
    }
    size_t s = static_cast<size_t>(scale);
    if (n <= s) {  // "0." then zeros up to the digits
        *o++ = '0';
        *o++ = '.';
        std::memset(o, '0', s - n);
        o += s - n;
    } else {
        std::memcpy(o, digits, n - s);
        o += n - s;
        *o++ = '.';
        digits += n - s;
        n = s;
    }
    std::memcpy(o, digits, n);
    return static_cast<size_t>(o + n - out);
}

// Dispatch on the storage type; the zoned kinds share one function.
Bad decode(const Decoder &d, const Column &c, const unsigned char *p, char *out, size_t &len)
{
    len = 0;
    switch (c.storage) {
    case Storage::string: return decode_string(d, c, p, out, len);
    case Storage::packed: return decode_packed(d, c, p, out, len);
    case Storage::binary: return decode_binary(d, c, p, out, len);
    case Storage::ieee_or_hex_double: return decode_double(d, c, p, out, len);
    case Storage::vmsdate: return decode_vmsdate(d, c, p, out, len);
    case Storage::ieee_or_hex_single: return decode_single(d, c, p, out, len);
    case Storage::packed_nosign: return decode_packed_nosign(d, c, p, out, len);
    default: return decode_zoned(d, c, p, out, len);
    }
}

// The 256 characters of the code page from iconv, and the bytes of blank, signs and zero.
bool make_decoder(const std::string &encoding, Decoder &d, std::string &error)
{
    std::string name = encoding == "ascii" ? "ASCII" : encoding == "ebcdic" ? "IBM037" : encoding;
    iconv_t cd = iconv_open("UTF-8", name.c_str());
    if (cd == reinterpret_cast<iconv_t>(-1) && name.compare(0, 4, "IBM-") == 0)  // glibc knows IBM500, not IBM-500
        cd = iconv_open("UTF-8", ("IBM" + name.substr(4)).c_str());
    if (cd == reinterpret_cast<iconv_t>(-1)) {
        error = "iconv knows no code page \"" + encoding + "\"";
        return false;
    }
    std::memset(d.utf8_len, 0, sizeof d.utf8_len);
    for (int b = 0; b < 256; b++) {
        char in = static_cast<char>(b), *inp = &in, *outp = d.utf8[b];
        size_t inleft = 1, outleft = sizeof d.utf8[b];
        iconv(cd, nullptr, nullptr, nullptr, nullptr);
        if (iconv(cd, &inp, &inleft, &outp, &outleft) != static_cast<size_t>(-1) && inleft == 0)
            d.utf8_len[b] = static_cast<uint8_t>(sizeof d.utf8[b] - outleft);
        if (d.utf8_len[b] == 1 && d.utf8[b][0] == '\0')
            d.utf8_len[b] = 0;  // deliberate: NUL is no text; such a value is reported
    }
    // A mixed code page: shift-out and shift-in are no characters, and a
    // double-byte blank between them converts. Its handle lives as long as
    // the program, in a list that keeps it reachable.
    d.shifted = nullptr;
    char probe[] = "\x0E\x40\x40\x0F", out[16], *inp = probe, *outp = out;
    size_t inleft = 4, outleft = sizeof out;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    if (d.utf8_len[0x0E] == 0 && d.utf8_len[0x0F] == 0 &&
        iconv(cd, &inp, &inleft, &outp, &outleft) != static_cast<size_t>(-1) && inleft == 0 && outp != out) {
        static auto *kept = new std::vector<iconv_t>();  // never destroyed: the handles outlive every decoder
        kept->push_back(cd);
        d.shifted = cd;
    } else {
        iconv_close(cd);
    }
    auto byte_of = [&](char ch, uint8_t &to) {
        for (int b = 0; b < 256; b++)
            if (d.utf8_len[b] == 1 && d.utf8[b][0] == ch) {
                to = static_cast<uint8_t>(b);
                return true;
            }
        return false;
    };
    bool ok = byte_of(' ', d.blank) && byte_of('+', d.plus) && byte_of('-', d.minus) && byte_of('0', d.zero);
    d.ebcdic = d.zero == 0xF0;
    for (int i = 0; ok && i < 10; i++)
        ok = d.utf8_len[d.zero + i] == 1 && d.utf8[d.zero + i][0] == '0' + i;
    if (!ok || (d.zero != 0x30 && d.zero != 0xF0)) {
        error = "code page \"" + encoding + "\" has no digits at 0x30 or 0xF0, or no blank, + or -";
        return false;
    }
    return true;
}
