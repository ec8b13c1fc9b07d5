# gen.awk: from what cobc -E made of a copybook (the input), writes a COBOL
# program (-v prog=FILE) that writes NREC records of known values per 01
# record to a fixed-length sequential file, and the value the loader must
# give for every column and record (-v expect=FILE: TABLE TAB COLUMN TAB
# RECORD TAB =VALUE, or "?" where no value is known). Called by oracle.sh.
#   -v check=FILE  tarnmap-check -r --all --csv of the cleaned copybook: file,
#                  record and the FILLER names, and which items agree
#   -v dict=FILE   the dictionary, for each file's record length
#   -v ebcdic=1    also write EBCDIC records (display fields converted)
#   -v comp5=1     COMP-5 items are compared (native order is little-endian)
#   -v e95=HEX     the EBCDIC bytes of ASCII 0x20-0x7E, in order

# PICTURE with its repeat counts written out: S9(3)V9(2) -> S999V99.
function expand_pic(p,   out, c, n) {
    out = ""
    while (p != "") {
        c = substr(p, 1, 1); p = substr(p, 2)
        if (c == "(" && match(p, /^[0-9]+\)/)) {
            n = substr(p, 1, RLENGTH - 1) + 0; p = substr(p, RLENGTH + 1)
            while (--n > 0) out = out substr(out, length(out), 1)
        } else out = out c
    }
    return out
}

# Reads the entries of the record area: level, name, the clauses that decide
# storage, the source line of the level number.
function entry(e, line, nth,   t, k, j, lvl, u) {
    k = split(e, t)
    if (k == 0 || t[1] !~ /^[0-9]+$/) return
    lvl = t[1] + 0
    if (lvl == 88 || lvl == 78 || lvl == 66) return
    ne++
    E_lvl[ne] = lvl; E_line[ne] = line; E_nth[ne] = nth
    E_name[ne] = (k < 2 || t[2] ~ KW) ? "FILLER" : t[2]
    E_pic[ne] = ""; E_usage[ne] = ""; E_occ[ne] = 1; E_redef[ne] = 0; E_value[ne] = 0
    E_sign[ne] = ""; E_sep[ne] = 0; E_odd_obj[ne] = ""; E_other[ne] = 0
    for (j = 2; j <= k; j++) {
        u = t[j]
        if (u == "PIC" || u == "PICTURE") { j += (t[j + 1] == "IS"); E_pic[ne] = t[++j]; continue }
        if (u == "USAGE") { j += (t[j + 1] == "IS"); E_usage[ne] = t[++j]; continue }
        if (u ~ USAGES) { E_usage[ne] = u; continue }
        if (u == "REDEFINES") { E_redef[ne] = 1; j++; continue }
        if (u == "VALUE" || u == "VALUES") E_value[ne] = 1
        if (u == "LEADING" || u == "TRAILING") E_sign[ne] = u
        if (u == "SEPARATE") E_sep[ne] = 1
        if (u ~ /^(JUST|JUSTIFIED|BLANK|NATIONAL)$/) E_other[ne] = 1
        if (u == "OCCURS") { E_occ[ne] = t[j + 1] + 0; if (t[j + 2] == "TO") E_occ[ne] = t[j + 3] + 0 }
        if (u == "DEPENDING") { j += (t[j + 1] == "ON"); E_odd_obj[ne] = t[j + 1] }
    }
}

