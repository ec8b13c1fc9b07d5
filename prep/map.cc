// The prepared stream as text lines, and the --map file that says for every
// line the file and line it came from. Fixed-format text when every line
// fits, free format (marked on the first line) otherwise. Called by main.
#include <cstdio>
#include <string>
#include <vector>

#include "prep/prep.h"

namespace {

// Said behind the first line when the text is free format; source.cc reads it back.
const char FREE_MARK[] = " *> tarnmap-prep: free format";

// S without trailing blanks.
std::string rtrim(std::string s)
{
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

// One line: tokens at their columns, then the comment.
std::string render_line(const Elem &mark, const Elem *first, const Elem *end, bool free, bool &fits)
{
    std::string out = tokens_at_columns(first, end);
    if (mark.comment_line) {
        out = std::string(6, ' ') + (!free ? "*" : mark.comment.compare(0, 1, ">") == 0 ? "*" : "*>") + mark.comment;
    } else if (!mark.comment.empty()) {
        out += (out.empty() ? std::string(6, ' ') : std::string(" ")) + "*>" + mark.comment;
    }
    out = rtrim(out);
    if (out.empty())
        out.push_back(' ');  // the converter counts a run of line ends as one line: keep every line counted
    std::size_t p = out.find_first_not_of(' ');
    fits = fits && out.size() <= 72 && (p == std::string::npos || p >= 7 || (p == 6 && out[6] == '*'));
    return out;
}

// Every line of S in one format; FITS turns false when a line is no fixed-format text.
std::vector<std::string> render_as(const Stream &s, bool free, bool &fits, std::vector<const Elem *> &origins)
{
    std::vector<std::string> lines;
    origins.clear();
    for (std::size_t i = 0; i < s.size();) {
        std::size_t end = i + 1;
        while (end < s.size() && !s[end].line)
            ++end;
        if (s[i].line) {
            lines.push_back(render_line(s[i], s.data() + i + 1, s.data() + end, free, fits));
            origins.push_back(&s[i]);
        }
        i = end;
    }
    return lines;
}

}  // namespace

// Tokens at their columns (made-up ones at column 8), a blank between those
// the source had apart.
std::string tokens_at_columns(const Elem *first, const Elem *end)
{
    std::string out;
    for (const Elem *e = first; e != end; ++e) {
        if (e->text.empty())
            continue;
        if (out.empty()) {
            out.assign(static_cast<std::size_t>(e->col > 0 ? e->col - 1 : 7), ' ');
        } else if (!e->glued || e->detached) {
            std::size_t col = static_cast<std::size_t>(e->col > 0 ? e->col - 1 : 0);
            out.append(col > out.size() ? col - out.size() : 1, ' ');
        }
        out += e->text;
    }
    return out;
}

// Fixed-format text when every line fits, free format otherwise.
std::vector<std::string> render(const Stream &stream, std::vector<const Elem *> &origins)
{
    bool fits = true;
    std::vector<std::string> lines = render_as(stream, false, fits, origins);
    if (fits)
        return lines;
    lines = render_as(stream, true, fits, origins);
    if (!lines.empty())
        lines[0] += FREE_MARK;
    return lines;
}

// The map: output line, line, file, a line each.
bool write_map(const char *path, const std::vector<const Elem *> &origins)
{
    std::FILE *out = std::fopen(path, "w");
    if (out == nullptr)
        return false;
    for (std::size_t i = 0; i < origins.size(); ++i)
        std::fprintf(out, "%zu\t%d\t%s\n", i + 1, origins[i]->lineno,
                     files()[static_cast<std::size_t>(origins[i]->file)].c_str());
    bool ok = !std::ferror(out);
    return std::fclose(out) == 0 && ok;
}
