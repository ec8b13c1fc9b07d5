#!/bin/sh
# Data a GnuCOBOL program writes loads with the dictionary of
# tarnmap-check --dictionary --compiler gnucobol, every value as written,
# also behind and at the places where tarnmap's own layout departs:
# examples/PAYMENT.cpy and tests/check/departures.cpy. Each copybook's
# program gets a file per record (an FD of the FILE row's length), moves
# the values below into the copybook's items in WORKING-STORAGE and writes
# each record from them, two records a file; tarnmap-load's CSV must be
# exactly the values. Without cobc there is nothing to measure.
# Usage: load.sh BUILD_DIR, from the top of the source tree.
build=$(cd "$1" && pwd)
command -v cobc >/dev/null || { echo "check_load: no cobc, nothing measured"; exit 0; }
top=$PWD
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0

# load COPYBOOK VALUES [DATA FILE]: VALUES holds "ITEM VALUE1 VALUE2" lines, ITEM as a
# COBOL reference (subscripts in parentheses), each value a COBOL literal
# that is also the exact text the loader gives (strings quoted, no blanks).
# DATA, if given, must be the program's FILE exactly.
load() {
    name=$(basename "$1" .cpy)
    dir=$tmp/$name
    mkdir "$dir" && cp "$1" "$dir/copybook.cpy" && printf '%s\n' "$2" >"$dir/values" || return 1
    printf 'D\n%s\n' "$dir" | "$build/tarnmap-check" --dictionary --compiler gnucobol -r -o "$dir/dict.csv" \
        "$1" >/dev/null 2>"$dir/check.err" || { echo "check_load: $name: tarnmap-check $?"; cat "$dir/check.err"; return 1; }
    # The program: a sequential file for each FILE row, named as the TABLE row's path.
    awk -F, -v values="$dir/values" '
        /^"FILE"/ { gsub(/"/, ""); n++; file[n] = $2; length_of[n] = $5 }
        END {
            print "       IDENTIFICATION DIVISION.\n       PROGRAM-ID. WRITER.\n       ENVIRONMENT DIVISION."
            print "       INPUT-OUTPUT SECTION.\n       FILE-CONTROL."
            for (i = 1; i <= n; i++)
                printf "           SELECT F%d ASSIGN TO \"%s\" ORGANIZATION SEQUENTIAL.\n", i, file[i]
            print "       DATA DIVISION.\n       FILE SECTION."
            for (i = 1; i <= n; i++) printf "       FD F%d.\n       01 F%d-REC PIC X(%d).\n", i, i, length_of[i]
            print "       WORKING-STORAGE SECTION.\n       COPY \"copybook.cpy\".\n       PROCEDURE DIVISION."
            for (i = 1; i <= n; i++) printf "           OPEN OUTPUT F%d\n", i
            for (r = 2; r <= 3; r++) {
                while ((getline line <values) > 0) {
                    split(line, v, " ")
                    if (v[1] != "") printf "           MOVE %s TO %s\n", v[r], v[1]
                }
                close(values)
                for (i = 1; i <= n; i++) printf "           WRITE F%d-REC FROM %s\n", i, file[i]
            }
            for (i = 1; i <= n; i++) printf "           CLOSE F%d\n", i
            print "           STOP RUN."
        }' "$dir/dict.csv" >"$dir/writer.cob"
    (cd "$dir" && cobc -x -std=ibm writer.cob >cobc.err 2>&1 && ./writer) ||
        { echo "check_load: $name: the writer fails"; cat "$dir/cobc.err"; return 1; }
    # The bundled example data is what the program writes.
    [ -z "$3" ] || cmp -s "$3" "$dir/$4" || { echo "check_load: $name: $3 is not what GnuCOBOL writes"; return 1; }
    mkdir "$dir/out" "$dir/want"
    "$build/tarnmap-load" --csv "$dir/out" "$dir/dict.csv" >/dev/null 2>"$dir/load.err" ||
        { echo "check_load: $name: tarnmap-load $?"; cat "$dir/load.err"; return 1; }
    # The CSV each table should be: its COLUMN rows' names, then the values in that order.
    awk -F, -v values="$dir/values" -v out="$dir/want" '
        BEGIN {
            while ((getline line <values) > 0) {
                split(line, v, " "); if (v[1] == "") continue
                column = v[1]; gsub(/-/, "_", column); gsub(/\(/, "_I", column); gsub(/\)/, "", column)
                for (r = 2; r <= 3; r++) { gsub(/\047/, "", v[r]); value[column, r] = v[r] }
            }
        }
        /^"COLUMN"/ { gsub(/"/, ""); t = $3; if (!(t in cols)) order[++nt] = t; cols[t] = cols[t] sep[t] $4; sep[t] = ","; names[t, ++nc[t]] = $4 }
        END {
            for (i = 1; i <= nt; i++) {
                t = order[i]; f = out "/" t ".csv"
                print cols[t] "\r" >f
                for (r = 2; r <= 3; r++) {
                    row = ""
                    for (c = 1; c <= nc[t]; c++) {
                        if (!((names[t, c], r) in value)) print "no value for " names[t, c] >"/dev/stderr"
                        row = row (c > 1 ? "," : "") value[names[t, c], r]
                    }
                    print row "\r" >f
                }
            }
        }' "$dir/dict.csv" 2>"$dir/missing" || return 1
    [ -s "$dir/missing" ] && { echo "check_load: $name:"; cat "$dir/missing"; return 1; }
    for want in "$dir"/want/*.csv; do
        got=$dir/out/$(basename "$want")
        cmp -s "$want" "$got" || { echo "check_load: $name: $(basename "$want") differs:"; diff "$want" "$got" | head -10; return 1; }
    done
    echo "check_load: $name: $(ls "$dir/want" | wc -l) tables, every value as written"
}

# Two payments, all 12 instalments written (the count at its maximum, so
# that no occurrence is left as spaces).
payment=$(printf '%s\n' "PAY-ID 'P000000001' 'P000000002'" 'PAY-AMOUNT -1234567.89 42.00' "PAY-CURRENCY 'EUR' 'USD'" \
    'PAY-RETRIES 3 -1' 'PAY-BATCH-NO -123456789 77' 'PAY-POSTED-DATE 20261125 -20261231' "PAY-NOTE 'FIRST' 'SECOND'" \
    'PAY-INSTALMENT-COUNT 12 12'
    for k in $(seq 1 12); do
        printf 'PAY-DUE-DATE(%d) 2026%02d01 2027%02d15\n' "$k" "$k" "$k"
        printf 'PAY-DUE-AMOUNT(%d) %d.50 -%d.05\n' "$k" "$((k * 100))" "$k"
    done)
load examples/PAYMENT.cpy "$payment" examples/PAYMENT.dat PAYMENT-RECORD || failed=$((failed + 1))

# The departures: the largest magnitudes each COMP-5 size holds by its digits, and small values.
departures=$(printf '%s\n' 'D-COUNT 42 17' "D-ID 'A01' 'B02'" 'D-LEAD-SEP -12345 1' 'D-TRAIL-SEP -123.45 0.01' \
    'D-LEAD -1234 5' 'D-SYNC -123456789 987654321' 'D-HALF -32 9999' 'D-P1 -12345.67 1.50' 'D-P2 123 7' \
    'D-C6 12345 1' 'D-C6-EVEN 9876 10' 'D-C6-SIGNED -123 45' 'D-F1 1.5 -0.25' 'D-F2 -2.5 1000000.125' 'D-N 4 4'
    nines=999999999999999999 digits=123456789012345678
    for n in $(seq 1 18); do
        sign=-; [ $((n % 2)) = 0 ] && sign=
        printf 'D-C5-%d %s%s %s\n' "$n" "$sign" "$(echo $nines | cut -c1-$n)" "$(echo $digits | cut -c1-$n)"
    done
    for k in 1 2 3 4; do printf "D-T-CODE(%d) 'T%d' 'U%d'\nD-T-AMT(%d) -%d 99%d\n" "$k" "$k" "$k" "$k" "$((k * 100))" "$k"; done)
load tests/check/departures.cpy "$departures" || failed=$((failed + 1))
[ "$failed" = 0 ]
