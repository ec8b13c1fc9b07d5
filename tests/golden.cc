// Golden end-to-end cases: runs the converter on each case of a .case file
// in a fresh temporary folder and compares what it did, byte for byte.
//
//   === name                  starts a case
//   args: -f src.cbl          arguments (default: "-t src.cbl" with a source line, else none)
//   source: 01 R. 05 A PIC X. src.cbl, this text and a line end
//   stdin: SALES\n/data\n     standard input (default: DB\n\n)
//   status: 0                 exit status (default 0)
//   messages: ...             standard output between the banner and the first prompt
//                             (default: "Parsing COBOL data"); all of it when no prompt came
//   copy: examples/X.cpy X    a repository file copied in before the run
//   absent: NAME              a file that must not exist afterwards
//   --- file NAME             a file created before the run
//   --- stdout                all of standard output behind the banner (replaces messages)
//   --- stderr                standard error (default: empty)
//   --- result NAME           the contents of a file after the run
//   --- rows KIND...          the dictionary rows of these kinds, in order: from out.csv
//                             when the run wrote one, else from standard output
// Text on a line takes the escapes \n \r \t \\ \xHH. A block is the lines up to
// the next "---" or "===" line, each with its line end; the flag "escaped" reads
// escapes in it, "noeol" drops its last line end. Lines before the first case
// are comments.
#include <sys/wait.h>
#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "driver/banner.h"

namespace {

struct Block {
    std::string kind;               // file, stdout, stderr, result, rows
    std::vector<std::string> words; // the rest of the header line
    std::string text;
};

struct Case {
    std::string name;
    int line = 0;
    bool has_args = false;
    std::vector<std::string> args;
    std::string input = "DB\n\n";
    int status = 0;
    bool has_messages = false;
    std::string messages;
    std::vector<std::pair<std::string, std::string>> files;  // name, contents
    std::vector<std::pair<std::string, std::string>> copies; // repository path, name
    std::vector<std::string> absent;
    std::vector<Block> blocks;
};

std::string unescape(const std::string &s)
{
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '\\' || i + 1 == s.size()) {
            out += s[i];
            continue;
        }
        switch (char c = s[++i]) {
        case 'n': out += '\n'; break;
        case 'r': out += '\r'; break;
        case 't': out += '\t'; break;
        case 'x': out += static_cast<char>(std::stoi(s.substr(i + 1, 2), nullptr, 16)); i += 2; break;
        default: out += c; break;
        }
    }
    return out;
}

// Shows control characters, so that a difference in them can be seen.
std::string visible(const std::string &s)
{
    std::string out;
    for (unsigned char c : s) {
        if (c == '\n') out += "\\n\n";
        else if (c == '\r') out += "\\r";
        else if (c < 32 || c > 126) { char b[8]; std::snprintf(b, sizeof b, "\\x%02x", c); out += b; }
        else out += static_cast<char>(c);
    }
    return out;
}

std::vector<std::string> words_of(const std::string &s)
{
    std::vector<std::string> words;
    std::istringstream in(s);
    for (std::string w; in >> w;)
        words.push_back(w);
    return words;
}

bool starts_with(const std::string &s, const std::string &prefix)
{
    return s.compare(0, prefix.size(), prefix) == 0;
}

// The text behind "key:" on a line, unescaped.
std::string value_of(const std::string &line, std::size_t key_length)
{
    std::size_t at = line.find_first_not_of(' ', key_length);
    return unescape(at == std::string::npos ? "" : line.substr(at));
}

std::vector<Case> read_cases(const char *path)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<Case> cases;
    Block *block = nullptr;
    auto finish_block = [&]() {
        if (block == nullptr)
            return;
        for (const std::string &w : block->words) {
            if (w == "noeol" && !block->text.empty()) block->text.pop_back();
            if (w == "escaped") block->text = unescape(block->text);
        }
        block = nullptr;
    };
    std::string line;
    for (int line_no = 1; std::getline(in, line); ++line_no) {
        if (starts_with(line, "=== ")) {
            finish_block();
            cases.emplace_back();
            cases.back().name = line.substr(4);
            cases.back().line = line_no;
        } else if (cases.empty()) {
            continue;
        } else if (starts_with(line, "--- ")) {
            finish_block();
            std::vector<std::string> words = words_of(line.substr(4));
            cases.back().blocks.push_back(Block{words[0], {words.begin() + 1, words.end()}, ""});
            block = &cases.back().blocks.back();
        } else if (block != nullptr) {
            block->text += line + "\n";
        } else {
            Case &c = cases.back();
            if (starts_with(line, "args:")) { c.has_args = true; c.args = words_of(line.substr(5)); }
            else if (starts_with(line, "source:")) c.files.emplace_back("src.cbl", value_of(line, 7) + "\n");
            else if (starts_with(line, "stdin:")) c.input = value_of(line, 6);
            else if (starts_with(line, "status:")) c.status = std::stoi(line.substr(7));
            else if (starts_with(line, "messages:")) { c.has_messages = true; c.messages = value_of(line, 9); }
            else if (starts_with(line, "absent:")) c.absent.push_back(words_of(line.substr(7)).at(0));
            else if (starts_with(line, "copy:")) {
                std::vector<std::string> w = words_of(line.substr(5));
                c.copies.emplace_back(w.at(0), w.at(1));
            } else if (!line.empty() && line[0] != '#') {
                std::cerr << path << ":" << line_no << ": cannot read: " << line << "\n";
                std::exit(2);
            }
        }
    }
    finish_block();
    return cases;
}

