// The run: for each table, its data file checked against its framing, a
// sample decoded to catch a shifted layout, then every record of the range
// decoded into a row for the target in one transaction; bad values become
// NULL and are counted, their records go to the reject file.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "load/load.h"
#include "load/postgres.h"

namespace {

const char *program = "tarnmap-load";

// A table's values for one record: texts in one buffer, values pointing in.
struct RowBuffer {
    std::vector<char> text;
    std::vector<size_t> at;     // where each column's text starts
    std::vector<Value> values;
    // longest: the most bytes a record can have; a column behind it is always NULL.
    RowBuffer(const Table &t, uint64_t longest)
    {
        size_t total = 0;
        for (const Column &c : t.columns) {
            at.push_back(total);
            total += uint64_t{c.offset} + c.size > longest ? 0 : value_capacity(c);
        }
        text.resize(total + 1);
        values.resize(t.columns.size());
    }
};

// Decodes every column of a record; a column behind the record's end is
// NULL, a bad value NULL and counted. Returns whether any value was bad.
bool decode_row(const Decoder &d, const Table &t, const Record &rec, RowBuffer &row, TableAccount *account)
{
    bool any_bad = false;
    for (size_t i = 0; i < t.columns.size(); i++) {
        const Column &c = t.columns[i];
        Value &v = row.values[i];
        v.null = true;
        if (uint64_t{c.offset} + c.size > rec.size)
            continue;
        size_t len;
        char *out = row.text.data() + row.at[i];
        Bad why = decode(d, c, rec.data + c.offset, out, len);
        if (why != Bad::none) {
            any_bad = true;
            if (account)
                count_bad(*account, i, rec.number, why);
            continue;
        }
        v.null = false;
        v.text = std::string_view(out, len);
    }
    return any_bad;
}

// A value as a selector compares it: numbers without '+' or leading zeros.
std::string normal_number(const std::string &s)
{
    size_t at = s.size() && (s[0] == '+' || s[0] == '-') ? 1 : 0;
    size_t digits = at;
    while (digits + 1 < s.size() && s[digits] == '0' && s[digits + 1] != '.')
        digits++;
    return (s.size() && s[0] == '-' ? "-" : "") + s.substr(digits);
}

struct Runner {
    Options &o;
    const char *dict_path;
    const Dictionary &dict;
    Target *target = nullptr;
    std::FILE *rejects = nullptr;
    int status = 0;
    std::vector<TableAccount> accounts;
    std::vector<char> scratch;        // a selector's decoded value

    void raise(int s) { status = s > status ? s : status; }

    // Whether a selector's field of the record holds one of its values.
    bool holds(const Selector &s, const Record &rec)
    {
        const Column &c = dict.tables[static_cast<size_t>(s.table_index)].columns[static_cast<size_t>(s.column_index)];
        if (uint64_t{c.offset} + c.size > rec.size)
            return false;
        scratch.resize(value_capacity(c) + 1);
        size_t len;
        if (decode(o.decoder, c, rec.data + c.offset, scratch.data(), len) != Bad::none)
            return false;
        std::string_view v(scratch.data(), len);
        for (const std::string &want : s.values)
            if (v == want)
                return true;
        return false;
    }

    // Whether table ti takes the record, and (taken_by_any) whether any
    // selector of its file does; a file without selectors gives every record to every table.
    bool takes(size_t ti, const Record &rec, bool &taken_by_any)
    {
        bool file_has = false, mine = false;
        taken_by_any = false;
        for (const Selector &s : o.selectors) {
            const Table &st = dict.tables[static_cast<size_t>(s.table_index)];
            if (st.file != dict.tables[ti].file)
                continue;
            file_has = true;
            if (holds(s, rec)) {
                taken_by_any = true;
                mine = mine || static_cast<size_t>(s.table_index) == ti;
            }
        }
        if (!file_has)
            taken_by_any = true;
        return !file_has || mine;
    }

    void reject(const Record &rec, const Framing &f)
    {
        if (!rejects)
            return;
        if (std::fwrite(rec.raw, 1, rec.raw_size, rejects) != rec.raw_size ||
            (f.lines && std::fputc('\n', rejects) == EOF)) {
            std::fprintf(stderr, "%s: %s: %s\n", program, o.rejects.c_str(), std::strerror(errno));
            raise(3);
            std::fclose(rejects);
            rejects = nullptr;
        }
    }

    std::string data_path(const Table &t)
    {
        if (!o.data.empty())
            return o.data;
        if (t.path.empty() || t.path[0] == '/' || dict.directory.empty())
            return t.path;
        return dict.directory + (dict.directory.back() == '/' ? "" : "/") + t.path;
    }

