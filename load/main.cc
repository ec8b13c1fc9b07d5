// tarnmap-load: moves the records of the data files a tarnmap dictionary names
// into SQLite or CSV. Here: the options, the dictionary, the code page; run.cc
// does the run. Exit status 0 clean, 1 bad values or records, 2 something
// could not be loaded, 3 the output could not be written.
#include <getopt.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "load/frames.h"
#include "load/load.h"

namespace {

const char *program = "tarnmap-load";

// The options in short; the manual page has them in full.
void usage(std::FILE *to)
{
    std::fprintf(to,
                 "usage: %s [options] DICTIONARY\n"
                 "  --sqlite FILE            load into this SQLite database (default: DB-NAME.db)\n"
                 "  --postgres CONNINFO      load into PostgreSQL (a connection string or URI; PG* variables)\n"
                 "  --csv DIR | -            one TABLE.csv per table in DIR, or one --table on standard output\n"
                 "  --table NAME             only this table (repeatable)\n"
                 "  --data FILE              the data file of the one --table\n"
                 "  --encoding NAME          ascii (default), ebcdic (code page 037), or an iconv code page\n"
                 "  --byte-order big|little  binary and floating point items (default big)\n"
                 "  --float ieee|hex[-big|-little]  COMP-2 as IEEE 754 (default) or IBM hexadecimal floating point,\n"
                 "                           in the byte order of --byte-order or the one given\n"
                 "  --rdw[=little]           records behind 4-byte record descriptor words\n"
                 "  --rdw-length data        the descriptor's length counts the data alone\n"
                 "  --bdw[=little]           records behind descriptors in blocks behind 4-byte block descriptors\n"
                 "  --lines                  records are lines of text (line sequential), padded with blanks\n"
                 "  --skip N, --count N      pass over N records, load at most N records\n"
                 "  --when TABLE FIELD=VALUE[,VALUE...]  records whose FIELD holds VALUE go to TABLE\n"
                 "  --rejects FILE           write the records with bad values to FILE\n"
                 "  --replace                replace existing tables\n"
                 "  --append                 append to existing tables that have the dictionary's columns\n"
                 "  --shard K/N              the K-th of N ranges of whole records of each file\n"
                 "  --keep-blanks            keep the trailing blanks of texts\n"
                 "  --dry-run                decode every record and report, write no table\n"
                 "  --help, --version\n",
                 program);
}

// A non-negative decimal count of records.
bool parse_count(const char *s, uint64_t &to)
{
    char *end;
    errno = 0;
    if (!*s || *s == '-')
        return false;
    unsigned long long v = std::strtoull(s, &end, 10);
    to = v;
    return !*end && errno == 0;
}

// Reads the options; 0 to go on, otherwise the exit status.
int parse_options(int argc, char **argv, Options &o)
{
    enum { sqlite = 256, csv, table, data, encoding, byte_order, rdw, rdw_length, skip, count, when, rejects,
           replace, keep_blanks, float_kind, help, version, postgres, append, shard, lines, bdw, dry_run };
    static const option longs[] = {
        {"sqlite", required_argument, nullptr, sqlite},       {"csv", required_argument, nullptr, csv},
        {"table", required_argument, nullptr, table},         {"data", required_argument, nullptr, data},
        {"encoding", required_argument, nullptr, encoding},   {"byte-order", required_argument, nullptr, byte_order},
        {"rdw", optional_argument, nullptr, rdw},             {"rdw-length", required_argument, nullptr, rdw_length},
        {"skip", required_argument, nullptr, skip},           {"count", required_argument, nullptr, count},
        {"when", required_argument, nullptr, when},           {"rejects", required_argument, nullptr, rejects},
        {"replace", no_argument, nullptr, replace},           {"keep-blanks", no_argument, nullptr, keep_blanks},
        {"float", required_argument, nullptr, float_kind},    {"help", no_argument, nullptr, help},
        {"version", no_argument, nullptr, version},           {"postgres", required_argument, nullptr, postgres},
        {"append", no_argument, nullptr, append},             {"shard", required_argument, nullptr, shard},
        {"lines", no_argument, nullptr, lines},               {"bdw", optional_argument, nullptr, bdw},
        {"dry-run", no_argument, nullptr, dry_run},
        {nullptr, 0, nullptr, 0},
    };
    auto bad = [](const std::string &what) {
        std::fprintf(stderr, "%s: %s\n", program, what.c_str());
        usage(stderr);
        return 2;
    };
    int c;
    while ((c = getopt_long(argc, argv, "", longs, nullptr)) != -1) {
        std::string arg = optarg ? optarg : "";
        switch (c) {
        case sqlite: o.sqlite = arg; break;
        case csv: o.csv = arg; break;
        case table: o.tables.push_back(arg); break;
        case data: o.data = arg; break;
        case encoding: o.encoding = arg; break;
        case rejects: o.rejects = arg; break;
        case replace: o.replace = true; break;
        case keep_blanks: o.keep_blanks = true; break;
        case postgres: o.postgres = arg; o.to_postgres = true; break;
        case append: o.append = true; break;
        case lines: o.framing.lines = true; break;
        case dry_run: o.dry_run = true; break;
        case shard: {
            std::string error;
            if (!parse_shard(arg.c_str(), o.shard, error))
                return bad(error);
            o.sharded = true;
            break;
        }
        case byte_order:
            if (arg != "big" && arg != "little")
                return bad("--byte-order is big or little, not \"" + arg + "\"");
            o.little = arg == "little";
            break;
        case float_kind: {
            std::string kind = arg.substr(0, arg.find('-'));
            std::string order = arg.find('-') == std::string::npos ? "" : arg.substr(arg.find('-') + 1);
            if ((kind != "ieee" && kind != "hex") || (order != "" && order != "big" && order != "little"))
                return bad("--float is ieee or hex, with -big or -little, not \"" + arg + "\"");
            o.hex_float = kind == "hex";
            o.float_order = order.empty() ? 0 : order[0];
            break;
        }
        case rdw:
            if (optarg && arg != "little" && arg != "big")
                return bad("--rdw takes =little or =big, not \"" + arg + "\"");
            o.rdw = true;
            o.framing.little = arg == "little";
            break;
        case bdw:
            if (optarg && arg != "little" && arg != "big")
                return bad("--bdw takes =little or =big, not \"" + arg + "\"");
            o.rdw = o.framing.blocks = true;
            o.framing.block_little = arg == "little";
            break;
        case rdw_length:
            if (arg != "data" && arg != "record")
                return bad("--rdw-length is data or record, not \"" + arg + "\"");
            o.framing.data_length = arg == "data";
            break;
        case skip:
            if (!parse_count(optarg, o.range.skip))
                return bad("--skip needs a number of records, not \"" + arg + "\"");
            break;
        case count:
            if (!parse_count(optarg, o.range.count))
                return bad("--count needs a number of records, not \"" + arg + "\"");
            break;
        case when: {
            Selector s;
            s.table = arg;
            size_t eq;
            if (optind >= argc || (eq = std::string(argv[optind]).find('=')) == std::string::npos || eq == 0)
                return bad("--when needs TABLE FIELD=VALUE[,VALUE...]");
            std::string rest = argv[optind++];
            s.column = rest.substr(0, eq);
            for (size_t at = eq + 1;;) {
                size_t comma = rest.find(',', at);
                s.values.push_back(rest.substr(at, comma == std::string::npos ? comma : comma - at));
                if (comma == std::string::npos)
                    break;
                at = comma + 1;
            }
            o.selectors.push_back(s);
            break;
        }
        case help: usage(stdout); return std::fflush(stdout) == 0 && !std::ferror(stdout) ? -1 : 3;
        case version: std::printf("%s %s\n", program, TARNMAP_VERSION); return std::fflush(stdout) == 0 ? -1 : 3;
        default: usage(stderr); return 2;
        }
    }
    if (optind + 1 != argc)
        return bad(optind == argc ? "no dictionary given" : "one dictionary only");
    if (!o.sqlite.empty() + !o.csv.empty() + o.to_postgres + o.dry_run > 1)
        return bad("--sqlite, --csv, --postgres and --dry-run: give one target");
    if (o.append && !o.to_postgres)
        return bad("--append goes with --postgres");
    if (o.append && o.replace)
        return bad("--append and --replace: give one");
    if (o.replace && o.shard.n > 1 && o.csv.empty())  // a shard's CSV file is its own
        return bad("--replace with --shard would drop the rows of the other shards: make the tables with "
                   "--replace --count 0 first, then load the shards with --append");
    if (o.framing.lines && (o.rdw || o.framing.data_length))
        return bad("--lines and --rdw or --bdw: give one");
    if (!o.data.empty() && o.tables.size() != 1)
        return bad("--data goes with exactly one --table");
    if (o.csv == "-" && o.tables.size() != 1)
        return bad("--csv - goes with exactly one --table");
    return 0;
}

// The whole dictionary file in memory (dictionaries are small).
bool slurp(const char *path, std::string &text)
{
    std::FILE *f = std::fopen(path, "rb");
    if (!f)
        return false;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0)
        text.append(buf, n);
    bool ok = !std::ferror(f);
    std::fclose(f);
    return ok;
}

}  // namespace