void write_file(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

bool read_file(const std::string &path, std::string &text)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream all;
    all << in.rdbuf();
    text = all.str();
    return static_cast<bool>(in);
}

// The rows of the given kinds among the lines of a dictionary text.
std::string rows_of(const std::string &text, const std::vector<std::string> &kinds)
{
    std::string rows;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        for (const std::string &kind : kinds)
            if (starts_with(line, "\"" + kind + "\","))
                rows += line + "\n";
    return rows;
}

// Runs the converter in `dir` with the case's arguments and input; returns its status.
int run(const std::string &binary, const std::string &dir, const Case &c)
{
    std::vector<std::string> args = c.args;
    if (!c.has_args && !c.files.empty())
        args = {"-t", "src.cbl"};
    pid_t pid = fork();
    if (pid == 0) {
        if (chdir(dir.c_str()) != 0)
            _exit(127);
        dup2(open(".stdin", O_RDONLY), 0);
        dup2(open(".stdout", O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
        dup2(open(".stderr", O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
        std::vector<char *> argv{const_cast<char *>(binary.c_str())};
        for (std::string &a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        execv(binary.c_str(), argv.data());
        _exit(127);
    }
    int wstatus = 0;
    waitpid(pid, &wstatus, 0);
    return WIFEXITED(wstatus) ? WEXITSTATUS(wstatus) : 128 + WTERMSIG(wstatus);
}

bool run_case(const std::string &binary, const Case &c)
{
    char dir_template[] = "/tmp/tarnmap-golden-XXXXXX";
    std::string dir = mkdtemp(dir_template);
    for (const auto &[from, name] : c.copies) {
        std::string text;
        read_file(from, text);
        write_file(dir + "/" + name, text);
    }
    for (const auto &[name, text] : c.files)
        write_file(dir + "/" + name, text);
    for (const Block &b : c.blocks)
        if (b.kind == "file")
            write_file(dir + "/" + b.words.at(0), b.text);
    write_file(dir + "/.stdin", c.input);
    int status = run(binary, dir, c);

    bool ok = true;
    auto check = [&](const std::string &what, const std::string &want, const std::string &got) {
        if (want == got)
            return;
        if (ok)
            std::cout << "FAIL: " << c.name << " (line " << c.line << ")\n";
        ok = false;
        std::cout << "  " << what << ", expected:\n" << visible(want) << "\n  actual:\n" << visible(got) << "\n";
    };
    check("status", std::to_string(c.status), std::to_string(status));
    std::string out, err, csv;
    read_file(dir + "/.stdout", out);
    read_file(dir + "/.stderr", err);
    bool wrote_csv = read_file(dir + "/out.csv", csv);
    const std::string banner = TARNMAP_BANNER;
    check("banner", banner, out.substr(0, banner.size()));
    out.erase(0, banner.size());

    bool whole_stdout = false;
    std::string want_err;
    for (const Block &b : c.blocks) {
        std::string got;
        if (b.kind == "stdout") { whole_stdout = true; check("standard output", b.text, out); }
        else if (b.kind == "stderr") want_err = b.text;
        else if (b.kind == "result") { read_file(dir + "/" + b.words.at(0), got); check(b.words.at(0), b.text, got); }
        else if (b.kind == "rows") check("rows", b.text, rows_of(wrote_csv ? csv : out, b.words));
    }
    if (!whole_stdout)
        check("messages", c.has_messages ? c.messages : "Parsing COBOL data",
              out.substr(0, out.find("\n\nDatabase Name : ")));
    check("standard error", want_err, err);
    for (const std::string &name : c.absent)
        check(name, "absent", std::filesystem::exists(dir + "/" + name) ? "present" : "absent");
    if (ok)
        std::filesystem::remove_all(dir);
    else
        std::cout << "  (files kept in " << dir << ")\n";
    return ok;
}

}  // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::cerr << "usage: golden TARNMAP CASE-FILE\n";
        return 2;
    }
    std::string binary = std::filesystem::absolute(argv[1]).string();
    int passed = 0, failed = 0;
    for (const Case &c : read_cases(argv[2]))
        (run_case(binary, c) ? passed : failed)++;
    std::cout << argv[2] << ": " << passed << " passed, " << failed << " failed\n";
    return failed == 0 && passed > 0 ? 0 : 1;
}
