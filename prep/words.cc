// Word-level rewrites on the expanded text: upper case outside literals,
// listing-control statements taken out, and clause forms and USAGE words the
// converter's grammar does not take written in a form it does, with the same
// size and kind of storage. Called by main after COPY and REPLACE.
#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "prep/prep.h"

namespace {

// A USAGE word of another dialect and what the dictionary can hold instead.
struct UsageRewrite {
    const char *word;
    const char *digits;   // a binary item of these digits: 2, 4 or 8 bytes
    int bytes;            // no equivalent: PIC X(bytes)
    const char *storage;  // how it is really stored, for the warning
};

constexpr UsageRewrite USAGES[] = {
    {"BINARY-CHAR", "2", 1, "a 1-byte binary integer"},
    {"BINARY-SHORT", "4", 0, nullptr},
    {"BINARY-LONG", "9", 0, nullptr},
    {"BINARY-DOUBLE", "18", 0, nullptr},
    {"BINARY-C-LONG", "18", 0, nullptr},
    {"BINARY-LONG-LONG", "18", 0, nullptr},
    {"FLOAT-LONG", nullptr, 0, nullptr},
    {"FLOAT-SHORT", nullptr, 4, "a 4-byte floating-point number"},
    {"COMP-1", nullptr, 4, "a 4-byte floating-point number"},
    {"COMPUTATIONAL-1", nullptr, 4, "a 4-byte floating-point number"},
    {"FLOAT-DECIMAL-16", nullptr, 8, "an 8-byte decimal floating-point number"},
    {"FLOAT-DECIMAL-34", nullptr, 16, "a 16-byte decimal floating-point number"},
    {"FLOAT-EXTENDED", nullptr, 16, "a 16-byte floating-point number"},
};

// Words that begin a clause: behind a level number they mean the entry has no name.
const char *const CLAUSE_WORDS[] = {
    "PIC", "PICTURE", "REDEFINES", "USAGE", "OCCURS", "VALUE", "VALUES", "SYNC", "SYNCHRONIZED",
    "SYNCHRONISED", "JUST", "JUSTIFIED", "BLANK", "SIGN", "BINARY", "PACKED-DECIMAL", "DISPLAY",
    "INDEX", "POINTER", "GLOBAL", "EXTERNAL", "IS", "LEADING", "TRAILING"};

// Digits only: a level number or a size.
bool is_number(const std::string &s)
{
    if (s.empty())
        return false;
    for (char c : s)
        if (!std::isdigit(static_cast<unsigned char>(c)))
            return false;
    return true;
}

// A number that starts with its decimal point (.5, -.25): the converter
// reads the point as the end of the entry.
bool is_point_number(const std::string &w)
{
    std::size_t p = w.size() > 1 && (w[0] == '+' || w[0] == '-') ? 1 : 0;
    return w.size() > p + 1 && w[p] == '.' && is_number(w.substr(p + 1));
}

// A floating-point literal (1.5E+3, -.25E-2) as the decimal number it is
// (1500, -0.0025), or "" when W is none: the converter reads no exponent.
std::string float_as_decimal(const std::string &w)
{
    std::size_t e = w.find('E');
    if (e == std::string::npos || e == 0)
        return "";
    std::size_t p = w[0] == '+' || w[0] == '-' ? 1 : 0;
    std::string mantissa = w.substr(p, e - p), exponent = w.substr(e + 1);
    std::size_t point = mantissa.find('.');
    std::string digits = point == std::string::npos ? mantissa : mantissa.substr(0, point) + mantissa.substr(point + 1);
    if (!exponent.empty() && (exponent[0] == '+' || exponent[0] == '-'))
        exponent.erase(0, 1);
    if (!is_number(digits) || !is_number(exponent) || exponent.size() > 2)
        return "";
    long shift = std::stol(exponent) * (w[e + 1] == '-' ? -1 : 1);
    long at = static_cast<long>(point == std::string::npos ? digits.size() : point) + shift;
    if (at <= 0) {
        digits.insert(0, static_cast<std::size_t>(1 - at), '0');
        at = 1;
    } else if (at > static_cast<long>(digits.size())) {
        digits.append(static_cast<std::size_t>(at) - digits.size(), '0');
    }
    std::string whole = digits.substr(0, static_cast<std::size_t>(at)), fraction = digits.substr(static_cast<std::size_t>(at));
    whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size() - 1));
    fraction.erase(fraction.find_last_not_of('0') + 1);
    return w.substr(0, p) + whole + (fraction.empty() ? "" : "." + fraction);
}

