#!/bin/sh
# The bundled real sources through tarnmap-prep and then tarnmap:
# - every copybook under examples/ (raw) and every program under
#   examples/sources/ (with its members) converts without a syntax error or
#   a stop, but for the entries listed in RESCUE_NONE;
# - a second run of tarnmap-prep changes nothing;
# - a copybook keeps every data description entry (level numbers that begin
#   a sentence, counted in columns 7-72 of the raw text and in the output);
# - a clean source (examples/*.cpy, *.cob) gives the same dictionary bytes
#   with or without tarnmap-prep.
# Usage: sources.sh BUILD_DIR, from the top of the source tree.
build=$1
prep=$build/tarnmap-prep
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0 sources=0
RESCUE_NONE=""  # sources some entries of which no rewrite rescues (see the README)

convert() {  # convert OPTIONS SOURCE: tarnmap's complaints, one a line
    # shellcheck disable=SC2086
    printf 'D\n/d\n' | "$build/tarnmap" $1 -f -o "$tmp/dict.csv" "$2" 2>&1 | grep -E 'syntax error|^Error'
}

# Level numbers that begin a sentence; awk reads the raw copybook (FIXED=1) or the output.
entries() {
    awk -v fixed="$1" '
        fixed && substr($0, 7, 1) ~ /[*\/]/ { next }
        !fixed && /^ *\*/ { next }
        { line = fixed ? substr($0, 7, 66) : $0; sub(/\*>.*/, "", line); gsub(/\047[^\047]*\047/, "\047\047", line); gsub(/"[^"]*"/, "\"\"", line)
          n = split(line, w, /[ \t]+/)
          for (i = 1; i <= n; i++) if (w[i] != "") {
              if ((after || first == 0) && w[i] ~ /^[0-9][0-9]?\.?$/) count++
              first = 1; after = w[i] ~ /\.$/
          } }
        END { print count + 0 }' "$2"
}

check() {  # check NAME OPTIONS PREPARED: no complaint, and a second run the same
    sources=$((sources + 1))
    complaints=$(convert "$2" "$3")
    if [ -n "$complaints" ] && ! echo " $RESCUE_NONE " | grep -q " $1 "; then
        failed=$((failed + 1)); echo "sources: $1: $complaints" | head -3
    fi
    "$prep" -o "$tmp/again" "$3" 2>/dev/null
    cmp -s "$3" "$tmp/again" || { failed=$((failed + 1)); echo "sources: $1: a second run changes it"; diff "$3" "$tmp/again" | head -5; }
}

for copybook in $(find examples -path examples/sources -prune -o \( -name '*.cpy' -o -name '*.CPY' -o -name '*.cob' \) -print | sort); do
    "$prep" -o "$tmp/prepared" "$copybook" 2>/dev/null
    [ $? -le 1 ] || { failed=$((failed + 1)); echo "sources: $copybook: no text"; continue; }
    check "$copybook" -r "$tmp/prepared"
    raw=$(entries 1 "$copybook") ours=$(entries 0 "$tmp/prepared")
    grep -qi "^.......*COPY " "$copybook" || [ "$raw" = "$ours" ] || { failed=$((failed + 1)); echo "sources: $copybook: $raw entries, $ours prepared"; }
done

for clean in examples/*.cpy examples/*.cob; do
    printf 'D\n/d\n' | "$build/tarnmap" -r -f -o "$tmp/plain.csv" "$clean" >/dev/null 2>&1
    "$prep" -o "$tmp/prepared" "$clean" 2>/dev/null; printf 'D\n/d\n' | "$build/tarnmap" -r -f -o "$tmp/dict.csv" "$tmp/prepared" >/dev/null 2>&1
    cmp -s "$tmp/plain.csv" "$tmp/dict.csv" || { failed=$((failed + 1)); echo "sources: $clean: the dictionary differs"; diff "$tmp/plain.csv" "$tmp/dict.csv" | head -5; }
done

cd=examples/sources/carddemo/app
for program in $cd/cbl/*.cbl $cd/cbl/*.CBL $cd/app-authorization-ims-db2-mq/cbl/*.CBL; do
    "$prep" -I $cd/cpy -I $cd/app-authorization-ims-db2-mq/cpy -o "$tmp/prepared" "$program" 2>/dev/null
    [ $? -le 1 ] || { failed=$((failed + 1)); echo "sources: $program: no text"; continue; }
    check "$program" "" "$tmp/prepared"
    # The FD behind RECORD VARYING keeps the record length of the file in front of it.
    case $program in *CBACT01C.cbl)
        grep -q '^"FILE","ARRY-FILE","INDEXED","FIXED",110$' "$tmp/dict.csv" ||
            { failed=$((failed + 1)); echo "sources: $program: ARRY-FILE is not 110 bytes long"; } ;;
    esac
done
# tarnmap's messages point into the raw source: blank lines and lines taken
# out (a sequence area alone, EJECT) stay lines of their own.
printf '000100 01  REC.\n\n000300\n           EJECT\n                  \n       05  A PIC X.\n       05  D PIC X $$$ .\n' >"$tmp/lines.cbl"
"$prep" -o "$tmp/lines.cpy" "$tmp/lines.cbl" 2>/dev/null
line=$(printf 'D\n/d\n' | "$build/tarnmap" -t -o "$tmp/dict.csv" "$tmp/lines.cpy" | sed -n 's/.* on line \([0-9]*\),.*/\1/p')
[ "$line" = 7 ] || { failed=$((failed + 1)); echo "sources: a syntax error on line 7 is reported on line '$line'"; }
echo "sources: $sources sources, $failed wrong"
[ "$failed" = 0 ]
