// COPY and REPLACE: members found where compilers look, read in their own
// format, expanded in place (nested ones first), REPLACING applied to the
// whole member text, loops reported with the chain of includes. REPLACE
// statements then act on the expanded text. Called by main.
#include <sys/stat.h>

#include <cctype>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "prep/prep.h"

namespace {

// Members read in one run at most: members that COPY others twice over grow
// the text exponentially, which no real source does.
constexpr std::size_t MAX_MEMBERS = 100000;

// One REPLACING or REPLACE operand pair.
struct Replacement {
    int side = 0;                    // 0 whole text, 1 LEADING, 2 TRAILING
    std::vector<std::string> from;   // tokens to match, case aside
    std::vector<std::string> to;     // tokens put in their place
};

// A COPY on the way to the file in work: where it stood, and the file it read.
struct Include {
    int file;
    int line;
    std::string path;  // the real path of the file it brought in
};

// A token that is WORD, case aside, and no literal.
bool is_word(const Elem &e, const char *word)
{
    return !e.line && !e.literal && same_word(e.text, word);
}

// The path with links and dots resolved, to know a member met before.
std::string real_path(const std::string &path)
{
    char buffer[PATH_MAX];
    return realpath(path.c_str(), buffer) != nullptr ? std::string(buffer) : path;
}

// A regular file: a folder of the same name is no member.
bool is_file(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

// S in upper or lower case.
std::string case_of(std::string s, bool upper)
{
    for (char &c : s)
        c = static_cast<char>(upper ? std::toupper(static_cast<unsigned char>(c))
                                    : std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// The member's file: the including file's folder, -I, COBCPY; the name as
// written, then (unquoted) in upper and lower case; bare or with an extension.
std::string find_member(const std::string &name, bool quoted, const std::string &library,
                        const std::string &including, const Options &options, std::string &looked)
{
    std::vector<std::string> dirs;
    std::size_t slash = including.rfind('/');
    dirs.push_back(including == "-" || slash == std::string::npos ? "." : including.substr(0, slash));
    for (const std::string &dir : options.include_dirs)
        dirs.push_back(dir);
    std::vector<std::string> names{name};
    if (!quoted) {
        names.push_back(case_of(name, true));
        names.push_back(case_of(name, false));
    }
    std::vector<std::string> subdirs{""};
    if (!library.empty())
        subdirs = {library + "/", case_of(library, true) + "/", case_of(library, false) + "/", ""};
    static const char *const EXTENSIONS[] = {"", ".cpy", ".CPY", ".cbl", ".CBL", ".cob", ".COB"};
    for (const std::string &dir : dirs) {
        looked += looked.empty() ? dir : ", " + dir;
        for (const std::string &sub : subdirs)
            for (const std::string &n : names)
                for (const char *ext : EXTENSIONS) {
                    std::string base = n.size() && n[0] == '/' ? "" : dir == "." ? "" : dir + "/";
                    std::string path = base + sub + n + ext;
                    if (is_file(path))
                        return path;
                }
    }
    return "";
}

// Indexes of the tokens of the statement at FIRST, up to its period (one
// outside pseudo-text), line marks passed over; all of them with TO_END.
std::vector<std::size_t> tokens_from(const Stream &s, std::size_t first, bool to_end = false)
{
    std::vector<std::size_t> out;
    bool pseudo = false;
    for (std::size_t i = first; i < s.size(); ++i) {
        if (s[i].line)
            continue;
        out.push_back(i);
        pseudo = pseudo != (s[i].text == "==");
        if (!to_end && !pseudo && s[i].text == ".")
            break;
    }
    return out;
}

// Operand pairs "[LEADING|TRAILING] op BY op ..." at T[K]; K ends behind them.
std::vector<Replacement> parse_pairs(const Stream &s, const std::vector<std::size_t> &t, std::size_t &k,
                                     bool &bad)
{
    std::vector<Replacement> pairs;
    auto operand = [&](std::vector<std::string> &into) {
        if (k >= t.size() || s[t[k]].text == ".")
            return false;
        if (s[t[k]].text != "==") {
            into.push_back(s[t[k++]].text);
            return true;
        }
        const Elem &open = s[t[k]];
        for (++k; k < t.size() && s[t[k]].text != "=="; ++k)
            into.push_back(s[t[k]].text);
        if (k >= t.size()) {
            problem(open.file, open.lineno, "pseudo-text is not terminated");
            return false;
        }
        ++k;
        return true;
    };
    while (k < t.size() && s[t[k]].text != ".") {
        Replacement r;
        if (is_word(s[t[k]], "LEADING") || is_word(s[t[k]], "TRAILING"))
            r.side = is_word(s[t[k++]], "LEADING") ? 1 : 2;
        if (!operand(r.from) || k >= t.size() || !is_word(s[t[k]], "BY")) {
            bad = true;
            return pairs;
        }
        ++k;
        if (!operand(r.to)) {
            bad = true;
            return pairs;
        }
        if (r.side != 0 && (r.from.size() != 1 || r.to.size() > 1))
            bad = true;
        pairs.push_back(r);
    }
    return pairs;
}

// Words match whatever their case, literals only as written.
bool word_equal(const Elem &e, const std::string &word)
{
    if (e.literal)
        return e.text == word;
    return same_word(e.text, word.c_str());
}

// Statement tokens T[FIRST..LAST] become comments on their lines in OUT.
void comment_out(Stream &out, const Stream &in, const std::vector<std::size_t> &t, std::size_t first,
                 std::size_t last, std::size_t out_mark)
{
    std::size_t mark = out_mark;
    std::size_t at = t[first];
    for (std::size_t k = first; k <= last && k < t.size(); ++k) {
        for (; at < t[k]; ++at)
            if (in[at].line) {
                out.push_back(in[at]);
                mark = out.size() - 1;
            }
        std::string &c = out[mark].comment;
        c += (c.empty() || in[t[k]].glued ? "" : " ") + in[t[k]].text;
        at = t[k] + 1;
    }
}

// Pseudo-text of one word between colons, which matches inside words.
bool is_tag(const std::string &w)
{
    return w.size() > 2 && w.front() == ':' && w.back() == ':';
}

// WORD with every TAG in it (case aside) made BY.
std::string replace_tag(const std::string &word, const std::string &tag, const std::string &by)
{
    std::string out;
    for (std::size_t i = 0; i < word.size();) {
        if (i + tag.size() <= word.size() && same_word(word.substr(i, tag.size()), tag.c_str())) {
            out += by;
            i += tag.size();
        } else {
            out += word[i++];
        }
    }
    return out;
}

// The text of EXPANDED with PAIRS applied: the first pair that matches at a
// token wins, and replaced text is not scanned again.
Stream apply_pairs(const Stream &expanded, const std::vector<Replacement> &pairs)
{
    Stream replaced;
    std::vector<std::size_t> mt = tokens_from(expanded, 0, true);
    std::size_t next = 0;  // next element of expanded to copy
    for (std::size_t p = 0; p < mt.size();) {
        bool done = false;
        for (const Replacement &r : pairs) {
            const Elem &tok = expanded[mt[p]];
            if (r.side != 0) {
                if (tok.literal || tok.line)
                    continue;
                const std::string &w = r.from[0];
                if (tok.text.size() < w.size())
                    continue;
                std::size_t at = r.side == 1 ? 0 : tok.text.size() - w.size();
                if (!same_word(tok.text.substr(at, w.size()), w.c_str()))
                    continue;
                for (; next < mt[p]; ++next)
                    replaced.push_back(expanded[next]);
                Elem changed = tok;
                std::string put = r.to.empty() ? "" : r.to[0];
                changed.text = r.side == 1 ? put + tok.text.substr(w.size())
                                           : tok.text.substr(0, at) + put;
                if (!changed.text.empty())
                    replaced.push_back(changed);
                next = mt[p] + 1;
                ++p;
                done = true;
                break;
            }
            if (r.from.size() == 1 && r.to.size() <= 1 && is_tag(r.from[0]) && !tok.literal) {
                // A :TAG: is replaced wherever it stands in a word, as compilers do.
                std::string text = replace_tag(tok.text, r.from[0], r.to.empty() ? "" : r.to[0]);
                if (text == tok.text)
                    continue;
                for (; next < mt[p]; ++next)
                    replaced.push_back(expanded[next]);
                Elem changed = tok;
                changed.text = text;
                replaced.push_back(changed);
                next = mt[p] + 1;
                ++p;
                done = true;
                break;
            }
            if (r.from.empty() || p + r.from.size() > mt.size())
                continue;
            bool match = true;
            for (std::size_t q = 0; q < r.from.size() && match; ++q)
                match = word_equal(expanded[mt[p + q]], r.from[q]);
            if (!match)
                continue;
            for (; next < mt[p]; ++next)
                replaced.push_back(expanded[next]);
            for (std::size_t q = 0; q < r.to.size(); ++q) {
                Elem put = tok;
                put.text = r.to[q];
                put.literal = !r.to[q].empty() && (r.to[q].back() == '\'' || r.to[q].back() == '"');
                put.glued = q == 0 ? tok.glued : r.to[q] == ".";
                put.col = q == 0 ? tok.col : 0;
                replaced.push_back(put);
            }
            // Line marks inside the matched text stay, so lines keep their numbers.
            for (std::size_t q = mt[p]; q <= mt[p + r.from.size() - 1]; ++q)
                if (expanded[q].line)
                    replaced.push_back(expanded[q]);
            next = mt[p + r.from.size() - 1] + 1;
            p += r.from.size();
            done = true;
            break;
        }
        if (!done)
            ++p;
    }
    for (; next < expanded.size(); ++next)
        replaced.push_back(expanded[next]);
    return replaced;
}

// The index of the last line mark of S.
std::size_t last_mark(const Stream &s)
{
    for (std::size_t m = s.size(); m-- > 0;)
        if (s[m].line)
            return m;
    return 0;
}

// Whether a period follows T[FROM].
bool has_period(const Stream &s, const std::vector<std::size_t> &t, std::size_t from)
{
    for (std::size_t k = from; k < t.size(); ++k)
        if (s[t[k]].text == ".")
            return true;
    return false;
}

// Where a statement not understood ends: at its first period, or at the end
// of its first line when it has none.
std::size_t statement_end(const Stream &s, const std::vector<std::size_t> &t)
{
    bool any_period = has_period(s, t, 0);
    std::size_t last = 0;
    while (last + 1 < t.size() && s[t[last]].text != "." && (s[t[last + 1]].lineno == s[t[0]].lineno || any_period))
        ++last;
    return last;
}

// Expands the COPY statements of IN; CHAIN holds the includes that led here.
Stream expand(const Stream &in, const Options &options, std::vector<Include> &chain)
{
    Stream out;
    std::size_t mark = 0;        // out's last line mark
    bool need_mark = false;      // tokens left on a line a member was spliced into
    Elem resume;                 // that line's mark, for the tokens behind the member
    for (std::size_t i = 0; i < in.size(); ++i) {
        const Elem &e = in[i];
        if (e.line) {
            out.push_back(e);
            mark = out.size() - 1;
            need_mark = false;
            continue;
        }
        if (need_mark) {
            out.push_back(resume);
            mark = out.size() - 1;
            need_mark = false;
        }
        if (!is_word(e, "COPY")) {
            out.push_back(e);
            continue;
        }
        std::vector<std::size_t> t = tokens_from(in, i);
        std::size_t k = 1;
        bool bad = t.size() < 2 || in[t[1]].text == ".";
        std::string name, library;
        bool quoted = false;
        if (!bad) {
            quoted = in[t[1]].literal;
            name = quoted ? in[t[1]].text.substr(1, in[t[1]].text.size() - 2) : in[t[1]].text;
            k = 2;
        }
        if (!bad && k + 1 < t.size() && (is_word(in[t[k]], "OF") || is_word(in[t[k]], "IN"))) {
            const Elem &lib = in[t[k + 1]];
            library = lib.literal ? lib.text.substr(1, lib.text.size() - 2) : lib.text;
            k += 2;
        }
        while (!bad && k < t.size() && (is_word(in[t[k]], "SUPPRESS") || is_word(in[t[k]], "PRINTING")))
            ++k;
        std::vector<Replacement> pairs;
        if (!bad && k < t.size() && is_word(in[t[k]], "REPLACING"))
            pairs = parse_pairs(in, t, ++k, bad);
        bad = bad || k >= t.size() || in[t[k]].text != ".";
        if (bad) {
            problem(e.file, e.lineno, "COPY statement not understood (COPY name [OF library] [REPLACING ...] .): kept as a comment");
            // Up to its period, or to the end of its line when it has none.
            std::size_t last = statement_end(in, t);
            comment_out(out, in, t, 0, last, mark);
            i = t[last];
            mark = last_mark(out);
            continue;
        }
        std::size_t stmt_end = k;
        comment_out(out, in, t, 0, stmt_end, mark);
        mark = last_mark(out);
        i = t[stmt_end];
        need_mark = true;
        resume = out[mark];
        resume.comment.clear();
        resume.comment_line = false;

        const std::string &including = files()[static_cast<std::size_t>(e.file)];
        std::string looked;
        std::string path = find_member(name, quoted, library, including, options, looked);
        if (path.empty()) {
            problem(e.file, e.lineno, "COPY " + name + ": no such member (looked in " + looked +
                    "): the statement is kept as a comment");
            continue;
        }
        std::string real = real_path(path);
        bool loops = real == real_path(files()[0]);
        for (const Include &inc : chain)
            loops = loops || inc.path == real;
        if (loops || chain.size() >= 100) {
            std::string trail;
            for (const Include &inc : chain)
                trail += files()[static_cast<std::size_t>(inc.file)] + ":" + std::to_string(inc.line) + " -> ";
            trail += files()[static_cast<std::size_t>(e.file)] + ":" + std::to_string(e.lineno) + " -> " + path;
            problem(e.file, e.lineno, "COPY " + name + " includes itself: " + trail + "; not expanded");
            continue;
        }
        if (files().size() > MAX_MEMBERS) {
            problem(e.file, e.lineno, "COPY " + name + ": more than " + std::to_string(MAX_MEMBERS) +
                    " members read in one run: not expanded");
            continue;
        }
        files().push_back(path);
        int member_file = static_cast<int>(files().size()) - 1;
        Stream member;
        if (!read_source(member_file, options, member, e.file, e.lineno))
            continue;
        note(options, e.file, e.lineno, "COPY " + name + " from " + path);
        chain.push_back(Include{e.file, e.lineno, real});
        Stream expanded = expand(member, options, chain);
        chain.pop_back();
        // REPLACING acts on the member with its nested members in it.
        Stream replaced = apply_pairs(expanded, pairs);
        out.insert(out.end(), replaced.begin(), replaced.end());
        mark = last_mark(out);
    }
    return out;
}

}  // namespace

// Expands every COPY of the main source, members of members included.
void expand_copies(Stream &stream, const Options &options)
{
    std::vector<Include> chain;
    stream = expand(stream, options, chain);
}

// REPLACE pairs ... . acts on the text behind it up to the next REPLACE
// statement; REPLACE ALSO adds its pairs in front of those in force, REPLACE
// LAST OFF takes them back, REPLACE OFF ends all. The statements become comments.
void apply_replace_statements(Stream &stream)
{
    Stream out, segment;
    std::vector<std::vector<Replacement>> stack;  // the statements in force, the last on top
    std::size_t mark = 0;
    auto flush = [&]() {
        std::vector<Replacement> active;
        for (auto level = stack.rbegin(); level != stack.rend(); ++level)
            active.insert(active.end(), level->begin(), level->end());
        Stream done = apply_pairs(segment, active);
        out.insert(out.end(), done.begin(), done.end());
        segment.clear();
    };
    for (std::size_t i = 0; i < stream.size(); ++i) {
        const Elem &e = stream[i];
        if (!is_word(e, "REPLACE")) {
            segment.push_back(e);
            continue;
        }
        flush();
        mark = last_mark(out);
        std::vector<std::size_t> t = tokens_from(stream, i);
        std::size_t k = 1;
        bool bad = false, also = false, last_only = false, off = false;
        if (k < t.size() && is_word(stream[t[k]], "ALSO"))
            also = ++k > 0;
        std::vector<Replacement> pairs;
        if (k < t.size() && is_word(stream[t[k]], "LAST"))
            last_only = ++k > 0;
        if (k < t.size() && is_word(stream[t[k]], "OFF"))
            off = ++k > 0;
        else
            pairs = parse_pairs(stream, t, k, bad);
        bad = bad || k >= t.size() || stream[t[k]].text != ".";
        std::size_t last = bad ? statement_end(stream, t) : std::min(k, t.size() - 1);
        if (bad)
            problem(e.file, e.lineno, "REPLACE statement not understood: kept as a comment, nothing replaced");
        comment_out(out, stream, t, 0, last, mark);
        if (bad)
            stack.clear();
        else if (off && last_only && !stack.empty())
            stack.pop_back();
        else if (off)
            stack.clear();
        else if (also)
            stack.push_back(pairs);
        else
            stack.assign(1, pairs);
        i = t[last];
    }
    flush();
    stream = out;
}
