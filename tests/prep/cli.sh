#!/bin/sh
# tarnmap-prep's command line: options, standard input, BOM and carriage
# returns, COBCPY, the --map file, --verbose, messages and exit statuses.
# Usage: cli.sh TARNMAP-PREP, from the top of the source tree.
prep=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
members=$PWD/tests/prep/members
failed=0 checks=0

# expect NAME STATUS WANT GOT: one check.
expect() {
    checks=$((checks + 1))
    [ "$2" = "$3" ] || { failed=$((failed + 1)); printf 'cli: %s\n  want %s\n  got  %s\n' "$1" "$3" "$4"; }
}
run() {  # run ARGS...: status, standard output in $tmp/out, standard error in $tmp/err
    "$prep" "$@" >"$tmp/out" 2>"$tmp/err" </dev/null
    echo $?
}

s=$(run --version); expect "--version" "$s 1" "0 $(grep -c '^tarnmap-prep [0-9]' "$tmp/out")" "$s $(cat "$tmp/out")"
s=$(run --help); expect "--help" "$s" 0 "$s"
s=$(run --nonsense); expect "an unknown option" "$s $(head -1 "$tmp/err")" "2 tarnmap-prep: unknown option --nonsense" "$s $(head -1 "$tmp/err")"
s=$(run --tab 0 x); expect "--tab 0" "$s" 2 "$s"
s=$(run a b); expect "two sources" "$s" 2 "$s"
s=$(run "$tmp/none.cbl"); expect "a source that cannot be read" "$s $(cat "$tmp/err")" \
    "2 tarnmap-prep: cannot read $tmp/none.cbl: No such file or directory" "$s $(cat "$tmp/err")"

printf '\357\273\277       01  REC.\r\n\f           05  a  pic x.\r\n' >"$tmp/dos.cbl"
got=$("$prep" <"$tmp/dos.cbl" | od -c | head -3 | tr -s ' ')
want=$(printf '       01  REC.\n           05  A  PIC X.\n' | od -c | head -3 | tr -s ' ')
expect "standard input, BOM, CR and form feed" "$got" "$want" "$got"

s=$(run -o "$tmp" "$members/inner.cpy"); expect "-o a folder" "$s $(grep -c 'cannot write' "$tmp/err")" "3 1" "$s $(cat "$tmp/err")"
if [ -w /dev/full ]; then
    s=$("$prep" "$members/inner.cpy" 2>/dev/null >/dev/full; echo $?); expect "a full disk" "$s" 3 "$s"
fi

# COBCPY after -I; the map names the file and line of every output line, the
# text behind a COPY on its line too.
printf '       01  TOP.\n       COPY LIBMEM OF LIB. 05  NEXT  PIC X.\n           05  LAST  PIC X.\n' >"$tmp/top.cbl"
s=$(COBCPY=/nonexistent:$members "$prep" --map "$tmp/map" -o "$tmp/out" "$tmp/top.cbl" 2>"$tmp/err"; echo $?)
expect "COBCPY and --map" "$s $(cat "$tmp/map" | tr '\t\n' ' ,')" \
    "0 1 1 $tmp/top.cbl,2 2 $tmp/top.cbl,3 1 $members/LIB/LIBMEM.cpy,4 2 $tmp/top.cbl,5 3 $tmp/top.cbl," "$s $(cat "$tmp/map" "$tmp/err")"
s=$(run --map "$tmp" "$tmp/top.cbl"); expect "--map to a folder" "$s" 3 "$s"

# --verbose: the format and each rewrite as notes; notes alone leave status 0.
printf '       01  REC.\n           05  A  BINARY-LONG.\n' >"$tmp/v.cbl"
s=$(run --verbose "$tmp/v.cbl")
expect "--verbose" "$s $(cut -d: -f4- "$tmp/err" | tr '\n' '|')" \
    "0  note: fixed format (0 lines with a comment indicator or a sequence number, 0 starting in columns 1-6)| note: A: BINARY-LONG written as COMP PIC S9(9)|" \
    "$s $(cat "$tmp/err")"

# Every problem is listed, not the first only; the text is still written.
printf '       01  REC.\n       COPY NONE1.\n       COPY NONE2.\n           05  A PIC X.\n' >"$tmp/two.cbl"
s=$(run "$tmp/two.cbl"); expect "two missing members" "$s $(grep -c 'no such member' "$tmp/err") $(grep -c 'PIC X' "$tmp/out")" "1 2 1" "$s $(cat "$tmp/err")"

echo "cli: $checks checks, $failed failed"
[ "$failed" = 0 ]