// Whether W begins a clause rather than naming an entry.
bool is_clause_word(const std::string &w)
{
    for (const char *c : CLAUSE_WORDS)
        if (w == c)
            return true;
    if (w == "COMP" || w == "COMPUTATIONAL" || (w.size() == 6 && w.compare(0, 5, "COMP-") == 0) ||
        (w.size() == 15 && w.compare(0, 14, "COMPUTATIONAL-") == 0))
        return true;
    for (const UsageRewrite &u : USAGES)
        if (w == u.word)
            return true;
    return false;
}

// S in upper case.
std::string upper(std::string s)
{
    for (char &c : s)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

// A hexadecimal digit's value, or -1.
int hex_value(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// A literal with a prefix as an ordinary one: X'41' as 'A', N'..', G'..' and
// Z'..' as their text. Hexadecimal bytes that cannot stand in a literal give ''.
void plain_literal(Elem &e, const Options &options, const std::string &item)
{
    std::size_t q = e.text.find_first_of("'\"");
    std::string prefix = upper(e.text.substr(0, q));
    std::string body = e.text.substr(q + 1, e.text.size() >= q + 2 ? e.text.size() - q - 2 : 0);
    std::string was = e.text;
    if (prefix.back() == 'X') {
        std::string bytes;
        bool printable = body.size() % 2 == 0;
        for (std::size_t i = 0; printable && i + 1 < body.size(); i += 2) {
            int hi = hex_value(body[i]), lo = hex_value(body[i + 1]);
            int c = hi * 16 + lo;
            printable = hi >= 0 && lo >= 0 && c >= 0x20 && c < 0x7F && c != '\'' && c != '"';
            bytes += static_cast<char>(c);
        }
        if (!printable) {
            e.text = "''";
            problem(e.file, e.lineno, item + ": " + was + " holds bytes no literal of the converter can hold: written as ''");
            return;
        }
        e.text = "'" + bytes + "'";
    } else {
        e.text = e.text.substr(q);
    }
    note(options, e.file, e.lineno, item + ": " + was + " written as " + e.text);
}

// The converter's literals hold no quote of either kind: those inside one
// (a doubled delimiter, the other kind) are left out, with a warning.
void drop_inner_quotes(Elem &e, const std::string &item)
{
    if (e.text.size() < 2 || e.text.back() != e.text[0])
        return;
    std::string body = e.text.substr(1, e.text.size() - 2), kept;
    for (char c : body)
        if (c != '\'' && c != '"')
            kept += c;
    if (kept.size() == body.size())
        return;
    problem(e.file, e.lineno, item + ": the literal " + e.text + " holds quotes, which no literal of the converter can hold: written as '" + kept + "'");
    e.text = "'" + kept + "'";
}

// Character positions of a PICTURE made of LETTERS only, with repeat counts
// ("N(4)N" is 5); 0 when it holds anything else.
long positions(const std::string &picture, const char *letters)
{
    long count = 0;
    for (std::size_t i = 0; i < picture.size(); ++i) {
        if (picture[i] == 'S' && i == 0)
            continue;
        if (std::strchr(letters, picture[i]) == nullptr || picture[i] == '\0')
            return 0;
        long repeat = 1;
        if (i + 1 < picture.size() && picture[i + 1] == '(') {
            std::size_t close = picture.find(')', i);
            std::string digits = close == std::string::npos ? "" : picture.substr(i + 2, close - i - 2);
            if (!is_number(digits) || digits.size() > 6)
                return 0;
            repeat = std::stol(digits);
            i = close;
        }
        count += repeat;
    }
    return count;
}

// National and DBCS items take 2 bytes a character, which the dictionary has
// no type for: their PICTURE becomes X of the same size, with a warning.
void national_to_bytes(Stream &s, const std::vector<std::size_t> &t, const std::string &item)
{
    std::size_t pic = 0, usage = 0;
    for (std::size_t j = 1; j < t.size(); ++j) {
        const std::string &w = s[t[j]].text;
        if ((w == "PIC" || w == "PICTURE") && j + 1 < t.size())
            pic = s[t[j + 1]].text == "IS" && j + 2 < t.size() ? j + 2 : j + 1;
        if (w == "NATIONAL")
            usage = j;
    }
    if (pic == 0)
        return;
    Elem &e = s[t[pic]];
    long chars = positions(e.text, usage != 0 ? "NGXA9" : "NG");
    if (chars == 0 || (usage == 0 && e.text.find_first_of("NG") == std::string::npos))
        return;
    std::string was = e.text;
    e.text = "X(" + std::to_string(2 * chars) + ")";
    if (usage != 0) {
        s[t[usage]].text.clear();
        for (std::size_t k = usage; k-- > 1 && (s[t[k]].text == "USAGE" || s[t[k]].text == "IS");)
            s[t[k]].text.clear();
    }
    problem(e.file, e.lineno, item + " holds " + std::to_string(chars) + " characters of 2 bytes (PIC " + was +
            (usage != 0 ? " NATIONAL" : "") + "), which the dictionary has no type for: written as PIC " + e.text +
            ", so that the items behind it keep their offsets");
}

// The converter counts a repeat count only behind 9, A, X and P: Z(5)9 would
// be 2 positions. Written out (ZZZZZ9) it means the same to a compiler and
// counts right, as long as it stays within the 64 characters the converter reads.
void write_out_repeats(Stream &s, const std::vector<std::size_t> &t, const Options &options, const std::string &item)
{
    for (std::size_t j = 1; j + 1 < t.size(); ++j) {
        if (s[t[j]].text != "PIC" && s[t[j]].text != "PICTURE")
            continue;
        Elem &e = s[t[j + 1]].text == "IS" && j + 2 < t.size() ? s[t[j + 2]] : s[t[j + 1]];
        std::string out;
        for (std::size_t i = 0; i < e.text.size(); ++i) {
            std::size_t close = e.text.find(')', i);
            char c = e.text[i];
            if (i + 1 < e.text.size() && e.text[i + 1] == '(' && std::strchr("9AXP", c) == nullptr &&
                close != std::string::npos && is_number(e.text.substr(i + 2, close - i - 2)) && close - i - 2 <= 3) {
                out.append(std::stoul(e.text.substr(i + 2, close - i - 2)), c);
                i = close;
            } else {
                out += c;
            }
        }
        if (out == e.text)
            return;
        if (out.size() > 64) {
            problem(e.file, e.lineno, item + ": PIC " + e.text + " written out would pass the 64 characters the converter reads: kept, and counted short");
            return;
        }
        note(options, e.file, e.lineno, item + ": PIC " + e.text + " written out as " + out);
        e.text = out;
        return;
    }
}

// "AB" & 'CD' as one literal "ABCD": the converter reads no concatenation.
void join_literals(Stream &s, const std::vector<std::size_t> &t, const Options &options, const std::string &item)
{
    auto plain = [&](Elem &e) {
        if (e.text[0] != '\'' && e.text[0] != '"')
            plain_literal(e, options, item);
    };
    for (std::size_t j = 0; j < t.size(); ++j) {
        Elem &e = s[t[j]];
        std::string was = e.text;
        for (; e.literal && j + 2 < t.size() && s[t[j + 1]].text == "&" && s[t[j + 2]].literal; j += 2) {
            Elem &more = s[t[j + 2]];
            was += " & " + more.text;
            plain(e);
            plain(more);
            e.text = e.text.substr(0, e.text.size() - 1) + more.text.substr(1, more.text.size() - 2) + e.text[0];
            s[t[j + 1]].text.clear();
            more.text.clear();
            more.literal = false;
        }
        if (was != e.text)
            note(options, e.file, e.lineno, item + ": " + was + " joined into " + e.text);
    }
}

// Rewrites one data description entry, T its tokens without the period.
void rewrite_entry(Stream &s, const std::vector<std::size_t> &t, Elem *period, const Options &options)
{
    std::string level = s[t[0]].text;
    bool named = t.size() > 1 && !is_clause_word(s[t[1]].text);
    if (!named && level != "66" && level != "88") {
        s[t[0]].text += " FILLER";
        note(options, s[t[0]].file, s[t[0]].lineno, "an entry without a name is a FILLER");
    }
    std::string item = named ? s[t[1]].text : "FILLER";
    bool detach = false;  // the last clause cannot take the period behind it
    bool has_picture = false;
    bool in_value = false;
    for (std::size_t j = 1; j < t.size(); ++j)
        has_picture = has_picture || s[t[j]].text == "PIC" || s[t[j]].text == "PICTURE";
    join_literals(s, t, options, item);
    for (std::size_t j = 1; j < t.size(); ++j) {
        Elem &e = s[t[j]];
        const std::string w = e.literal ? std::string() : e.text;
        bool last = j + 1 == t.size();
        // A word behind VALUE up to the next clause is a value, not a data name such as 1E2.
        in_value = w == "VALUE" || w == "VALUES" || (in_value && (w == "IS" || !is_clause_word(w)));
        auto next_is = [&](const char *word) { return j + 1 < t.size() && s[t[j + 1]].text == word; };
        if (e.literal) {
            if (e.text[0] != '\'' && e.text[0] != '"')
                plain_literal(e, options, item);
            drop_inner_quotes(e, item);
        } else if (in_value && !float_as_decimal(w).empty()) {
            e.text = float_as_decimal(w);
            note(options, e.file, e.lineno, item + ": " + w + " written as " + e.text);
        } else if (is_point_number(w)) {
            e.text.insert(w.find('.'), "0");
            note(options, e.file, e.lineno, item + ": " + w + " written as " + e.text);
        } else if (w == "SYNC" || w == "SYNCHRONIZED" || w == "SYNCHRONISED") {
            if (next_is("LEFT") || next_is("RIGHT")) {
                e.text = "SYNC";
                detach = j + 2 == t.size();
            } else {
                e.text = "SYNC LEFT";
                detach = last;
                note(options, e.file, e.lineno, item + ": " + w + " written as SYNC LEFT");
            }
        } else if (w == "JUST" || w == "JUSTIFIED" || w == "BLANK" || w == "RIGHT" || w == "LEFT") {
            detach = last;
        } else if ((w == "ZERO" || w == "ZEROS" || w == "ZEROES") && j > 1 &&
                   (s[t[j - 1]].text == "WHEN" || s[t[j - 1]].text == "BLANK")) {
            detach = last;
        } else if ((w == "VALUE" || w == "VALUES") && j + 2 < t.size() &&
                   (next_is("ZERO") || next_is("ZEROS") || next_is("ZEROES"))) {
            // The figurative constant is a value only right in front of the period.
            s[t.back()].text += " " + w + " " + s[t[j + 1]].text;
            note(options, e.file, e.lineno, item + ": VALUE " + s[t[j + 1]].text + " moved behind the other clauses");
            e.text.clear();
            s[t[j + 1]].text.clear();
            ++j;
        } else {
            for (const UsageRewrite &u : USAGES) {
                if (w != u.word)
                    continue;
                bool is_unsigned = next_is("UNSIGNED");
                if (next_is("SIGNED") || next_is("UNSIGNED"))
                    s[t[j + 1]].text.clear();
                const char *digits = u.digits;
                if (w == "BINARY-CHAR" && !options.wide_binary)
                    digits = nullptr;
                if (digits != nullptr) {
                    e.text = has_picture ? "COMP" : std::string("COMP PIC ") + (is_unsigned ? "9(" : "S9(") + digits + ")";
                } else if (u.bytes == 0) {
                    e.text = "COMP-2";
                } else {
                    e.text = "PIC X(" + std::to_string(u.bytes) + ")";
                    for (std::size_t k = j; k-- > 1 && (s[t[k]].text == "USAGE" || s[t[k]].text == "IS");)
                        s[t[k]].text.clear();
                    problem(e.file, e.lineno, item + " is " + u.storage + " (" + w +
                            "), which the dictionary has no type for: written as " + e.text +
                            ", so that the items behind it keep their offsets");
                    break;
                }
                note(options, e.file, e.lineno, item + ": " + w + " written as " + e.text);
                break;
            }
        }
    }
    national_to_bytes(s, t, item);
    write_out_repeats(s, t, options, item);
    if (detach && period != nullptr)
        period->detached = true;
}

// An FD entry: the smallest size of RECORD VARYING, which the grammar does not take, goes.
void rewrite_fd(Stream &s, const std::vector<std::size_t> &t, const Options &options)
{
    for (std::size_t j = 0; j + 1 < t.size(); ++j) {
        if (s[t[j]].text != "VARYING")
            continue;
        std::size_t k = j + 1;
        while (k < t.size() && (s[t[k]].text == "IN" || s[t[k]].text == "SIZE" || s[t[k]].text == "FROM"))
            ++k;
        if (k < t.size() && is_number(s[t[k]].text)) {
            note(options, s[t[k]].file, s[t[k]].lineno, "RECORD VARYING: the smallest size " + s[t[k]].text + " left out");
            s[t[k]].text.clear();
        }
    }
}

}  // namespace

// Equal words, case aside.
// Where a header starts at token k of T: -1 for the sections that may hold
// records of files (FILE, WORKING-STORAGE and LINKAGE SECTION), 1 for every
// other division, section or END PROGRAM, 0 for no header.
int header_kind(const Stream &s, const std::vector<std::size_t> &t, std::size_t k)
{
    if (k + 1 >= t.size() || s[t[k]].literal || s[t[k + 1]].literal)
        return 0;
    const std::string &w = s[t[k]].text, &next = s[t[k + 1]].text;
    if (next == "SECTION")
        return w == "FILE" || w == "WORKING-STORAGE" || w == "LINKAGE" ? -1
               : w == "LOCAL-STORAGE" || w == "REPORT" || w == "SCREEN" || w == "COMMUNICATION" ? 1
                                                                                                : 0;
    bool division = next == "DIVISION";
    return (division && (w == "IDENTIFICATION" || w == "ID" || w == "ENVIRONMENT" || w == "DATA" || w == "PROCEDURE")) ||
                   (w == "END" && next == "PROGRAM")
               ? 1
               : 0;
}

// Text of the tokens [from, to) at their columns, as main writes them, from
// column 8 on (with one blank in front when they start further left).
std::string columns_text(const Stream &s, std::size_t from, std::size_t to)
{
    std::string out = tokens_at_columns(s.data() + from, s.data() + to);
    std::size_t start = out.find_first_not_of(' ');
    return start >= 7 ? out.substr(7) : " " + out.substr(start);
}

// The parts of a program that hold no record of a file become comments, so
// that the converter reads none of them as records of the file before: it
// takes only WORKING-STORAGE and LINKAGE as the end of the file section, and
// reads what follows them (or a SELECT) as text to pass over.
void comment_out_non_records(Stream &s, std::vector<std::size_t> &t, const Options &options)
{
    std::vector<bool> out(t.size(), false);
    bool on = false;
    for (std::size_t k = 0; k < t.size(); ++k) {
        // EXEC SQL ... END-EXEC (a DCLGEN member's table declaration, an
        // INCLUDE of a precompiler) holds no record either.
        if (!s[t[k]].literal && s[t[k]].text == "EXEC" && k + 1 < t.size()) {
            std::size_t from = k;
            while (k < t.size() && (s[t[k]].literal || s[t[k]].text != "END-EXEC"))
                out[k++] = true;
            if (k + 1 < t.size() && s[t[k + 1]].text == ".")
                out[k++] = true;
            if (k < t.size())
                out[k] = true;
            note(options, s[t[from]].file, s[t[from]].lineno, "EXEC " + s[t[from + 1]].text + " ... END-EXEC kept as comments");
            continue;
        }
        int kind = header_kind(s, t, k);
        if (kind != 0 && on != (kind > 0)) {
            on = kind > 0;
            if (on)
                note(options, s[t[k]].file, s[t[k]].lineno,
                     s[t[k]].text + " " + s[t[k + 1]].text +
                         " up to the next FILE, WORKING-STORAGE or LINKAGE SECTION kept as comments: no record of a "
                         "file stands there");
        }
        out[k] = on;
    }
    // Line by line: a line wholly out becomes a comment line; its tail out, a comment behind it.
    for (std::size_t k = 0; k < t.size();) {
        std::size_t mark = t[k];
        while (!s[mark].line)
            --mark;
        std::size_t end = k;
        while (end < t.size() && (end == k || !s[t[end] - 1].line))
            ++end;  // the tokens of this line: [k, end)
        std::size_t first = k;
        while (first < end && !out[first])
            ++first;
        bool tail = first < end && out[end - 1];
        if (tail) {
            std::string text = columns_text(s, t[first], t[end - 1] + 1);
            if (first != k)  // behind the tokens kept: one blank, then the text
                text = " " + text.substr(text.find_first_not_of(' '));
            Elem &m = s[mark];
            m.comment = text + (m.comment.empty() ? "" : " *>" + m.comment);
            m.comment_line = first == k;
        }
        for (std::size_t j = k; j < end; ++j)
            if (out[j])
                s[t[j]].text.clear();
        k = end;
    }
    t.erase(std::remove_if(t.begin(), t.end(), [&](std::size_t i) { return s[i].text.empty(); }), t.end());
}

bool same_word(const std::string &a, const char *b)
{
    std::size_t n = std::strlen(b);
    if (a.size() != n)
        return false;
    for (std::size_t i = 0; i < n; ++i)
        if (std::toupper(static_cast<unsigned char>(a[i])) != std::toupper(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

// Case first, then listing-control statements, then statement by statement.
void rewrite_words(Stream &s, const Options &options)
{
    std::vector<std::size_t> t;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i].line)
            continue;
        Elem &e = s[i];
        if (!e.literal) {
            e.text = upper(e.text);
        } else {
            std::size_t q = e.text.find_first_of("'\"");
            e.text = upper(e.text.substr(0, q)) + e.text.substr(q);
        }
        t.push_back(i);
    }
    comment_out_non_records(s, t, options);
    // Listing-control statements, and a period of theirs that would stand alone.
    bool sentence_start = true;  // the last token kept is a period, or there is none
    for (std::size_t k = 0; k < t.size(); ++k) {
        Elem &e = s[t[k]];
        bool title = !e.literal && e.text == "TITLE";
        if (e.literal || (!title && e.text != "EJECT" && e.text != "SKIP1" && e.text != "SKIP2" && e.text != "SKIP3")) {
            sentence_start = e.text == ".";
            continue;
        }
        note(options, e.file, e.lineno, e.text + " taken out");
        e.text.clear();
        if (title && k + 1 < t.size() && s[t[k + 1]].literal)
            s[t[++k]].text.clear();
        if (k + 1 < t.size() && s[t[k + 1]].text == "." && sentence_start)
            s[t[++k]].text.clear();
    }
    // Statements, split at periods.
    std::vector<std::size_t> stmt;
    for (std::size_t k = 0; k <= t.size(); ++k) {
        bool end = k == t.size() || s[t[k]].text == ".";
        if (!end) {
            if (!s[t[k]].text.empty())
                stmt.push_back(t[k]);
            continue;
        }
        if (!stmt.empty()) {
            Elem *period = k < t.size() ? &s[t[k]] : nullptr;
            const std::string &first = s[stmt[0]].text;
            if (first == "FD" || first == "SD")
                rewrite_fd(s, stmt, options);
            else if (is_number(first) && first.size() <= 2)
                rewrite_entry(s, stmt, period, options);
        }
        stmt.clear();
    }
}