    // Decodes the first records of the range that the table takes; warns of
    // each numeric column that is invalid in most of them.
    void sample(size_t ti, const std::string &path, const Framing &f)
    {
        const Table &t = dict.tables[ti];
        RecordReader reader;
        int fd = open(path.c_str(), O_RDONLY);
        RecordRange r = o.range;
        if (r.count > 2000)
            r.count = 2000;
        if (fd < 0 || !reader.open(fd, f, r))
            return;
        TableAccount a;
        a.columns.resize(t.columns.size());
        RowBuffer row(t, longest_record(f));
        Record rec;
        uint64_t sampled = 0;
        bool any;
        while (sampled < 100 && reader.next(rec))
            if (takes(ti, rec, any)) {
                decode_row(o.decoder, t, rec, row, &a);
                sampled++;
            }
        for (size_t i = 0; sampled >= 4 && i < t.columns.size(); i++) {
            const Column &c = t.columns[i];
            if (c.storage != Storage::string && a.columns[i].bad * 2 > sampled)
                std::fprintf(stderr,
                             "%s: %s:%d: %s.%s is invalid in %llu of the first %llu records (%s): the layout is "
                             "likely shifted there; tarnmap-check on the source says why\n",
                             program, dict_path, c.sql.line, t.sql.name.c_str(), c.sql.name.c_str(),
                             static_cast<unsigned long long>(a.columns[i].bad),
                             static_cast<unsigned long long>(sampled), bad_name(a.columns[i].first_reason));
        }
    }

    // Loads one table; first_of_file: it counts and rejects the records no selector takes.
    void load_table(size_t ti, bool first_of_file)
    {
        const Table &t = dict.tables[ti];
        const FileDef &file = dict.files[static_cast<size_t>(t.file)];
        TableAccount &a = accounts[ti];
        std::string path = data_path(t);
        Framing f = o.framing;
        f.descriptors = !f.lines && (o.rdw || file.variable);
        f.record_length = file.record_length;
        int fd = open(path.c_str(), O_RDONLY);
        if (fd < 0) {
            std::fprintf(stderr, "%s: %s: %s (table %s, dictionary line %d)\n", program, path.c_str(),
                         std::strerror(errno), t.sql.name.c_str(), t.sql.line);
            raise(2);
            return;
        }
        FrameCheck check = check_framing(fd, f);
        if (!check.ok) {
            std::fprintf(stderr, "%s: %s: %s: %s; table %s not loaded\n", program, path.c_str(),
                         framing_name(f).c_str(), check.error.c_str(), t.sql.name.c_str());
            close(fd);
            raise(2);
            return;
        }
        if (o.sharded)  // the records that start in the shard's bytes of this file
            shard_bytes(o.shard, check.file_size, f, o.range.start_byte, o.range.end_byte);
        sample(ti, path, f);
        RecordReader reader;
        if (!reader.open(fd, f, o.range)) {
            std::fprintf(stderr, "%s: %s: %s\n", program, path.c_str(), reader.error.c_str());
            raise(2);
            return;
        }
        if (!target->begin_table(t.sql)) {
            std::fprintf(stderr, "%s: %s:%d: table %s: %s\n", program, dict_path, t.sql.line, t.sql.name.c_str(),
                         target->error.c_str());
            target->abort();
            raise(3);
            return;
        }
        RowBuffer row(t, longest_record(f));
        Record rec;
        bool tty = isatty(2);
        time_t shown = time(nullptr);
        while (reader.next(rec)) {
            a.records++;
            if (tty && (a.records & 0xFFFF) == 0 && time(nullptr) != shown) {
                shown = time(nullptr);
                std::fprintf(stderr, "\r%s: %s: %llu records, %.0f%%", program, t.sql.name.c_str(),
                             static_cast<unsigned long long>(a.records),
                             check.file_size ? 100.0 * static_cast<double>(rec.offset) / static_cast<double>(check.file_size) : 100.0);
            }
            bool taken_by_any;
            if (!takes(ti, rec, taken_by_any)) {
                if (!taken_by_any && first_of_file) {
                    a.unselected++;
                    reject(rec, f);
                }
                continue;
            }
            if (decode_row(o.decoder, t, rec, row, &a)) {
                a.bad_records++;
                reject(rec, f);
            }
            if (!target->row(row.values.data())) {
                std::fprintf(stderr, "%s%s: table %s: %s\n", tty ? "\r\033[K" : "", program, t.sql.name.c_str(),
                             target->error.c_str());
                target->abort();
                raise(3);
                return;
            }
            a.rows++;
        }
        if (tty)
            std::fprintf(stderr, "\r\033[K");
        if (!reader.error.empty()) {
            std::fprintf(stderr, "%s: %s: %s; table %s not loaded\n", program, path.c_str(), reader.error.c_str(),
                         t.sql.name.c_str());
            target->abort();
            raise(2);
            return;
        }
        if (!target->commit()) {
            std::fprintf(stderr, "%s: table %s: %s\n", program, t.sql.name.c_str(), target->error.c_str());
            target->abort();
            raise(3);
            return;
        }
        a.loaded = true;
        if (a.bad_records || a.unselected)
            raise(1);
    }
};

}  // namespace

namespace {

class NullTarget : public Target {
 public:
    bool begin_table(const TableSpec &) override { return true; }
    bool row(const Value *) override { return true; }
    bool commit() override { return true; }
    void abort() override {}
};

}  // namespace

std::unique_ptr<Target> open_null_target()
{
    return std::make_unique<NullTarget>();
}

