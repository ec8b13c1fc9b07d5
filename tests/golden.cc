// Golden end-to-end cases: runs the converter once per case in a fresh folder
// and compares what it did. A case is one line, ARGS | SOURCE | CHECK | ...,
// or a block of lines after "=== name". Lines of a block, and checks:
//   $ -s src.cbl       arguments, @ standing for the repository; default -t src.cbl;
//                      >/dev/full sends standard output there instead
//   < 01 R.            a line of src.cbl; <*N repeats it N times, # counting 1..N
//   file NAME: text    a file made before the run      in: text    standard input (DB\n\n)
//   status: N          exit status (0)                 err: text   standard error (empty)
//   say: text          standard output from the banner to the first prompt (Parsing COBOL data)
//   out: text          all of standard output behind the banner
//   result NAME: text  a file after the run
//   FIELD name off: A 0; B 1   the named columns of the FIELD rows of out.csv, else of
//                      standard output; "-" shows an empty text; more lines add rows
// Texts take the escapes \n \r \t \\ \xHH; # starts a comment line.
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <vector>

#include "driver/banner.h"

namespace {

using Strings = std::vector<std::string>;

const std::map<std::string, Strings> COLUMNS = {
    {"FILE", {"kind", "name", "org", "fmt", "len"}},
    {"FIELD", {"kind", "file", "name", "type", "off", "size", "disp", "scale", "zero", "empty", "value"}},
    {"DB", {"kind", "db", "dir"}},
    {"TABLE", {"kind", "db", "table", "const", "file", "path"}},
    {"COLUMN", {"kind", "db", "table", "column", "item", "type", "len", "one", "one", "value"}},
};

struct Case {
    std::string name, args = " -t src.cbl", redirect, source, input = "DB\n\n", say = "Parsing COBOL data", err;
    std::string out = "\1";  // \1: not checked
    int status = 0;
    std::map<std::string, std::string> files, results, rows;
};

std::string unescape(const std::string &s)
{
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        char c = s[i] == '\\' && i + 1 < s.size() ? s[++i] : 0;
        if (c == 'x')
            out += static_cast<char>(std::stoi(s.substr(i + 1, 2), nullptr, 16)), i += 2;
        else
            out += c == 0 ? s[i] : c == 'n' ? '\n' : c == 'r' ? '\r' : c == 't' ? '\t' : c;
    }
    return out;
}

Strings split(const std::string &s, const std::string &by)
{
    Strings parts;
    for (std::size_t at = 0, end = 0; end != std::string::npos; at = end + by.size())
        parts.push_back(s.substr(at, (end = s.find(by, at)) - at));
    return parts;
}

// One line of a case; false when it means nothing.
bool apply(Case &c, const std::string &line, const std::string &root)
{
    std::size_t colon = std::min(line.find(": "), line.size() - (line.back() == ':'));
    std::string key = line.substr(0, colon), text = unescape(line.substr(std::min(colon + 2, line.size())));
    if (line[0] == '$') {
        c.args.clear();
        for (const std::string &arg : split(line.substr(1), " "))
            (arg[0] == '>' ? c.redirect : c.args) +=
                arg.empty() ? "" : arg[0] == '>' ? " " + arg : " '" + (arg[0] == '@' ? root + arg.substr(1) : arg) + "'";
    } else if (line[0] == '<') {
        std::size_t blank = std::min(line.find(' '), line.size());
        int times = line[1] == '*' ? std::stoi(line.substr(2, blank - 2)) : 1;
        for (int n = 1; n <= times; ++n) {
            std::string one = unescape(line.substr(std::min(blank + 1, line.size())));
            for (std::size_t at; (at = one.find('#')) != std::string::npos && times > 1;)
                one.replace(at, 1, std::to_string(n));
            c.source += one + "\n";
        }
    } else if (key == "in") c.input = text;
    else if (key == "status") c.status = std::stoi(text);
    else if (key == "say") c.say = text;
    else if (key == "out") c.out = text;
    else if (key == "err") c.err = text;
    else if (key.rfind("file ", 0) == 0) c.files[key.substr(5)] = text;
    else if (key.rfind("result ", 0) == 0) c.results[key.substr(7)] = text;
    else if (COLUMNS.count(key.substr(0, key.find(' '))) != 0)
        c.rows[key] += (c.rows[key].empty() ? "" : "; ") + text;
    else
        return false;
    return true;
}