# Storage of elementary entry i: kind ("x" text, "a" letters, "z" zoned, "p"
# packed, "b" binary, "5" COMP-5, "f" COMP-2, "" none we write), digits,
# scale, sign.
function classify(i,   u, p, v) {
    u = E_usage[i]; p = expand_pic(E_pic[i])
    K[i] = ""; DIG[i] = 0; SC[i] = 0; SGN[i] = (substr(p, 1, 1) == "S")
    if (u ~ /^(COMP|COMPUTATIONAL)-2$/ && p == "" && !E_other[i]) { K[i] = "f"; return }
    if (p == "" || E_other[i]) return
    if (p ~ /^X+$/) { K[i] = "x"; DIG[i] = length(p); return }
    if (p ~ /^A+$/) { K[i] = "a"; DIG[i] = length(p); return }
    if (p !~ /^S?9*(V9*)?$/ || p !~ /9/) return   # edited, P-scaled, mixed classes: not written
    if (SGN[i]) p = substr(p, 2)
    v = index(p, "V"); DIG[i] = length(p) - (v > 0); SC[i] = v ? length(p) - v : 0
    if (u == "" || u == "DISPLAY") K[i] = "z"
    else if (u ~ /^(COMP|COMPUTATIONAL)-3$|^PACKED-DECIMAL$/) K[i] = "p"
    else if (u ~ /^(COMP|COMPUTATIONAL)(-4)?$|^BINARY$/) K[i] = "b"
    else if (u ~ /^(COMP|COMPUTATIONAL)-5$/) K[i] = "5"
}

# The digits of a value: a mix of zero, all nines, one unit, leading zeros
# and varied digits, by record, item and occurrence.
function digits(n, seed, kind,   s, mix) {
    mix = "81726354453627181909"
    if (kind == 0) return rep("0", n)
    if (kind == 1) return rep("9", n)
    if (kind == 3) return rep("0", n - 1) "1"
    s = substr(mix mix mix mix mix mix mix mix, seed % 20 + 1, n)
    if (kind == 4) s = rep("0", int(n / 2)) substr(s, 1, n - int(n / 2))
    return s
}
function rep(c, n,   s) { s = ""; while (n-- > 0) s = s c; return s }

# Text as the loader writes it: no leading zeros, "." only with a scale.
function dec_text(neg, d, scale,   ip, fp) {
    ip = substr(d, 1, length(d) - scale); fp = substr(d, length(d) - scale + 1)
    sub(/^0+/, "", ip); if (ip == "") ip = "0"
    if ((ip fp) ~ /^0*$/) neg = 0
    return (neg ? "-" : "") ip (scale > 0 ? "." fp : "")
}

# A text value of at most width n (and at most 50 characters, so a literal fits a line).
function text(n, seed, kind, letters,   pool, s, len) {
    pool = letters ? "ABCDEFGHIJ KLMNOPQRSTUVWXYZ abcdefghijklmnopqrstuvwxyz" \
                   : "Ab0 ,\"x-Y;9.z/Q(1)'k*Z%=+_@#<>?:&e!"
    len = (n > 50) ? 50 : n
    if (kind == 0) return ""
    if (kind == 5) len = 1
    if (kind == 2) len = int((len + 1) / 2)
    s = substr(pool pool pool pool, seed % length(pool) + 1, len)
    if (kind == 3) s = " " substr(s, 2)
    sub(/ +$/, "", s)
    return s
}

# The reference to entry i qualified by its named groups, with subscripts.
function ref(i, subs,   r, j) {
    r = E_name[i]
    for (j = PAR[i]; j > 0; j = PAR[j]) if (E_name[j] != "FILLER") r = r " OF " E_name[j]
    return subs == "" ? r : r " (" subs ")"
}

