#!/bin/sh
# GnuCOBOL as the oracle of tarnmap-load: for each copybook, gen.awk writes a
# COBOL program that writes records of known values; tarnmap makes the
# dictionary, tarnmap-load loads the files, and every value must be what the
# program wrote, on every item tarnmap-check finds where the compiler puts it.
# Four variants: ASCII, EBCDIC, little-endian binaries, the wide binary sizes
# (-h); and ASCII and EBCDIC again with the dictionary of tarnmap-check
# --dictionary --compiler gnucobol, on every item it places, departures and
# COMP-5 and leading signs included; SQLite read back must hold the CSV's
# values digit for digit, and so must PostgreSQL when the tests run a server
# (TARNMAP_PG_STATE names the file with its connection string; without it
# that pass is left out).
# Usage: oracle.sh BUILD_DIR LOADER CACHE_DIR [COPYBOOK...], from the top of
# the source tree; the compiled programs and their data stay in CACHE_DIR.
# Exit status 77 (skipped) without cobc or without a loader.
build=$1 load=$2 cache=$3
shift 3
here=tests/load/oracle
[ -x "$load" ] || { echo "oracle: no tarnmap-load: skipped"; exit 77; }
command -v cobc >/dev/null || { echo "oracle: no cobc: skipped"; exit 77; }
command -v sqlite3 >/dev/null || { echo "oracle: no sqlite3 shell: skipped"; exit 77; }
case $cache in /*) ;; *) cache=$PWD/$cache ;; esac
case $load in /*) ;; *) load=$PWD/$load ;; esac
all=0
[ $# -gt 0 ] || { all=1; set -- $here/ORACLE.cpy $(find examples -path examples/sources -prune -o \( -name '*.cpy' -o -name '*.CPY' -o -name '*.cob' \) -print | sort); }
tmp=$(mktemp -d)
[ -n "$ORACLE_KEEP" ] && echo "oracle: work files in $tmp" || trap 'rm -rf "$tmp"' EXIT
mkdir -p "$cache"
# The EBCDIC (code page 037) bytes of printable ASCII, from iconv.
e95=$(awk 'BEGIN { for (c = 32; c < 127; c++) printf "%c", c }' | iconv -f ASCII -t IBM037 | od -An -tx1 | tr -d ' \n' | tr a-f A-F)
failed=0 books=0 refused=0 values=0 unknown=0 empty=0
pg=""
if [ -n "$TARNMAP_PG_STATE" ] && [ -f "$TARNMAP_PG_STATE" ] && command -v psql >/dev/null; then
    pg=$(cat "$TARNMAP_PG_STATE")
    PGOPTIONS="-c client_min_messages=warning" && export PGOPTIONS
else
    echo "oracle: no PostgreSQL server: the PostgreSQL pass is left out"
fi

# The one cleaning step before tarnmap reads a real source.
clean() {
    "$build/tarnmap-prep" "$1" 2>/dev/null
}

# cobc -E of the copybook alone in WORKING-STORAGE: its entries with their lines.
probe() {
    cp "$1" "$tmp/copybook.cpy"
    printf '       IDENTIFICATION DIVISION.\n       PROGRAM-ID. P.\n       DATA DIVISION.\n       WORKING-STORAGE SECTION.\n       COPY "copybook.cpy".\n       LOCAL-STORAGE SECTION.\n' >"$tmp/probe.cob"
    (cd "$tmp" && cobc -E -std=ibm probe.cob) >"$tmp/pre.txt" 2>"$tmp/err.txt"
}

# remeasure CHECK COBC_OPTIONS: tarnmap-check lays records out as cobc
# -std=ibm does; under other options (-fbinary-size) tests/cobc_layout.sh
# measures the compiler's columns of CHECK instead, paired with its items in
# order as tests/check_compare.sh pairs them (FILLERs stay unmeasured).
remeasure() {
    m=$cache/layout-$( { cat "$tmp/copybook.cpy"; echo "$2"; } | md5sum | cut -c1-16).txt
    echo "$m" >>"$tmp/used"
    if [ ! -f "$m" ]; then
        mkdir -p "$tmp/bin"
        printf '#!/bin/sh\nexec %s %s "$@"\n' "$(command -v cobc)" "$2" >"$tmp/bin/cobc"
        chmod +x "$tmp/bin/cobc"
        PATH=$tmp/bin:$PATH sh tests/cobc_layout.sh "$copybook" >"$m.new" 2>/dev/null || return 2
        mv "$m.new" "$m"
    fi
    awk '$1 ~ /^0?1$/ { sub(/\r$/, "", $2); sub(/\.$/, "", $2); print $2 }' "$tmp/clean.cpy" >"$tmp/records"
    awk -F, -v OFS=, -v records="$tmp/records" -v m="$m" '
        BEGIN {
            while ((getline r <records) > 0) record[r]++
            while ((getline l <m) > 0) { split(l, t, ","); if (record[t[1]]-- <= 0) theirs[++nt] = l }
        }
        FNR == 1 { print; next }
        $3 !~ /^FILLER_/ { split(theirs[++i], t, ","); if (t[1] == $3) { $7 = t[2]; $8 = t[3]; print; next } }
        { $7 = ""; $8 = ""; print }' "$1" >"$1.new" && mv "$1.new" "$1"
}

# variant NAME TARNMAP_OPTION COBC_OPTIONS EBCDIC COMP5: writes the data
# (cached by the program's text) and prints its directory; status 2 when
# GnuCOBOL does not compile the program.
variant() {
    "$build/tarnmap-check" --compiler gnucobol -r --all --csv $2 "$tmp/clean.cpy" >"$tmp/check-$1.csv" 2>/dev/null
    [ -z "$2" ] || remeasure "$tmp/check-$1.csv" "$3" || return 2
    printf 'ORACLE\n.\n' | "$build/tarnmap" -r -f $2 -o "$tmp/dict-$1.csv" "$tmp/clean.cpy" >/dev/null 2>&1
    if [ "$1" = compiler ]; then  # GnuCOBOL's layout as tarnmap-check writes it: every item it places counts
        printf 'ORACLE\n.\n' | "$build/tarnmap-check" --dictionary --compiler gnucobol -r -f -o "$tmp/dict-$1.csv" \
            "$tmp/clean.cpy" >/dev/null 2>&1
        awk -F, -v OFS=, 'FNR > 1 && $7 != "" { $5 = $7; $6 = $8 } { print }' "$tmp/check-$1.csv" >"$tmp/check-$1.new" &&
            mv "$tmp/check-$1.new" "$tmp/check-$1.csv"
    fi
    awk -v check="$tmp/check-$1.csv" -v dict="$tmp/dict-$1.csv" -v prog="$tmp/prog-$1.cob" \
        -v expect="$tmp/expect-$1.txt" -v ebcdic="$4" -v comp5="$5" -v signs="$([ "$1" = compiler ] && echo 1)" -v e95="$e95" -v NREC=6 \
        -f $here/gen.awk "$tmp/pre.txt" 2>"$tmp/gen.txt" || return 4
    key=$( { cat "$tmp/prog-$1.cob" "$tmp/copybook.cpy"; echo "$3"; } | md5sum | cut -c1-16)
    dir=$cache/$key
    echo "$dir" >>"$tmp/used"
    [ ! -f "$dir/refused" ] || return 2
    if [ ! -f "$dir/done" ]; then
        rm -rf "$dir" && mkdir -p "$dir/ascii" "$dir/ebcdic" && cp "$tmp/copybook.cpy" "$tmp/prog-$1.cob" "$dir/"
        (cd "$dir" && cobc -x -std=ibm $3 -o prog "prog-$1.cob" >cobc.txt 2>&1) || { touch "$dir/refused"; return 2; }
        (cd "$dir" && ./prog) >"$dir/run.txt" 2>&1 || { echo "  the program stopped:"; head -3 "$dir/run.txt"; return 3; }
        touch "$dir/done"
    fi
}

# The RFC 4180 reader of the comparisons: whole() joins the lines of a
# record (a text may hold a line end), csv() splits it into f[1..n], with
# quoted[i] for a field in quotes (an unquoted empty field is NULL).
CSV='function whole(line,   t, more) {
    t = line
    while (gsub(/"/, "\"", t) % 2 == 1 && (getline more) > 0) { line = line "\n" more; t = line }
    return line
}
function csv(line, f,   n, c, q, i, v) {
    n = 1; v = ""; q = 0; split("", quoted); sub(/\r$/, "", line)
    for (i = 1; i <= length(line); i++) {
        c = substr(line, i, 1)
        if (q) { if (c == "\"") { if (substr(line, i + 1, 1) == "\"") { v = v c; i++ } else q = 0 } else v = v c }
        else if (c == "\"") { q = 1; quoted[n] = 1 } else if (c == ",") { f[n++] = v; v = "" } else v = v c
    }
    f[n] = v
    return n
}'

# compare EXPECT CSV_DIR DICT WHAT: every expected value of every table in
# the loader's CSV files; the header is the dictionary's column names.
compare() {
    for t in $(cut -f1 "$1" | sort -u); do
        [ -f "$2/$t.csv" ] || { echo "  $4: no $t.csv"; continue; }
        awk -v t="$t" -v what="$4" -F'\t' "$CSV"'
            FILENAME == ARGV[1] && $1 == t { k = $2 SUBSEP $3; want_[k, ++dup[k]] = $4; next }
            FILENAME == ARGV[1] { next }
            FILENAME == ARGV[2] {
                if ($0 !~ /^"COLUMN"/) next
                split($0, c, ","); gsub(/"/, "", c[3]); gsub(/"/, "", c[4])
                if (c[3] == t) dcol[++nd] = c[4]
                next
            }
            FNR == 1 {
                nh = csv(whole($0), h)
                # a name the table has twice loads as NAME_2, NAME_3, ...
                for (i = 1; i <= (nh > nd ? nh : nd); i++)
                    if (h[i] != dcol[i] && !(named[dcol[i]] && h[i] == dcol[i] "_" named[dcol[i]] + 1)) { print "  " what " " t ": column " i " is " h[i] ", the dictionary has " dcol[i]; bad++; exit }
                    else { named[dcol[i]]++; h[i] = dcol[i] }
                next
            }
            {
                rec++; n = csv(whole($0), f); split("", seen)
                if (n != nh) { print "  " what " " t ": record " rec " has " n " fields, not " nh; bad++; next }
                for (i = 1; i <= n; i++) {
                    k = h[i] SUBSEP rec; j = ++seen[k]
                    if (!((k, j) in want_) || want_[k, j] == "?") { unknown++; continue }
                    want = substr(want_[k, j], 2)
                    got = (f[i] == "" && !quoted[i]) ? "NULL" : f[i]
                    if (got != want) {
                        if (bad++ < 5) print "  " what " " t ": record " rec ", " h[i] ": want \"" want "\", got \"" got "\""
                    } else values++
                }
            }
            END {
                if (rec != 6 && !bad) { print "  " what " " t ": " rec " records, not 6"; bad++ }
                print "values " values + 0 " " unknown + 0 " " bad + 0 >"/dev/stderr"
            }' "$1" "$3" "$2/$t.csv"
    done
}

# Each field as text or NULL, one a line: the same for two CSV files that
# hold the same values, however each quotes them.
fields() {
    awk "$CSV"'{ n = csv(whole($0), f); for (i = 1; i <= n; i++) print (f[i] == "" && !quoted[i]) ? "NULL" : "=" f[i] }' "$1"
}

for copybook; do
    books=$((books + 1))
    clean "$copybook" >"$tmp/clean.cpy"
    probe "$copybook" || { refused=$((refused + 1)); echo "oracle: not compiled: $copybook: $(grep -m1 -i error "$tmp/err.txt")"; continue; }
    : >"$tmp/wrong" && : >"$tmp/counts"
    for v in std:::1:0 little::-fbinary-byteorder=native:0:1 wide:-h:-fbinary-size=1--8:0:0 compiler:::1:1; do
        IFS=: read -r name topt copt ebc c5 <<EOF
$v
EOF
        variant "$name" "$topt" "$copt" "$ebc" "$c5"
        case $? in
        0) ;;
        2) refused=$((refused + 1)); echo "oracle: not compiled: $copybook: $(grep -m1 -i error "$dir/cobc.txt")"; break ;;
        4) grep -q 'no record to write' "$tmp/gen.txt" && empty=$((empty + 1)) || cat "$tmp/gen.txt" >>"$tmp/wrong"; break ;;
        *) echo "  $name: no data" >>"$tmp/wrong"; continue ;;
        esac
        order=big; [ "$name" = little ] && order=little
        for enc in ascii ebcdic; do
            [ "$enc" = ascii ] || [ "$ebc" = 1 ] || continue
            out=$tmp/out-$name-$enc
            rm -rf "$out" "$tmp/db.sqlite" && mkdir -p "$out"
            # GnuCOBOL writes COMP-2 in the machine's byte order whatever COMP's
            (cd "$dir/$enc" && "$load" --csv "$out" --encoding "$enc" --byte-order $order --float ieee-little "$tmp/dict-$name.csv") >"$tmp/load.txt" 2>&1
            st=$?
            [ $st -le 1 ] || { echo "  $name $enc: tarnmap-load exit status $st:"; head -3 "$tmp/load.txt"; } >>"$tmp/wrong"
            compare "$tmp/expect-$name.txt" "$out" "$tmp/dict-$name.csv" "$name $enc" >>"$tmp/wrong" 2>>"$tmp/counts"
            # The same records in SQLite, read back by the sqlite3 shell as CSV.
            (cd "$dir/$enc" && "$load" --sqlite "$tmp/db.sqlite" --encoding "$enc" --byte-order $order --float ieee-little "$tmp/dict-$name.csv") >"$tmp/load.txt" 2>&1
            st=$?
            [ $st -le 1 ] || { echo "  $name $enc: tarnmap-load --sqlite exit status $st:"; head -3 "$tmp/load.txt"; } >>"$tmp/wrong"
            for f in "$out"/*.csv; do
                [ -f "$f" ] || continue
                t=$(basename "$f" .csv)
                # REAL as %.17g: the shell would print 0.0 where the CSV has 0
                cols=$(head -1 "$f" | tr -d '\r' | awk -F, -v q="'" '{
                    for (i = 1; i <= NF; i++)
                        printf "%sCASE typeof(\"%s\") WHEN %sreal%s THEN printf(%s%%.17g%s, \"%s\") ELSE \"%s\" END AS \"%s\"",
                            (i > 1 ? ", " : ""), $i, q, q, q, q, $i, $i, $i }')
                sqlite3 -csv -header "$tmp/db.sqlite" "SELECT $cols FROM \"$t\"" >"$tmp/sqlite.csv" 2>&1
                fields "$f" >"$tmp/csv.txt"
                fields "$tmp/sqlite.csv" >"$tmp/sqlite.txt"
                cmp -s "$tmp/csv.txt" "$tmp/sqlite.txt" ||
                    { echo "  $name $enc sqlite $t: differs from the CSV:"; diff "$tmp/csv.txt" "$tmp/sqlite.txt" | head -4; } >>"$tmp/wrong"
            done
            # The same records in PostgreSQL, read back by COPY as CSV.
            [ -n "$pg" ] || continue
            (cd "$dir/$enc" && "$load" --postgres "$pg" --replace --encoding "$enc" --byte-order $order --float ieee-little "$tmp/dict-$name.csv") >"$tmp/load.txt" 2>&1
            st=$?
            [ $st -le 1 ] || { echo "  $name $enc postgres: tarnmap-load exit status $st:"; head -3 "$tmp/load.txt"; } >>"$tmp/wrong"
            for f in "$out"/*.csv; do
                [ -f "$f" ] || continue
                t=$(basename "$f" .csv)
                psql "$pg" -XAtq -c "COPY \"$t\" TO STDOUT (FORMAT csv, HEADER)" >"$tmp/pg.csv" 2>&1
                fields "$f" >"$tmp/csv.txt"
                fields "$tmp/pg.csv" >"$tmp/pg.txt"
                cmp -s "$tmp/csv.txt" "$tmp/pg.txt" ||
                    { echo "  $name $enc postgres $t: differs from the CSV:"; diff "$tmp/csv.txt" "$tmp/pg.txt" | head -4; } >>"$tmp/wrong"
            done
        done
    done
    read -r v u <<EOF
$(awk '{ v += $2; u += $3 } END { print v + 0, u + 0 }' "$tmp/counts")
EOF
    values=$((values + v)) unknown=$((unknown + u))
    [ -s "$tmp/wrong" ] && { failed=$((failed + 1)); echo "oracle: $copybook"; head -12 "$tmp/wrong"; }
done
# A run over every copybook drops what older programs left in the cache.
if [ $all = 1 ]; then
    for old in "$cache"/*; do grep -qxF "$old" "$tmp/used" || rm -rf "$old"; done
fi
echo "oracle: $books copybooks${pg:+ (CSV, SQLite and PostgreSQL)} ($refused not compiled by GnuCOBOL, $empty without items), $values values equal, $unknown not compared, $failed wrong"
[ "$failed" = 0 ] && [ "$values" -gt 0 ]
