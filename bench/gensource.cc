// gensource RECORDS [SEED]: writes a COBOL source of RECORDS record
// descriptions to standard output, for timing the converter on input shaped
// like real copybooks. The same arguments give the same bytes everywhere: the
// generator draws from its own splitmix64 and uses integer arithmetic only.
//
// Layout: sequence number in columns 1-6, indicator in 7, text in 8-72.
// A few habits keep the text inside what the converter parses without a
// syntax error: VALUE is always the last clause of an entry (a number on the
// next line would be taken as one more value); nothing that reads as a word
// follows OCCURS directly (it would be taken into the OCCURS clause); and
// JUSTIFIED RIGHT and BLANK WHEN ZERO come before PIC, since RIGHT and ZERO
// with the period glued on scan as words, not keywords.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

namespace {

struct Rng {
    std::uint64_t s;
    std::uint64_t next()
    {
        std::uint64_t z = (s += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }
    int below(int n) { return static_cast<int>(next() % static_cast<std::uint64_t>(n)); }
    int range(int lo, int hi) { return lo + below(hi - lo + 1); }
    bool pct(int p) { return below(100) < p; }
    template <typename T, std::size_t N>
    const T &pick(const T (&a)[N]) { return a[below(static_cast<int>(N))]; }
};

std::string fmt(const char *f, long a)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, f, a);
    return buf;
}

// Output lines with sequence numbers; restart() begins a new numbering.
class Out {
public:
    Out() { buf_.reserve(1 << 20); }
    ~Out() { flush(); }
    void restart(long first, long step) { seq_ = first; step_ = step; }
    void line(const std::string &text, char indicator = ' ')
    {
        if (text.size() > 65) {  // columns 73-80 stay empty
            std::fprintf(stderr, "gensource: line too long: %s\n", text.c_str());
            std::exit(3);
        }
        buf_ += fmt("%06ld", seq_ % 1000000);
        buf_ += indicator;
        buf_ += text;
        buf_ += '\n';
        seq_ += step_;
        if (buf_.size() > (1 << 20) - 200)
            flush();
    }
    void comment(const std::string &text) { line(text, '*'); }
    void flush()
    {
        std::fwrite(buf_.data(), 1, buf_.size(), stdout);
        buf_.clear();
    }

private:
    std::string buf_;
    long seq_ = 100;
    long step_ = 100;
};

// One data description entry before layout.
struct Entry {
    int level;
    int depth;  // 0 for 01, 1 for 05, ...; fixes the indentation
    std::string name;
    std::vector<std::string> clauses;
};

constexpr int TEXT_END = 72;   // last column of the text area
constexpr int CLAUSE_COL = 40; // where clauses line up, as in most copybooks

// Lays an entry out over as many lines as it needs, clauses aligned.
void put_entry(Out &out, const Entry &e)
{
    int col = 8 + (e.depth == 0 ? 0 : 1 + 3 * e.depth);  // 01 at 8, 05 at 12, 10 at 15...
    std::string text(static_cast<std::size_t>(col - 8), ' ');
    text += fmt("%02ld", e.level) + "  " + e.name;
    bool continued = false;  // clauses on a continuation line just follow each other
    for (std::size_t i = 0; i < e.clauses.size(); ++i) {
        std::string clause = e.clauses[i];
        if (i + 1 == e.clauses.size())
            clause += '.';
        int at = 8 + static_cast<int>(text.size());  // column after the text so far
        int start = at < CLAUSE_COL && !continued ? CLAUSE_COL : at + 1;
        if (start + static_cast<int>(clause.size()) - 1 > TEXT_END) {
            out.line(text);
            text.assign(static_cast<std::size_t>(col + 4 - 8), ' ');
            text += clause;
            continued = true;
            continue;
        }
        text.append(static_cast<std::size_t>(start - at), ' ');
        text += clause;
    }
    if (e.clauses.empty())
        text += '.';
    out.line(text);
}

// What an item holds decides its pictures and names.
enum Kind { TEXT, ID, DATE, AMOUNT, COUNT, FLAG, CODE, RATE, EDITED };

struct Stem {
    const char *word;
    Kind kind;
};