# One occurrence of elementary entry i in record r: the MOVE, the EBCDIC
# conversion of its display bytes, its expected value ("?" when unknown:
# a view under REDEFINES, a VALUE clause, a kind not written, a layout
# that tarnmap-check says differs from the compiler's).
function occurrence(i, subs, suffix, moved, ok, r,   seed, kind, neg, d, v, lit, q, known, fl) {
    # deliberate: S with SIGN LEADING is trailing in the dictionary; its layout agrees, its sign does not
    known = ok && K[i] != "" && !(K[i] == "5" && !comp5) && !UNDER_REDEF[i] && E_sign[i] != "LEADING"
    if (!moved || K[i] == "") {
        # the initial bytes of an 01 that redefines another follow the other's items
        v = (known && !INITV[i] && !(REC[RECOF[i]] && E_redef[REC[RECOF[i]]])) ? "=" (K[i] ~ /[xa]/ ? "" : K[i] == "f" ? "0" : dec_text(0, rep("0", DIG[i]), SC[i])) : "?"
        print TAB[i] "\t" COL[i] suffix "\t" r "\t" v >expect
        return
    }
    serial++; seed = r * 7 + serial * 3; kind = (r + serial) % 6
    q = ref(i, subs)
    if (K[i] ~ /[xa]/) {
        v = text(DIG[i], seed, kind, K[i] == "a"); lit = v; gsub(/"/, "\"\"", lit)
        print "MOVE " (v == "" ? "SPACES" : "\"" lit "\"") "\n    TO " q >prog
        if (ebcdic) print "IF TARNMAP-EBC = 1 INSPECT " q " CONVERTING\n    X\"" a95 "\"\n    TO X\"" e95 "\" END-IF" >prog
        print TAB[i] "\t" COL[i] suffix "\t" r "\t" (known ? "=" v : "?") >expect
        return
    }
    if (K[i] == "f") {   # values a binary64 holds exactly, in their shortest text
        split("0 0.5 -1234.25 3.75 -0.125 65536.5", fl, " "); v = fl[kind + 1]
        print "MOVE " v "\n    TO " q >prog
        print TAB[i] "\t" COL[i] suffix "\t" r "\t" (known ? "=" v : "?") >expect
        return
    }
    if (E_name[i] in ODO_MAX) { d = sprintf("%0" DIG[i] "d", ODO_MAX[E_name[i]]); neg = 0 }
    else {
        d = digits(DIG[i], seed, kind == 5 ? 2 : kind)
        neg = SGN[i] && (kind == 1 || kind == 3 || (kind == 2 && r % 2))
    }
    lit = substr(d, 1, DIG[i] - SC[i]); if (lit == "") lit = "0"
    if (SC[i] > 0) lit = lit "." substr(d, DIG[i] - SC[i] + 1)
    print "MOVE " (neg ? "-" : "") lit "\n    TO " q >prog
    if (ebcdic && K[i] == "z" && !(E_name[i] in ODO_MAX)) convert_zoned(i, q)
    print TAB[i] "\t" COL[i] suffix "\t" r "\t" (known ? "=" dec_text(neg, d, SC[i]) : "?") >expect
}

# Zoned bytes to EBCDIC: digits F0-F9, an overpunched sign as zone C or D,
# a separate sign as 4E or 60.
function convert_zoned(i, q,   n, first, last) {
    n = DIG[i] + (SGN[i] && E_sep[i])
    first = 1; last = n
    if (SGN[i]) {
        if (E_sign[i] == "LEADING") { zone(q, 1, E_sep[i]); first = 2 }
        else { zone(q, n, E_sep[i]); last = n - 1 }
    }
    if (last >= first)
        print "IF TARNMAP-EBC = 1 INSPECT " q " (" first ":" last - first + 1 ") CONVERTING\n    \"0123456789\" TO X\"F0F1F2F3F4F5F6F7F8F9\" END-IF" >prog
}
# One sign byte to EBCDIC, overpunched or separate.
function zone(q, at, sep) {
    if (sep) print "IF TARNMAP-EBC = 1 INSPECT " q " (" at ":1) CONVERTING \"+-\" TO X\"4E60\" END-IF" >prog
    else print "IF TARNMAP-EBC = 1 INSPECT " q " (" at ":1) CONVERTING \"0123456789pqrstuvwxy\"\n    TO X\"C0C1C2C3C4C5C6C7C8C9D0D1D2D3D4D5D6D7D8D9\" END-IF" >prog
}

