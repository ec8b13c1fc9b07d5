#!/bin/sh
# cobc_layout.sh COPYBOOK: prints name,offset,size of every named data item of
# COPYBOOK in source order, as measured at run time in a program compiled with
# cobc -x -std=ibm: offset from the item's 01 record, tables at their first
# occurrence, OCCURS DEPENDING ON objects at their maximum. Exit status 2, with
# the compiler's first errors on standard error, when the copybook does not compile.
[ $# -eq 1 ] && [ -r "$1" ] || { echo "usage: $0 COPYBOOK" >&2; exit 1; }
cpy=$1
src=$(cd "$(dirname -- "$1")" && pwd) || exit 1
tmp=$(mktemp -d) || exit 1
trap 'rm -rf "$tmp"' EXIT
trap 'exit 2' HUP INT TERM
cp -- "$1" "$tmp/copybook.cpy" && cd "$tmp" || exit 1

# A caller skips a copybook that GnuCOBOL rejects, so show why and stop.
fail() {
    { grep -i 'error' "$1" || cat "$1"; } | head -n 3 |
        awk -v f="$cpy" '{ gsub(/copybook\.cpy/, f); print }' >&2
    exit 2
}

# Copybook alone in WORKING-STORAGE, so it can be cut out of cobc -E's text; free
# format from the PROCEDURE DIVISION on, as qualified names can be long.
program() {
    cat <<EOF
       IDENTIFICATION DIVISION.
       PROGRAM-ID. TARNMAP-LAYOUT.
       DATA DIVISION.
       WORKING-STORAGE SECTION.
$1
       COPY "copybook.cpy".
       LOCAL-STORAGE SECTION.
       01 TARNMAP-P0 USAGE POINTER.
       01 TARNMAP-N0 REDEFINES TARNMAP-P0 PIC S9(18) COMP-5.
       01 TARNMAP-P1 USAGE POINTER.
       01 TARNMAP-N1 REDEFINES TARNMAP-P1 PIC S9(18) COMP-5.
       01 TARNMAP-OFF PIC 9(9).
       01 TARNMAP-LEN PIC 9(9).
       >>SOURCE FORMAT IS FREE
PROCEDURE DIVISION.
EOF
}

# cobc -E has dropped comments and columns 1-6 and 73-80, joined continued
# literals and expanded COPY; the rest splits into entries at separator periods.
program "" >probe.cob
cobc -E -std=ibm -I "$src" probe.cob >pre.txt 2>err.txt || fail err.txt
wrap=$(awk '
function entry(e,   t, k, j, lvl, nm, ref, subs, max, obj) {
    k = split(e, t)
    if (k == 0 || t[1] !~ /^[0-9]+$/) return
    lvl = t[1] + 0
    nm = (k < 2 || t[2] ~ KW) ? "FILLER" : t[2]
    if (lvl == 88 || lvl == 78) return
    if (d == 0 && lvl != 1 && lvl != 77) { print "wrap"; d = 1; lev[1] = 1; name[1] = "TARNMAP-RECORD"; occ[1] = 0 }
    if (lvl == 66) { if (nm != "FILLER") emit(nm, nm " OF " name[1]); return }
    if (lvl == 1 || lvl == 77) d = 0
    while (d > 0 && lev[d] >= lvl) d--
    d++; lev[d] = lvl; name[d] = nm; occ[d] = 0
    for (j = 2; j <= k; j++) {
        if (t[j] == "OCCURS") { occ[d] = 1; max = t[j + 1]; if (t[j + 2] == "TO") max = t[j + 3] }
        if (t[j] == "DEPENDING") {
            j += (t[j + 1] == "ON"); obj = t[++j]
            while (t[j + 1] == "OF" || t[j + 1] == "IN") { obj = obj " OF " t[j + 2]; j += 2 }
            odo = odo "MOVE " max " TO " obj "\n"
        }
    }
    if (nm == "FILLER") return
    ref = nm; subs = ""
    for (j = d - 1; j >= 1; j--) if (name[j] != "FILLER") ref = ref " OF " name[j]
    for (j = 1; j <= d; j++) if (occ[j]) subs = subs " 1"
    emit(nm, subs == "" ? ref : ref " (" substr(subs, 2) ")")
}
# BYTE-LENGTH falls short for a record whose variable table has a sibling
# after it, LENGTH OF does not: the larger is the size.
function emit(nm, ref) {
    print nm >"names.txt"
    proc = proc "SET TARNMAP-P0 TO ADDRESS OF " name[1] "\nSET TARNMAP-P1 TO ADDRESS OF " ref \
        "\nCOMPUTE TARNMAP-OFF = TARNMAP-N1 - TARNMAP-N0\nMOVE FUNCTION BYTE-LENGTH(" ref ") TO TARNMAP-LEN" \
        "\nIF LENGTH OF " ref " > TARNMAP-LEN MOVE LENGTH OF " ref " TO TARNMAP-LEN END-IF" \
        "\nDISPLAY TARNMAP-OFF \",\" TARNMAP-LEN\n"
}
BEGIN {
    KW = "^(PIC(TURE)?|REDEFINES|USAGE|OCCURS|VALUES?|SYNC(HRONIZED)?|JUST(IFIED)?|BLANK|SIGN|LEADING|TRAILING|" \
        "EXTERNAL|GLOBAL|INDEX|(PROCEDURE-|FUNCTION-|PROGRAM-)?POINTER|BINARY(-CHAR|-SHORT|-LONG|-DOUBLE)?|" \
        "PACKED-DECIMAL|DISPLAY|NATIONAL|COMP(UTATIONAL)?(-[0-9X])?|FLOAT-(SHORT|LONG)|RENAMES)$"
}
/^#/ { next }
/^[ \t]*LOCAL-STORAGE SECTION\./ { on = 0 }
on { text = text " " $0 }
/^[ \t]*WORKING-STORAGE SECTION\./ { on = 1 }
END {
    s = toupper(text) " "
    gsub(/"[^"]*"/, "\"\"", s); gsub(/\047[^\047]*\047/, "\047\047", s)
    gsub(/[,;][ \t]/, " ", s)
    n = split(s, ent, /\.[ \t]+/)
    for (i = 1; i <= n; i++) entry(ent[i])
    printf "%s%s", odo, proc >"proc.txt"
}' pre.txt)
[ -s names.txt ] || { echo "no named data items" >&2; exit 2; }

# The measuring program: a wrapper 01 if the copybook starts below level 01.
{ program "${wrap:+       01 TARNMAP-RECORD.}"; cat proc.txt; echo "STOP RUN."; } >layout.cob
cobc -x -std=ibm -I "$src" layout.cob >err.txt 2>&1 || fail err.txt
./layout >out.txt 2>err.txt || fail err.txt
[ "$(wc -l <out.txt)" -eq "$(wc -l <names.txt)" ] || { echo "layout: stopped early" >&2; exit 2; }
awk -F, 'NR == FNR { nm[FNR] = $0; next } { print nm[FNR] "," $1 + 0 "," $2 + 0 }' names.txt out.txt