// Resolves tables and selectors, opens the target and the reject file, loads table by table.
int run_load(Options &o, const char *dict_path, const Dictionary &dict)
{
    Runner r{o, dict_path, dict, nullptr, nullptr, 0, {}, {}};
    auto table_named = [&](const std::string &name) {
        for (size_t i = 0; i < dict.tables.size(); i++)
            if (dict.tables[i].sql.name == name)
                return static_cast<int>(i);
        return -1;
    };
    // The tables to load, each once, in the order asked for or the dictionary's.
    std::vector<size_t> order;
    if (o.tables.empty()) {
        for (size_t i = 0; i < dict.tables.size(); i++)
            order.push_back(i);
    }
    for (const std::string &name : o.tables) {
        int i = table_named(name);
        if (i < 0) {
            std::fprintf(stderr, "%s: %s: no table %s\n", program, dict_path, name.c_str());
            r.raise(2);
        } else {
            order.push_back(static_cast<size_t>(i));
        }
    }
    for (Selector &s : o.selectors) {
        s.table_index = table_named(s.table);
        if (s.table_index < 0) {
            std::fprintf(stderr, "%s: --when: no table %s\n", program, s.table.c_str());
            return 2;
        }
        const Table &t = dict.tables[static_cast<size_t>(s.table_index)];
        std::string wanted = s.column;
        for (char &ch : wanted)
            ch = ch == '-' ? '_' : ch;
        for (size_t i = 0; i < t.columns.size(); i++)
            if (t.columns[i].sql.name == s.column || t.columns[i].sql.name == wanted)
                s.column_index = static_cast<int>(i);
        if (s.column_index < 0) {
            std::fprintf(stderr, "%s: --when: table %s has no column %s\n", program, s.table.c_str(), s.column.c_str());
            return 2;
        }
        if (t.columns[static_cast<size_t>(s.column_index)].sql.kind != ValueKind::text)
            for (std::string &v : s.values)
                v = normal_number(v);
    }
    std::string error;
    std::unique_ptr<Target> target;
    if (o.dry_run) {
        target = open_null_target();
    } else if (!o.csv.empty()) {
        std::string suffix;
        if (o.sharded)
            suffix = "." + std::to_string(o.shard.k) + "-of-" + std::to_string(o.shard.n);
        target = open_csv_target(o.csv, o.replace, error, suffix);
    } else if (o.to_postgres) {
        PgExisting existing = o.append ? PgExisting::append : o.replace ? PgExisting::replace : PgExisting::refuse;
        target = open_postgres_target(o.postgres, existing, error);
        if (!target) {  // the server refused the connection or the login
            std::fprintf(stderr, "%s: %s\n", program, error.c_str());
            return 2;
        }
    } else {
        std::string file = o.sqlite;
        if (file.empty()) {
            if (dict.db_name.empty() || dict.db_name.find('/') != std::string::npos) {
                std::fprintf(stderr, "%s: %s: the DB row names no database file; give --sqlite FILE\n", program,
                             dict_path);
                return 2;
            }
            file = dict.db_name + ".db";
        }
        target = open_sqlite_target(file, o.replace, error);
    }
    if (!target) {
        std::fprintf(stderr, "%s: %s\n", program, error.c_str());
        return 3;
    }
    r.target = target.get();
    if (!o.rejects.empty() && !(r.rejects = std::fopen(o.rejects.c_str(), "wb"))) {
        std::fprintf(stderr, "%s: %s: %s\n", program, o.rejects.c_str(), std::strerror(errno));
        return 3;
    }
    r.accounts.resize(dict.tables.size());
    std::vector<bool> file_seen(dict.files.size()), done(dict.tables.size());
    for (size_t ti : order) {
        const Table &t = dict.tables[ti];
        r.accounts[ti].name = t.sql.name;
        r.accounts[ti].columns.resize(t.columns.size());
        if (done[ti])
            continue;
        done[ti] = true;
        int first = table_named(t.sql.name);
        if (static_cast<size_t>(first) != ti) {
            std::fprintf(stderr, "%s: %s:%d: a second table %s (the first at line %d) is not loaded\n", program,
                         dict_path, t.sql.line, t.sql.name.c_str(), dict.tables[static_cast<size_t>(first)].sql.line);
            r.raise(2);
            continue;
        }
        if (t.columns.empty()) {
            std::fprintf(stderr, "%s: %s:%d: table %s has no columns; not loaded\n", program, dict_path,
                         t.sql.line, t.sql.name.c_str());
            continue;
        }
        bool first_of_file = !file_seen[static_cast<size_t>(t.file)];
        file_seen[static_cast<size_t>(t.file)] = true;
        r.load_table(ti, first_of_file);
    }
    target.reset();
    if (r.rejects && std::fclose(r.rejects) != 0) {
        std::fprintf(stderr, "%s: %s: %s\n", program, o.rejects.c_str(), std::strerror(errno));
        r.raise(3);
    }
    print_report(stderr, r.accounts, dict.tables, o.dry_run);
    return r.status;
}