std::vector<Case> read_cases(const char *path, const std::string &root)
{
    std::ifstream in(path);
    std::vector<Case> cases;
    std::string line, where;
    for (int no = 1; std::getline(in, line); ++no) {
        where = std::string(path) + ":" + std::to_string(no);
        bool ok = true;
        if (line.rfind("=== ", 0) == 0) {
            cases.emplace_back().name = where + " " + line.substr(4);
        } else if (line.find(" | ") != std::string::npos) {
            Strings parts = split(line, " | ");
            Case &c = cases.emplace_back();
            c.name = where;
            parts[0] = parts[0].empty() ? "$ -t src.cbl" : "$ " + parts[0];
            parts[1] = "< " + parts[1];
            for (const std::string &part : parts)
                ok = ok && !part.empty() && apply(c, part, root);
        } else if (!line.empty() && line[0] != '#') {
            ok = !cases.empty() && apply(cases.back(), line, root);
        }
        if (!ok)
            std::cerr << where << ": cannot read: " << line << "\n", std::exit(2);
    }
    return cases;
}

std::string read_file(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// The named columns of the rows of one kind, as a case writes them.
std::string project(const std::string &dictionary, const std::string &key)
{
    Strings names = split(key, " "), rows;
    const Strings &columns = COLUMNS.at(names[0]);
    for (const std::string &line : split(dictionary, "\n")) {
        Strings cells = split(line, ",");
        if (cells[0] != "\"" + names[0] + "\"")
            continue;
        std::string row;
        for (std::size_t n = 1; n < names.size(); ++n) {
            std::size_t at = std::find(columns.begin(), columns.end(), names[n]) - columns.begin();
            std::string cell = at < cells.size() ? cells[at] : "?";
            cell = cell.size() >= 2 && cell[0] == '"' ? cell.substr(1, cell.size() - 2) : cell;
            row += (n > 1 ? " " : "") + (cell.empty() ? "-" : cell);
        }
        rows.push_back(row);
    }
    std::string text;
    for (const std::string &row : rows)
        text += (text.empty() ? "" : "; ") + row;
    return text;
}

bool run_case(const std::string &binary, const Case &c)
{
    char dir_template[] = "/tmp/tarnmap-golden-XXXXXX";
    std::string dir = mkdtemp(dir_template);
    auto write = [&](const std::string &name, const std::string &text) {
        std::ofstream(dir + "/" + name, std::ios::binary) << text;
    };
    write("src.cbl", c.source);
    for (const auto &[name, text] : c.files)
        write(name, text);
    write(".in", c.input);
    int status = std::system(("cd " + dir + " && " + binary + c.args + " <.in >.out 2>.err" + c.redirect).c_str());

    bool ok = true;
    auto check = [&](const std::string &what, const std::string &want, const std::string &got) {
        if (want != got)
            std::cout << (ok ? "FAIL: " + c.name + "\n" : "") << "  " << what << ", expected:\n"
                      << want << "\n  actual:\n" << got << "\n";
        ok = ok && want == got;
    };
    check("status", std::to_string(c.status), std::to_string(WEXITSTATUS(status)));
    std::string out = read_file(dir + "/.out"), banner = TARNMAP_BANNER;
    if (c.redirect.empty())
        check("banner", banner, out.substr(0, banner.size()));
    out.erase(0, banner.size());
    if (c.out != "\1")
        check("standard output", c.out, out);
    else
        check("messages", c.say, out.substr(0, out.find("\n\nDatabase Name : ")));
    check("standard error", c.err, read_file(dir + "/.err"));
    for (const auto &[name, text] : c.results)
        check(name, text, read_file(dir + "/" + name));
    std::string dictionary = std::filesystem::exists(dir + "/out.csv") ? read_file(dir + "/out.csv") : out;
    for (const auto &[key, rows] : c.rows)
        check(key, rows, project(dictionary, key));
    if (const char *keep = std::getenv("GOLDEN_KEEP")) {  // for byte comparisons of two builds
        std::string id = c.name.substr(0, c.name.find(' '));
        write(".status", std::to_string(WEXITSTATUS(status)));
        std::filesystem::copy(dir, keep + ("/" + id.substr(id.rfind('/') + 1)));
    }
    if (ok)
        std::filesystem::remove_all(dir);
    else
        std::cout << "  (files kept in " << dir << ")\n";
    return ok;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 3)
        return std::cerr << "usage: golden TARNMAP CASE-FILE\n", 2;
    std::string binary = std::filesystem::absolute(argv[1]).string();
    int passed = 0, failed = 0;
    for (const Case &c : read_cases(argv[2], std::filesystem::current_path().string()))
        (run_case(binary, c) ? passed : failed)++;
    std::cout << argv[2] << ": " << passed << " passed, " << failed << " failed\n";
    return failed == 0 && passed > 0 ? 0 : 1;
}