constexpr Stem STEMS[] = {
    {"NAME", TEXT}, {"FIRST-NAME", TEXT}, {"LAST-NAME", TEXT}, {"ADDR-LINE", TEXT},
    {"CITY", TEXT}, {"DESC", TEXT}, {"COMMENT", TEXT}, {"EMAIL", TEXT},
    {"CONTACT", TEXT}, {"REMARKS", TEXT}, {"ID", ID}, {"ACCT-NO", ID},
    {"CUST-NO", ID}, {"SEQ-NO", ID}, {"BRANCH-ID", ID}, {"REF-NO", ID},
    {"PHONE", ID}, {"OPEN-DATE", DATE}, {"CLOSE-DATE", DATE}, {"DOB", DATE},
    {"EFF-DATE", DATE}, {"LAST-UPD-DATE", DATE}, {"BAL", AMOUNT}, {"CURR-BAL", AMOUNT},
    {"CREDIT-LIMIT", AMOUNT}, {"AMT", AMOUNT}, {"TAX-AMT", AMOUNT}, {"FEE", AMOUNT},
    {"PRICE", AMOUNT}, {"TOTAL", AMOUNT}, {"QTY", COUNT}, {"COUNT", COUNT},
    {"DAYS", COUNT}, {"TXN-CNT", COUNT}, {"ITEMS", COUNT}, {"ACTIVE-FLAG", FLAG},
    {"DEL-IND", FLAG}, {"VIP-SW", FLAG}, {"STATUS", CODE}, {"TYPE-CD", CODE},
    {"REGION-CD", CODE}, {"STATE-CD", CODE}, {"CURRENCY", CODE}, {"REASON-CD", CODE},
    {"RATE", RATE}, {"DISC-PCT", RATE}, {"INT-RATE", RATE}, {"PRINT-AMT", EDITED},
    {"PRINT-BAL", EDITED}, {"RPT-TOTAL", EDITED}, {"PRINT-DATE", EDITED},
};

struct RecordKind {
    const char *prefix;
    const char *title;
    const char *file;
};

constexpr RecordKind KINDS[] = {
    {"CU", "CUSTOMER", "CUSTMAST"}, {"AC", "ACCOUNT", "ACCTMAST"},
    {"TR", "TRANSACTION", "TRANHIST"}, {"OR", "ORDER", "ORDERS"},
    {"IV", "INVOICE", "INVOICES"}, {"EM", "EMPLOYEE", "EMPMAST"},
    {"PY", "PAYMENT", "PAYMENTS"}, {"PR", "PRODUCT", "PRODMAST"},
    {"AU", "AUDIT", "AUDITLOG"}, {"VN", "VENDOR", "VENDMAST"},
};

constexpr const char *PART[] = {"HDR", "DTL", "TRL", "REC", "REC", "REC", "DTL"};

constexpr const char *COMMENTS[] = {
    "    KEY FIELDS", "    AMOUNTS ARE IN CENTS UNLESS STATED", "    DATES ARE CCYYMMDD",
    "    FILLER RESERVED FOR EXPANSION", "    CHANGED FOR THE 2019 RELEASE",
    "    DO NOT REORDER: SHARED WITH THE BATCH LOAD", "    ADDRESS BLOCK",
    "    HISTORY TABLE, NEWEST FIRST", "    STATUS CODES, SEE THE RUN BOOK",
};

// Builds the entries of one record and keeps its names unique.
class RecordGen {
public:
    RecordGen(Rng &rng, Out &out, long recno, const RecordKind &kind)
        : rng_(rng), out_(out), kind_(kind), suffix_(fmt("-%05ld", recno))
    {
    }

    std::string name(const char *stem)
    {
        std::string base = std::string(kind_.prefix) + "-" + stem;
        std::string n = base + suffix_;
        for (int k = 2; !used_.insert(n).second; ++k)
            n = base + fmt("-%ld", k) + suffix_;
        return n;
    }

    // The whole record: an 01 entry, 3 to 7 items under it, perhaps a FILLER.
    void record(const char *part)
    {
        if (rng_.pct(40)) {
            out_.comment("");
            out_.comment(std::string("    ") + kind_.title + " " + part + " RECORD");
            out_.comment("");
        }
        Entry head{1, 0, name((std::string(kind_.title) + "-" + part).c_str()), {}};
        put_entry(out_, head);
        int n = rng_.range(3, 7);
        for (int i = 0; i < n; ++i)
            item(1);
        if (rng_.pct(35))
            filler(1, rng_.range(1, 40));
    }

private:
    static int level_of(int depth) { return depth * 5; }

