#!/bin/sh
# COPY, REPLACING, REPLACE and continuation lines against GnuCOBOL: for every
# program under tests/prep/cobc/, the words tarnmap-prep writes (comments
# aside) are the words of cobc -E's text in its FILE, WORKING-STORAGE and
# LINKAGE SECTIONs, layout and case aside.
# Usage: cobc_compare.sh TARNMAP-PREP, from the top of the source tree.
prep=$1
command -v cobc >/dev/null 2>&1 || { echo "cobc_compare: no cobc, nothing compared"; exit 0; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0 programs=0
words() { tr a-z A-Z | tr -s ' \n' '\n\n' | grep -v '^$'; }
# The words of FILE, WORKING-STORAGE and LINKAGE SECTION: tarnmap-prep
# keeps the other divisions and sections as comments.
data_words() {
    awk 'function header(w, n) {
             if (n ~ /^SECTION[.]?$/)
                 return w ~ /^(FILE|WORKING-STORAGE|LINKAGE)$/ ? -1 : w ~ /^(LOCAL-STORAGE|REPORT|SCREEN|COMMUNICATION)$/
             return (n ~ /^DIVISION[.]?$/ && w ~ /^(IDENTIFICATION|ID|ENVIRONMENT|DATA|PROCEDURE)$/) || (w == "END" && n ~ /^PROGRAM/)
         }
         NR > 1 { h = header(prev, $0); if (h) skip = h > 0; if (!skip) print prev }
         { prev = $0 }
         END { if (NR && !skip) print prev }'
}
for program in tests/prep/cobc/*.cbl; do
    programs=$((programs + 1))
    cobc -E -std=ibm -I tests/prep/cobc/members "$program" >"$tmp/cobc" 2>"$tmp/err" ||
        { failed=$((failed + 1)); echo "cobc_compare: $program: cobc -E fails"; cat "$tmp/err"; continue; }
    grep -v '^#' "$tmp/cobc" | words | data_words >"$tmp/theirs"
    "$prep" -I tests/prep/cobc/members "$program" 2>"$tmp/err" | sed 's/\*>.*//; /^      \*/d' | words >"$tmp/ours"
    [ -s "$tmp/err" ] && { failed=$((failed + 1)); echo "cobc_compare: $program: tarnmap-prep complains"; cat "$tmp/err"; }
    diff "$tmp/theirs" "$tmp/ours" >"$tmp/diff" ||
        { failed=$((failed + 1)); echo "cobc_compare: $program: words differ (< cobc -E, > tarnmap-prep)"; head -20 "$tmp/diff"; }
done
echo "cobc_compare: $programs programs, $failed differ"
[ "$failed" = 0 ] && [ "$programs" -gt 0 ]
