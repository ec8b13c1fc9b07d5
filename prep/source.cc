// Reads one source file into a stream: BOM and carriage returns off, tabs
// expanded, fixed or free format detected from the whole file (and switched
// by >>SOURCE FORMAT), indicator column, continuation lines joined, then
// each line's program text split into tokens. Called by main and by COPY.
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "prep/prep.h"

namespace {

// The comment main appends to the first line of output that is no fixed-format text.
const char FREE_MARK[] = " *> tarnmap-prep: free format";

// One physical line, before tokens: program text by column, and a comment.
struct SourceLine {
    std::string text;          // program text; index i is column i + 1
    std::string comment;       // a floating comment's text, or a comment line's
    bool comment_line = false;
    bool continues = false;    // fixed format, '-' in column 7
};

// The whole file (standard input for "-"); false when it cannot be read.
bool read_all(const std::string &path, std::string &data)
{
    std::FILE *in = path == "-" ? stdin : std::fopen(path.c_str(), "rb");
    if (in == nullptr)
        return false;
    char buffer[65536];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, in)) > 0)
        data.append(buffer, n);
    bool ok = !std::ferror(in);
    if (in != stdin)
        std::fclose(in);
    return ok;
}

// Lines without BOM, carriage returns and form feeds, tabs expanded to the next stop.
std::vector<std::string> split_lines(const std::string &data, int tab, std::vector<bool> &tabbed)
{
    std::vector<std::string> lines(1);
    tabbed.assign(1, false);
    std::size_t start = data.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    for (std::size_t i = start; i < data.size(); ++i) {
        char c = data[i];
        if (c == '\n') {
            lines.emplace_back();
            tabbed.push_back(false);
        } else if (c == '\t') {
            tabbed.back() = true;
            lines.back().append(static_cast<std::size_t>(tab) - lines.back().size() % static_cast<std::size_t>(tab), ' ');
        } else if (c != '\r' && c != '\f') {  // a form feed (a new page) takes no column
            lines.back() += c;
        }
    }
    if (lines.back().empty())
        lines.pop_back();
    return lines;
}

// The characters column 7 may hold in fixed format.
bool is_indicator(char c)
{
    return c != '\0' && std::strchr(" *-/Dd$", c) != nullptr;
}

// The index of the first non-blank from FROM on, or the size.
std::size_t first_nonblank(const std::string &s, std::size_t from = 0)
{
    std::size_t p = s.find_first_not_of(' ', from);
    return p == std::string::npos ? s.size() : p;
}

// Fixed or free, from every line: a sequence number or a comment indicator
// in column 7 speaks for fixed, text or "*>" starting in columns 1-6 for free.
bool detect_free(const std::vector<std::string> &lines, std::string &why)
{
    int fixed = 0, free = 0;
    for (const std::string &line : lines) {
        std::size_t p = first_nonblank(line);
        if (p == line.size())
            continue;
        bool digits = line.size() >= 7;
        for (std::size_t i = 0; i < 6 && digits; ++i)
            digits = std::isdigit(static_cast<unsigned char>(line[i])) != 0;
        if (p < 6 && (line.compare(p, 2, "*>") == 0 || line.compare(p, 2, ">>") == 0))
            ++free;
        else if (line.size() >= 7 && (line[6] == '*' || line[6] == '/') && p >= 6)
            ++fixed;
        else if (digits && is_indicator(line[6]))
            ++fixed;
        else if (p < 6 && !(line.size() >= 7 && is_indicator(line[6]) && line[6] != ' '))
            ++free;
    }
    why = std::to_string(fixed) + " lines with a comment indicator or a sequence number, " +
          std::to_string(free) + " starting in columns 1-6";
    return free > fixed;
}

// ">>SOURCE [FORMAT] [IS] FIXED|FREE": 1 fixed, 2 free, 0 another directive.
int format_directive(const std::string &text)
{
    std::string upper;
    for (char c : text)
        upper += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (upper.find("SOURCE") == std::string::npos)
        return 0;
    if (upper.find("FREE") != std::string::npos)
        return 2;
    return upper.find("FIXED") != std::string::npos ? 1 : 0;
}

// The state at the end of TEXT, scanned from FROM in STATE: 0 outside
// literals, the quote of a literal left open, '*' in a comment.
char scan_quotes(const std::string &text, std::size_t from, char state)
{
    for (std::size_t i = from; i < text.size() && state != '*'; ++i) {
        char c = text[i];
        if (state != 0) {
            if (c == state)
                state = 0;  // a doubled quote closes and reopens
        } else if (c == '"' || c == '\'') {
            state = c;
        } else if (c == '*' && i + 1 < text.size() && text[i + 1] == '>') {
            state = '*';
        }
    }
    return state;
}