    // Writes the entry and gives back its name, for a REDEFINES behind it.
    std::string emit(const Entry &e)
    {
        put_entry(out_, e);
        return e.name;
    }

    // One item at `depth`: elementary, group, table or redefinition.
    void item(int depth)
    {
        if (rng_.pct(4))
            out_.comment(rng_.pick(COMMENTS));
        int r = rng_.below(100);
        if (depth < 3 && r < 16)
            group(depth);
        else if (depth < 3 && r < 19)
            table(depth);
        else if (r < 31)
            redefinition(depth);
        else if (r < 34)
            filler(depth, rng_.range(1, 20));
        else
            elementary(depth, rng_.pick(STEMS), 4);
    }

    void group(int depth)
    {
        static constexpr const char *G[] = {"DETAIL", "ADDR", "KEY", "DATES", "TOTALS",
                                            "CONTACT-INFO", "LIMITS", "HISTORY"};
        emit(Entry{level_of(depth), depth, name(rng_.pick(G)), {}});
        int n = rng_.range(2, 4);
        for (int i = 0; i < n; ++i)
            item(depth + 1);
    }

    // A group that repeats, now and then with a repeated group inside.
    void table(int depth)
    {
        static constexpr const char *T[] = {"LINE", "ENTRY", "MONTH", "PHONES", "SLOT", "HIST"};
        static constexpr int COUNTS[] = {2, 2, 3, 3, 4, 5, 6, 12};
        int count = rng_.pick(COUNTS);
        Entry e{level_of(depth), depth, name(rng_.pick(T)), {}};
        e.clauses.push_back(rng_.pct(50) ? fmt("OCCURS %ld TIMES", count) : fmt("OCCURS %ld", count));
        emit(e);
        int n = rng_.range(1, 3);
        for (int i = 0; i < n; ++i) {
            if (depth + 1 < 3 && rng_.pct(8))
                nested_table(depth + 1);
            else
                elementary(depth + 1, rng_.pick(STEMS), 0);
        }
    }

    void nested_table(int depth)
    {
        int count = rng_.range(2, 4);
        emit(Entry{level_of(depth), depth, name("SUB-ENTRY"), {fmt("OCCURS %ld TIMES", count)}});
        elementary(depth + 1, rng_.pick(STEMS), 0);
        elementary(depth + 1, rng_.pick(STEMS), 0);
    }

    void filler(int depth, int width)
    {
        Entry e{level_of(depth), depth, "FILLER", {fmt("PIC X(%ld)", width)}};
        if (rng_.pct(30))
            e.clauses.push_back("VALUE SPACES");
        emit(e);
    }

    // A display item of a known width, for the redefinition shapes.
    Entry display(int depth, const char *stem, int width, bool numeric)
    {
        return Entry{level_of(depth), depth, name(stem),
                     {fmt(numeric ? "PIC 9(%ld)" : "PIC X(%ld)", width)}};
    }