# Every occurrence of entry i: subscripts over its repeated ancestors, written
# up to CAP per table (the rest keep their initial value).
function occurrences(i, r,   chain, nc, j, idx, subs, suffix, moved, level, ok) {
    nc = 0
    for (j = i; j > 0; j = PAR[j]) if (E_occ[j] > 1) chain[++nc] = j
    for (j = 1; j <= nc; j++) idx[j] = 1
    ok = AGREE[i]
    for (j = 1; j <= nc; j++) if (!AGREE[chain[j]]) ok = 0
    while (1) {
        subs = ""; suffix = ""; moved = !UNDER_REDEF[i] && E_name[i] != "FILLER"
        for (j = nc; j >= 1; j--) {
            subs = subs (subs == "" ? "" : " ") idx[j]
            suffix = suffix "_I" idx[j]
            if (idx[j] > CAP) moved = 0
        }
        occurrence(i, subs, suffix, moved, ok, r)
        for (level = 1; level <= nc; level++) {
            if (++idx[level] <= E_occ[chain[level]]) break
            idx[level] = 1
        }
        if (level > nc) break
    }
}

BEGIN {
    KW = "^(PIC(TURE)?|REDEFINES|USAGE|OCCURS|VALUES?|SYNC(HRONIZED)?|JUST(IFIED)?|BLANK|SIGN|LEADING|TRAILING|" \
        "EXTERNAL|GLOBAL|INDEX|(PROCEDURE-|FUNCTION-|PROGRAM-)?POINTER|BINARY(-CHAR|-SHORT|-LONG|-DOUBLE)?|" \
        "PACKED-DECIMAL|DISPLAY|NATIONAL|COMP(UTATIONAL)?(-[0-9X])?|FLOAT-(SHORT|LONG)|RENAMES)$"
    USAGES = "^(INDEX|(PROCEDURE-|FUNCTION-|PROGRAM-)?POINTER|BINARY(-CHAR|-SHORT|-LONG|-DOUBLE)?|" \
        "PACKED-DECIMAL|DISPLAY|NATIONAL|COMP(UTATIONAL)?(-[0-9X])?|FLOAT-(SHORT|LONG))$"
    CAP = 3
    for (c = 32; c < 127; c++) a95 = a95 sprintf("%02X", c)
    FS = ","
    while ((getline l <check) > 0) {
        if (++nl == 1) continue
        n = split(l, f, ",")
        key = f[4] ":" (++online[f[4]])
        CK_file[key] = f[1]; CK_rec[key] = f[2]; CK_item[key] = f[3]
        CK_agree[key] = (f[5] "," f[6] == f[7] "," f[8])
    }
    while ((getline l <dict) > 0) {
        if (l !~ /^"FILE"/) continue
        split(l, f, ","); gsub(/"/, "", f[2]); RECLEN[f[2]] = f[5] + 0
    }
    FS = " "
}

# cobc -E's text of the probe: #line directives keep the copybook's lines.
/^#line / { ln = $2 - 1; incpy = ($3 ~ /copybook\.cpy"$/); next }
{ ln++ }
/^[ \t]*LOCAL-STORAGE SECTION\./ { on = 0 }
on && incpy {
    s = toupper($0) " "
    gsub(/"[^"]*"/, "\"\"", s); gsub(/\047[^\047]*\047/, "\047\047", s)
    gsub(/[,;][ \t]/, " ", s)
    n = split(s, w)
    for (j = 1; j <= n; j++) {
        if (cur == "") { curline = ln; nth[ln]++; curnth = nth[ln] }
        cur = cur " " w[j]
        if (w[j] ~ /\.$/) { sub(/\.$/, "", cur); entry(cur, curline, curnth); cur = "" }
    }
}
/^[ \t]*WORKING-STORAGE SECTION\./ { on = 1 }