bool is_quote(char c)
{
    return c == '"' || c == '\'';
}

// S without trailing blanks.
std::string rtrim(std::string s)
{
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

// A fixed-format line: columns 1-6 and 73 on dropped, column 7 read.
SourceLine fixed_line(const std::string &line, bool tabbed, int file, int lineno)
{
    SourceLine out;
    if (line.size() < 7)
        return out;
    char ind = line[6];
    std::string area = line.size() > 7 ? line.substr(7, 65) : std::string();
    // Tabs set for another width push text past column 72: a word cut there is kept whole.
    if (tabbed && line.size() > 72 && line[71] != ' ' && line[72] != ' ' && ind == ' ') {
        area = rtrim(line.substr(7));
        problem(file, lineno, "tabs push the text past column 72: the line is kept whole");
    }
    if (ind == '*' || ind == '/' || ind == 'D' || ind == 'd' || ind == '$') {
        out.comment_line = true;
        out.comment = rtrim(ind == '*' ? area : std::string(1, ind) + area);
        return out;
    }
    // Words with a blank between them are program text, not a sequence number.
    std::string sequence = line.substr(0, 6);
    std::size_t first = sequence.find_first_not_of(' '), last = sequence.find_last_not_of(' ');
    if (first != std::string::npos && sequence.find(' ', first) < last)
        problem(file, lineno, "columns 1-6 hold '" + sequence + "', which is no sequence number: left out");
    out.text = std::string(7, ' ') + area;
    if (ind == '-') {
        out.continues = true;
    } else if (!is_indicator(ind)) {
        problem(file, lineno, std::string("column 7 holds '") + ind +
                "', which is no indicator: the line is read from column 7 on");
        out.text[6] = ind;
    }
    return out;
}

// A free-format line: a comment line, or text as it stands.
SourceLine free_line(const std::string &line)
{
    SourceLine out;
    std::size_t p = first_nonblank(line);
    if (line.compare(p, 2, "*>") == 0) {
        out.comment_line = true;
        out.comment = rtrim(line.substr(p + 1));
        return out;
    }
    out.text = line;
    return out;
}

// Joins '-' lines to the line they continue: a literal left open resumes
// behind the continuation line's quote, anything else behind its first
// non-blank. The continuation line keeps no text. The state of the line in
// work is kept as text is added, so a long chain of continuations is read once.
void join_continuations(std::vector<SourceLine> &lines, int file)
{
    int last = -1;    // the code line a continuation would continue
    char state = 0;   // scan_quotes at its end
    auto close_open = [&]() {
        if (last < 0 || !is_quote(state))
            return;
        problem(file, last + 1, "a literal is not terminated: closed at the end of the line");
        std::string &text = lines[static_cast<std::size_t>(last)].text;
        text.erase(text.find_last_not_of(' ') + 1);
        text += state;
    };
    for (std::size_t i = 0; i < lines.size(); ++i) {
        SourceLine &line = lines[i];
        int lineno = static_cast<int>(i) + 1;
        if (!line.continues && (line.comment_line || first_nonblank(line.text) == line.text.size()))
            continue;
        if (!line.continues) {
            close_open();
            last = static_cast<int>(i);
            state = scan_quotes(line.text, 0, 0);
            continue;
        }
        std::string rest = line.text.substr(std::min(line.text.size(), first_nonblank(line.text, 7)));
        line.text.clear();
        if (last < 0) {
            problem(file, lineno, "a continuation line continues no line");
            continue;
        }
        std::string &text = lines[static_cast<std::size_t>(last)].text;
        if (is_quote(state)) {
            if (rest.empty() || !is_quote(rest[0])) {
                problem(file, lineno, "a continued literal does not resume with a quote");
            } else {
                text.resize(std::max<std::size_t>(text.size(), 72), ' ');
                rest.erase(0, 1);
            }
        } else {
            text.erase(text.find_last_not_of(' ') + 1);
        }
        std::size_t from = text.size();
        text += rest;
        state = scan_quotes(text, from, state);
    }
    close_open();
}

}  // namespace