    // Five shapes of REDEFINES, each no longer than what it redefines.
    void redefinition(int depth)
    {
        int lvl = level_of(depth);
        switch (rng_.below(5)) {
        case 0: {  // a date and its parts
            std::string date = emit(display(depth, "PROC-DATE", 8, true));
            emit(Entry{lvl, depth, name("PROC-DATE-R"), {"REDEFINES " + date}});
            emit(display(depth + 1, "PROC-CCYY", 4, true));
            emit(display(depth + 1, "PROC-MM", 2, true));
            emit(display(depth + 1, "PROC-DD", 2, true));
            break;
        }
        case 1: {  // text seen as a number, zoned or packed
            int w = rng_.range(5, 15);
            std::string text = emit(display(depth, "AMT-TEXT", w, false));
            Entry num{lvl, depth, name("AMT-NUM"), {"REDEFINES " + text}};
            if (rng_.pct(50)) {
                num.clauses.push_back(fmt("PIC S9(%ld)V99", w - 2));
            } else {  // 2w - 3 digits pack into w - 1 bytes
                num.clauses.push_back(fmt("PIC S9(%ld)V99", 2 * w - 5 > 16 ? 16 : 2 * w - 5));
                num.clauses.push_back("COMP-3");
            }
            emit(num);
            break;
        }
        case 2: {  // a group seen flat
            std::string grp = emit(Entry{lvl, depth, name("ADDR-GRP"), {}});
            int size = 0;
            int n = rng_.range(2, 4);
            for (int i = 0; i < n; ++i) {
                int w = rng_.range(2, 30);
                emit(display(depth + 1, rng_.pct(70) ? "ADDR-LINE" : "POST-CODE", w, false));
                size += w;
            }
            emit(Entry{lvl, depth, name("ADDR-FLAT"), {"REDEFINES " + grp, fmt("PIC X(%ld)", size)}});
            break;
        }
        case 3: {  // a string of codes seen as a table
            int count = rng_.range(2, 8);
            std::string codes = emit(display(depth, "CODE-LIST", 3 * count, false));
            emit(Entry{lvl, depth, name("CODE-TBL"), {"REDEFINES " + codes}});
            emit(Entry{lvl + 5, depth + 1, name("CODE-ENTRY"), {"PIC X(3)", fmt("OCCURS %ld TIMES", count)}});
            break;
        }
        default: {  // one area, one or two more layouts
            std::string area = emit(Entry{lvl, depth, name("VARIANT-AREA"), {}});
            int size = rng_.range(20, 60);
            emit(display(depth + 1, "VARIANT-DATA", size, false));
            int layouts = rng_.range(1, 2);
            for (int v = 0; v < layouts; ++v) {
                emit(Entry{lvl, depth, name("VARIANT-LAYOUT"), {"REDEFINES " + area}});
                int left = size;
                while (left > 0) {
                    int w = rng_.range(1, 12);
                    if (w > left)
                        w = left;
                    if (left - w < 4 && rng_.pct(50)) {
                        emit(Entry{lvl + 5, depth + 1, "FILLER", {fmt("PIC X(%ld)", left)}});
                        break;
                    }
                    const Stem &s = rng_.pick(STEMS);
                    emit(display(depth + 1, s.word, w, s.kind == COUNT || s.kind == ID));
                    left -= w;
                }
            }
            break;
        }
        }
    }

    // Condition names: one value, several, or a range.
    void conditions(int depth, bool numeric, int width)
    {
        static constexpr const char *C[] = {"VALID", "ACTIVE", "CLOSED", "PENDING", "IS-YES",
                                            "IS-NO", "DOMESTIC", "FOREIGN", "RETAIL"};
        int n = rng_.range(1, 3);
        for (int i = 0; i < n; ++i) {
            Entry e{88, depth + 1, name(rng_.pick(C)), {}};
            if (numeric && rng_.pct(40)) {
                int lo = rng_.range(0, 5);
                e.clauses.push_back(fmt("VALUE %ld", lo) + fmt(" THRU %ld", lo + rng_.range(1, 4)));
            } else if (numeric) {
                e.clauses.push_back(fmt("VALUE %ld", rng_.range(0, 9)));
            } else {
                std::string v = "VALUE";
                int k = rng_.range(1, 3);
                for (int j = 0; j < k; ++j) {
                    v += " '";
                    for (int c = 0; c < width; ++c)
                        v += "ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"[rng_.below(36)];
                    v += "'";
                }
                e.clauses.push_back(v);
            }
            emit(e);
        }
    }

