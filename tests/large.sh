#!/bin/sh
# A generated source of many records with OCCURS groups: the conversion ends,
# every row is there, and progress dots come where they are due.
# Usage: large.sh TARNMAP [RECORDS]
set -e
tarnmap=$1
records=${2:-3000}
dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT

# Each record: 1 plain item and a group of 2 members repeated 3 times,
# so 7 FIELD rows and 7 COLUMN rows.
awk -v n="$records" 'BEGIN {
    for (i = 1; i <= n; i++) {
        printf " 01 REC-%d.\n", i
        printf "    05 KEY-%d PIC 9(6).\n", i
        printf "    05 LINE-%d OCCURS 3 TIMES.\n", i
        printf "       10 AMT-%d PIC S9(7)V99 COMP-3.\n", i
        printf "       10 TXT-%d PIC X(10).\n", i
    }
}' > "$dir/big.cbl"

printf 'BIG\n/data\n' | "$tarnmap" -r -o "$dir/big.csv" "$dir/big.cbl" > "$dir/out.txt"

fail() { echo "large: $*"; exit 1; }
count() { grep -c "^\"$1\"" "$dir/big.csv" || true; }
[ "$(count FILE)" -eq "$records" ] || fail "FILE rows: $(count FILE)"
[ "$(count FIELD)" -eq $((records * 7)) ] || fail "FIELD rows: $(count FIELD)"
[ "$(count TABLE)" -eq "$records" ] || fail "TABLE rows: $(count TABLE)"
[ "$(count COLUMN)" -eq $((records * 7)) ] || fail "COLUMN rows: $(count COLUMN)"
grep -q "^\"FILE\",\"REC-$records\",\"INDEXED\",\"FIXED\",51\$" "$dir/big.csv" || fail "last FILE row"
grep -q "\"AMT-$records\\_I3\",\"PACKED\",36,5,10,2" "$dir/big.csv" || fail "last repeated row"

# The walks of the writer count FILE, plain FIELD, TABLE and plain COLUMN
# rows together (4 per record); repeated rows count in their own calls only.
dots=$(awk 'seen { printf "%s", $0; exit } /^Converting parsed data to CSV data\.$/ { seen = 1 }' "$dir/out.txt" | tr -cd . | wc -c)
[ "$dots" -eq $((records * 4 / 1000)) ] || fail "dots: $dots"
grep -q "Total number of FIELD definitions         : $((records * 7))" "$dir/out.txt" || fail "statistics"
echo "large: $records records, 1 passed, 0 failed"