// Words, literals, periods and pseudo-text delimiters, each with its column; "*>" starts the comment.
void tokenize(const std::string &text, int first_col, Stream &out)
{
    int file = 0, lineno = 0;
    for (auto it = out.rbegin(); it != out.rend(); ++it)
        if (it->line) {
            file = it->file;
            lineno = it->lineno;
            break;
        }
    std::size_t i = 0, n = text.size();
    auto separator_end = [&](std::size_t k) { return k + 1 >= n || text[k + 1] == ' '; };
    while (i < n) {
        if (text[i] == ' ') {
            ++i;
            continue;
        }
        Elem token;
        token.file = file;
        token.lineno = lineno;
        token.col = first_col + static_cast<int>(i);
        token.glued = i > 0 && text[i - 1] != ' ';
        std::size_t start = i;
        if (text.compare(i, 2, "*>") == 0) {
            for (auto it = out.rbegin(); it != out.rend(); ++it)
                if (it->line) {
                    it->comment = text.substr(i + 2);
                    break;
                }
            return;
        }
        // A literal, with a prefix of letters (X'..', NX'..') or none.
        std::size_t q = i;
        while (q < n && q < i + 2 && std::isalpha(static_cast<unsigned char>(text[q])))
            ++q;
        if (q < n && (text[q] == '"' || text[q] == '\'') &&
            (q == i || std::strchr("XZNGBxzngb", text[i]) != nullptr)) {
            char quote = text[q];
            std::size_t k = q + 1;
            for (; k < n; ++k)
                if (text[k] == quote) {
                    if (k + 1 < n && text[k + 1] == quote)
                        ++k;
                    else
                        break;
                }
            i = std::min(k + 1, n);
            token.text = text.substr(start, i - start);
            token.literal = true;
            out.push_back(token);
            continue;
        }
        if ((text[i] == ',' || text[i] == ';') && separator_end(i)) {
            ++i;  // a separator is a blank to a compiler
            continue;
        }
        if (text[i] == '.' && separator_end(i)) {
            token.text = ".";
            out.push_back(token);
            ++i;
            continue;
        }
        if (text.compare(i, 2, "==") == 0 || text[i] == '&') {
            token.text = text[i] == '&' ? "&" : "==";
            out.push_back(token);
            i += token.text.size();
            continue;
        }
        while (i < n && text[i] != ' ' && text[i] != '&' && text.compare(i, 2, "==") != 0 &&
               !((text[i] == '.' || text[i] == ',' || text[i] == ';') && separator_end(i)) &&
               !(i > start && (text[i] == '"' || text[i] == '\'')))
            ++i;
        token.text = text.substr(start, i - start);
        out.push_back(token);
    }
}

// A line mark for every line of the file, then its tokens.
bool read_source(int file, const Options &options, Stream &out, int where_file, int where_line)
{
    const std::string path = files()[static_cast<std::size_t>(file)];
    std::string data;
    errno = 0;
    if (!read_all(path, data)) {
        std::string reason = errno != 0 ? std::strerror(errno) : "read error";
        problem(where_file, where_line, "cannot read " + (path == "-" ? std::string("standard input") : path) + ": " + reason);
        return false;
    }
    std::vector<bool> tabbed;
    std::vector<std::string> raw = split_lines(data, options.tab, tabbed);
    bool marked = !raw.empty() && raw[0].size() >= sizeof FREE_MARK - 1 &&
                  raw[0].compare(raw[0].size() - (sizeof FREE_MARK - 1), std::string::npos, FREE_MARK) == 0;
    if (marked)
        raw[0].resize(raw[0].size() - (sizeof FREE_MARK - 1));
    std::string why;
    bool free = options.format == 2 || (options.format == 0 && (marked || detect_free(raw, why)));
    if (options.format != 0)
        why = "as the command line asks";
    else if (marked)
        why = "its first line says so";
    note(options, file, 1, std::string(free ? "free" : "fixed") + " format (" + why + ")");

    std::vector<SourceLine> lines;
    for (std::size_t i = 0; i < raw.size(); ++i) {
        int lineno = static_cast<int>(i) + 1;
        const std::string &line = raw[i];
        std::size_t p = first_nonblank(line, free ? 0 : std::min<std::size_t>(line.size(), 7));
        if ((free || line.size() <= 7 || line[6] == ' ') && line.compare(p, 2, ">>") == 0) {
            SourceLine directive;
            directive.comment_line = true;
            directive.comment = "> " + rtrim(line.substr(p));
            if (int format = format_directive(line.substr(p)))
                free = format == 2;
            else
                problem(file, lineno, "directive " + rtrim(line.substr(p)) + " is not obeyed: kept as a comment");
            lines.push_back(directive);
            continue;
        }
        lines.push_back(free ? free_line(line) : fixed_line(line, tabbed[i], file, lineno));
    }
    join_continuations(lines, file);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        Elem mark;
        mark.line = true;
        mark.file = file;
        mark.lineno = static_cast<int>(i) + 1;
        mark.comment = lines[i].comment;
        mark.comment_line = lines[i].comment_line;
        out.push_back(mark);
        if (!lines[i].comment_line)
            tokenize(lines[i].text, 1, out);
    }
    return true;
}