    // An elementary item for `stem`; `occurs_pct` is the chance of OCCURS.
    void elementary(int depth, const Stem &stem, int occurs_pct)
    {
        Entry e{level_of(depth), depth, name(stem.word), {}};
        int width = 0;         // of codes and flags, for their condition values
        bool numeric = false;  // conditions with numbers rather than quoted codes
        std::string value;
        switch (stem.kind) {
        case TEXT: {
            static constexpr int W[] = {1, 2, 5, 8, 10, 15, 20, 25, 30, 40, 50, 60};
            int w = rng_.pick(W);
            if (rng_.pct(5))
                e.clauses.push_back("JUSTIFIED RIGHT");
            e.clauses.push_back(rng_.pct(15) ? fmt("PICTURE IS X(%ld)", w) : fmt("PIC X(%ld)", w));
            if (rng_.pct(10))
                value = "VALUE SPACES";
            break;
        }
        case ID: {
            e.clauses.push_back(fmt("PIC 9(%ld)", rng_.range(5, 12)));
            int u = rng_.below(4);
            if (u == 1)
                e.clauses.push_back(rng_.pct(50) ? "COMP-3" : "USAGE IS PACKED-DECIMAL");
            else if (u == 2)
                e.clauses.push_back(rng_.pct(50) ? "COMP" : "BINARY");
            break;
        }
        case DATE:
            e.clauses.push_back(rng_.pct(60) ? "PIC 9(8)" : "PIC X(10)");
            break;
        case AMOUNT: {
            int d = rng_.range(5, 13);
            e.clauses.push_back(rng_.pct(80) ? fmt("PIC S9(%ld)V99", d) : fmt("PIC 9(%ld)V99", d));
            int u = rng_.below(5);
            if (u <= 1)
                e.clauses.push_back(u == 0 ? "COMP-3" : "USAGE IS COMP-3");
            else if (u == 2)
                e.clauses.push_back(rng_.pct(50) ? "COMP-5" : "COMPUTATIONAL");
            else if (u == 3 && rng_.pct(40))
                e.clauses.push_back(rng_.pct(50) ? "SIGN LEADING SEPARATE" : "SIGN IS TRAILING SEPARATE CHARACTER");
            if (rng_.pct(8))
                value = rng_.pct(50) ? "VALUE 0" : "VALUE +1250.75";
            break;
        }
        case COUNT: {
            static constexpr const char *U[] = {"COMP", "COMP-4", "BINARY", "COMP-5", "USAGE BINARY", ""};
            int d = rng_.range(2, 9);
            const char *u = rng_.pick(U);
            e.clauses.push_back(fmt(rng_.pct(50) ? "PIC S9(%ld)" : "PIC 9(%ld)", d));
            if (*u != '\0')
                e.clauses.push_back(u);
            numeric = *u == '\0';
            if (rng_.pct(10))
                value = "VALUE 0";
            break;
        }
        case FLAG:
            e.clauses.push_back("PIC X");
            width = 1;
            if (rng_.pct(20))
                value = "VALUE 'N'";
            break;
        case CODE: {
            static constexpr const char *X[] = {"PIC X", "PIC XX", "PIC XXX"};
            width = rng_.range(1, 3);
            numeric = rng_.pct(40);
            e.clauses.push_back(numeric ? fmt("PIC 9(%ld)", width) : X[width - 1]);
            break;
        }
        case RATE:
            if (rng_.pct(50)) {
                e.clauses.push_back("PIC SV9(5)");
                e.clauses.push_back("COMP-3");
            } else {
                e.clauses.push_back("PIC S9(3)V9(4)");
            }
            break;
        case EDITED: {
            static constexpr const char *P[] = {"ZZZ,ZZZ,ZZ9.99-", "Z(6)9", "-ZZ,ZZ9.99", "$$$,$$9.99",
                                                "ZZZ9.99CR", "99/99/9999", "ZZ,ZZ9", "+ZZZ,ZZ9.99"};
            int i = rng_.below(8);
            if (i != 5 && rng_.pct(25))
                e.clauses.push_back("BLANK WHEN ZERO");
            e.clauses.push_back(std::string("PIC ") + P[i]);
            break;
        }
        }
        if (rng_.pct(occurs_pct)) {
            static constexpr int COUNTS[] = {2, 3, 4, 5, 6, 7, 10, 12};
            e.clauses.push_back(fmt("OCCURS %ld TIMES", rng_.pick(COUNTS)));
        }
        if (!value.empty())
            e.clauses.push_back(value);
        emit(e);
        if ((stem.kind == FLAG || stem.kind == CODE || (stem.kind == COUNT && numeric)) && rng_.pct(60))
            conditions(depth, numeric, width);
    }

    Rng &rng_;
    Out &out_;
    const RecordKind &kind_;
    std::string suffix_;
    std::set<std::string> used_;
};

}  // namespace