// Options, dictionary, code page; then the run, which loads and reports.
int main(int argc, char **argv)
{
    Options o;
    int rc = parse_options(argc, argv, o);
    if (rc)
        return rc < 0 ? 0 : rc;
    const char *dict_path = argv[optind];
    std::string text, error;
    if (!slurp(dict_path, text)) {
        std::fprintf(stderr, "%s: %s: %s\n", program, dict_path, std::strerror(errno));
        return 2;
    }
    Dictionary dict;
    if (!read_dictionary(text.data(), text.size(), dict, error)) {
        std::fprintf(stderr, "%s: %s:%s\n", program, dict_path, error.c_str());
        return 2;
    }
    for (const std::string &w : dict.warnings)
        std::fprintf(stderr, "%s: %s:%s\n", program, dict_path, w.c_str());
    Decoder &d = o.decoder;
    if (!make_decoder(o.encoding, d, error)) {
        std::fprintf(stderr, "%s: %s\n", program, error.c_str());
        return 2;
    }
    if (o.framing.lines && d.ebcdic) {
        std::fprintf(stderr, "%s: --lines reads text files of an ASCII-based code page, and %s is an EBCDIC one\n",
                     program, o.encoding.c_str());
        return 2;
    }
    d.big_endian = !o.little;
    d.float_big_endian = o.float_order ? o.float_order == 'b' : !o.little;
    d.hex_float = o.hex_float;
    d.keep_blanks = o.keep_blanks;
    return run_load(o, dict_path, dict);
}