END {
    # The tree: parents, records (a wrapper record when the copybook starts
    # below level 01), elementary items, views under a REDEFINES.
    d = 0; nr = 0
    for (i = 1; i <= ne; i++) {
        if (E_lvl[i] == 1 || E_lvl[i] == 77) { d = 0; REC[++nr] = i }
        else if (nr == 0) { REC[++nr] = 0; wrap = 1 }
        while (d > 0 && E_lvl[stk[d]] >= E_lvl[i]) d--
        PAR[i] = d > 0 ? stk[d] : 0
        stk[++d] = i
        RECOF[i] = nr
        # deliberate: an 01 that redefines another is a file of its own under -r, written through itself
        UNDER_REDEF[i] = (E_redef[i] && E_lvl[i] != 1 && E_lvl[i] != 77) || (PAR[i] && UNDER_REDEF[PAR[i]])
        INITV[i] = E_value[i] || (PAR[i] && INITV[PAR[i]])
        if (E_usage[i] == "" && PAR[i]) E_usage[i] = E_usage[PAR[i]]
        if (E_sign[i] == "" && PAR[i]) { E_sign[i] = E_sign[PAR[i]]; E_sep[i] = E_sep[PAR[i]] }
        if (E_odd_obj[i] != "") ODO_MAX[E_odd_obj[i]] = E_occ[i]
        key = E_line[i] ":" E_nth[i]
        AGREE[i] = (key in CK_agree) && CK_agree[key]
        if ((key in CK_file) && FILE_OF[nr] == "") { FILE_OF[nr] = CK_file[key]; TABLE_OF[nr] = CK_rec[key] }
        COL[i] = (key in CK_item) ? CK_item[key] : E_name[i]
        gsub(/-/, "_", COL[i])
    }
    for (i = 1; i < ne; i++) CHILD[i] = (E_lvl[i + 1] > E_lvl[i] && RECOF[i + 1] == RECOF[i])
    for (i = 1; i <= ne; i++) { classify(i); ELEM[i] = !CHILD[i] && E_lvl[i] != 1 && E_lvl[i] != 77 }

    # Records that get a file: one with items of their own, whose dictionary file is theirs alone.
    for (r = 1; r <= nr; r++) {
        fn = FILE_OF[r]
        if (fn == "" || !(fn in RECLEN) || (fn in TAKEN)) continue
        TAKEN[fn] = r; nf++; FNO[r] = nf
        tab = TABLE_OF[r]; gsub(/-/, "_", tab)
        for (i = 1; i <= ne; i++) if (RECOF[i] == r) TAB[i] = tab
    }
    if (nf == 0) { print "gen.awk: no record to write" >"/dev/stderr"; exit 3 }

    # Free format but for the copybook, which keeps its own columns.
    print "       >>SOURCE FORMAT IS FREE\nIDENTIFICATION DIVISION.\nPROGRAM-ID. TARNMAP-ORACLE.\nENVIRONMENT DIVISION." >prog
    print "INPUT-OUTPUT SECTION.\nFILE-CONTROL." >prog
    for (r = 1; r <= nr; r++) if (FNO[r]) {
        print "SELECT TARNMAP-A" FNO[r] " ASSIGN TO \"ascii/" FILE_OF[r] "\" ORGANIZATION SEQUENTIAL." >prog
        if (ebcdic) print "SELECT TARNMAP-E" FNO[r] " ASSIGN TO \"ebcdic/" FILE_OF[r] "\" ORGANIZATION SEQUENTIAL." >prog
    }
    print "DATA DIVISION.\nFILE SECTION." >prog
    for (r = 1; r <= nr; r++) if (FNO[r]) {
        print "FD TARNMAP-A" FNO[r] " RECORD CONTAINS " RECLEN[FILE_OF[r]] " CHARACTERS.\n01 TARNMAP-A" FNO[r] "-R PIC X(" RECLEN[FILE_OF[r]] ")." >prog
        if (ebcdic) print "FD TARNMAP-E" FNO[r] " RECORD CONTAINS " RECLEN[FILE_OF[r]] " CHARACTERS.\n01 TARNMAP-E" FNO[r] "-R PIC X(" RECLEN[FILE_OF[r]] ")." >prog
    }
    print ">>SOURCE FORMAT IS FIXED\n       WORKING-STORAGE SECTION." >prog
    if (wrap) print "       01 TARNMAP-RECORD." >prog
    print "       COPY \"copybook.cpy\".\n       01 TARNMAP-EBC PIC 9 VALUE 0." >prog
    for (r = 1; r <= nr; r++) if (FNO[r])
        print "       01 TARNMAP-LEN-" FNO[r] " PIC 9(9) COMP-5.\n       01 TARNMAP-SAVED-" FNO[r] " PIC X(65535)." >prog
    print "       >>SOURCE FORMAT IS FREE\nPROCEDURE DIVISION." >prog
    # A record with its tables at their largest, as the program starts, is
    # the initial state of every record written (records that redefine one
    # another share their bytes); a variable record is moved by its largest
    # length, as the EBCDIC bytes of a count no longer tell its length.
    for (r = 1; r <= nr; r++) if (FNO[r]) {
        rn = (wrap && r == 1) ? "TARNMAP-RECORD" : E_name[REC[r]]
        len = "TARNMAP-LEN-" FNO[r]
        odo_moves(r, 0)
        print "MOVE FUNCTION BYTE-LENGTH(" rn ") TO " len "\nIF LENGTH OF " rn " > " len " MOVE LENGTH OF " rn " TO " len " END-IF" >prog
        print "MOVE " rn " TO TARNMAP-SAVED-" FNO[r] >prog
    }
    for (r = 1; r <= nr; r++) if (FNO[r]) {
        rn = (wrap && r == 1) ? "TARNMAP-RECORD" : E_name[REC[r]]
        len = "TARNMAP-LEN-" FNO[r]
        print "OPEN OUTPUT TARNMAP-A" FNO[r] >prog
        if (ebcdic) print "OPEN OUTPUT TARNMAP-E" FNO[r] >prog
        for (k = 1; k <= NREC; k++) {
            print "MOVE 0 TO TARNMAP-EBC\nPERFORM TARNMAP-W" FNO[r] "-" k "\nWRITE TARNMAP-A" FNO[r] "-R FROM " rn " (1:" len ")" >prog
            if (ebcdic) print "MOVE 1 TO TARNMAP-EBC\nPERFORM TARNMAP-W" FNO[r] "-" k "\nWRITE TARNMAP-E" FNO[r] "-R FROM " rn " (1:" len ")" >prog
        }
        print "CLOSE TARNMAP-A" FNO[r] >prog
        if (ebcdic) print "CLOSE TARNMAP-E" FNO[r] >prog
    }
    print "STOP RUN." >prog
    # One paragraph per record and file: the initial bytes back (in EBCDIC
    # their blanks, zeros and plus signs), then every value.
    for (r = 1; r <= nr; r++) if (FNO[r]) {
        rn = (wrap && r == 1) ? "TARNMAP-RECORD" : E_name[REC[r]]
        for (k = 1; k <= NREC; k++) {
            print "TARNMAP-W" FNO[r] "-" k "." >prog
            len = "TARNMAP-LEN-" FNO[r]
            print "MOVE TARNMAP-SAVED-" FNO[r] " (1:" len ") TO " rn " (1:" len ")" >prog
            if (ebcdic) {
                print "IF TARNMAP-EBC = 1\n    INSPECT " rn " (1:" len ") CONVERTING X\"20302B\" TO X\"40F04E\"" >prog
                odo_moves(r, 0)
                print "END-IF" >prog
            }
            serial = 0
            for (i = 1; i <= ne; i++) if (RECOF[i] == r && ELEM[i]) occurrences(i, k)
            if (ebcdic) odo_moves(r, 1)
            print "." >prog
        }
    }
}

# The counts of OCCURS DEPENDING ON at their maximum; with conv, their
# conversion to EBCDIC, which comes last.
function odo_moves(r, conv,   i) {
    for (i = 1; i <= ne; i++)
        if (RECOF[i] == r && ELEM[i] && (E_name[i] in ODO_MAX) && !UNDER_REDEF[i] && K[i] != "")
            if (!conv) print "MOVE " ODO_MAX[E_name[i]] " TO " ref(i, "") >prog
            else if (K[i] == "z") convert_zoned(i, ref(i, ""))
}