int main(int argc, char **argv)
{
    if (argc < 2 || argc > 3) {
        std::fputs("usage: gensource RECORDS [SEED]\n", stderr);
        return 2;
    }
    long records = std::strtol(argv[1], nullptr, 10);
    std::uint64_t seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    if (records < 1) {
        std::fputs("gensource: RECORDS must be at least 1\n", stderr);
        return 2;
    }
    Rng rng{seed};

    // The files first, from a stream of their own: the SELECT lines come
    // before any record is drawn.
    struct File {
        const RecordKind *kind;
        long records;
        std::string name;
    };
    std::vector<File> files;
    Rng plan{seed ^ 0x5eedf11e5ULL};
    for (long left = records; left > 0;) {
        long n = plan.range(20, 100);
        if (n > left)
            n = left;
        const RecordKind &kind = plan.pick(KINDS);
        files.push_back(File{&kind, n, std::string(kind.file) + fmt("-F%04ld", static_cast<long>(files.size() + 1))});
        left -= n;
    }

    Out out;
    out.line("IDENTIFICATION DIVISION.");
    out.line("PROGRAM-ID. BENCHSRC.");
    out.line("AUTHOR. DATA-ADMINISTRATION.");
    out.line("DATE-WRITTEN. 1998-03-14.");
    out.comment("");
    out.comment("    RECORD LAYOUTS OF THE NIGHTLY BATCH FILES");
    out.comment("");
    out.line("ENVIRONMENT DIVISION.");
    out.line("CONFIGURATION SECTION.");
    out.line("SOURCE-COMPUTER. MAINFRAME-01.");
    out.line("OBJECT-COMPUTER. MAINFRAME-01.");
    out.line("INPUT-OUTPUT SECTION.");
    out.line("FILE-CONTROL.");
    for (std::size_t i = 0; i < files.size(); ++i) {
        const File &f = files[i];
        long no = static_cast<long>(i + 1);
        out.line("    SELECT " + f.name + " ASSIGN TO '" + f.kind->file + fmt("%04ld.DAT'", no));
        if (i % 3 == 2) {
            out.line("        ORGANIZATION IS SEQUENTIAL");
        } else {
            out.line("        ORGANIZATION IS INDEXED");
            out.line("        ACCESS MODE IS DYNAMIC");
            out.line("        RECORD KEY IS " + std::string(f.kind->prefix) + fmt("-KEY-%04ld", no));
        }
        out.line(fmt("        FILE STATUS IS WS-FS-%04ld.", no));
    }
    out.line("DATA DIVISION.");
    out.line("FILE SECTION.");

    long recno = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const File &f = files[i];
        long no = static_cast<long>(i + 1);
        out.restart(10, 10);  // every FD with its records reads like one copybook
        out.comment(" ---------------------------------------------------------------");
        out.comment(std::string("  ") + f.kind->title + " FILE");
        out.comment(" ---------------------------------------------------------------");
        out.line("FD  " + f.name);
        std::vector<std::string> clauses;
        clauses.push_back(rng.pct(80) ? "RECORDING MODE IS F" : "RECORDING MODE IS V");
        if (rng.pct(70))
            clauses.push_back(rng.pct(80) ? "LABEL RECORDS ARE STANDARD" : "LABEL RECORD IS OMITTED");
        if (rng.pct(60))
            clauses.push_back("BLOCK CONTAINS 0 RECORDS");
        if (rng.pct(75))
            clauses.push_back(std::string("VALUE OF FILE-ID IS '") + f.kind->file + fmt("%04ld.DAT'", no));
        for (std::size_t c = 0; c < clauses.size(); ++c)
            out.line("    " + clauses[c] + (c + 1 == clauses.size() ? "." : ""));
        for (long r = 0; r < f.records; ++r) {
            RecordGen gen(rng, out, ++recno, *f.kind);
            gen.record(r == 0 && f.records > 30 ? "HDR" : rng.pick(PART));
        }
    }

    out.restart(100, 100);
    out.line("WORKING-STORAGE SECTION.");
    out.line("01  WS-FILE-STATUS                 PIC XX.");
    out.line("01  WS-END-OF-FILE                 PIC X VALUE 'N'.");
    out.line("PROCEDURE DIVISION.");
    out.line("    STOP RUN.");
    out.flush();
    return std::ferror(stdout) ? 1 : 0;
}
