#!/bin/sh
# tarnmap-check as a command: its reports, its exit status and its messages.
# Usage: check_cli.sh TARNMAP_CHECK
case $1 in /*) check=$1 ;; *) check=$PWD/$1 ;; esac
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
failed=0
# expect STATUS WANTED_OUTPUT_FILE ARGS...: standard output ("-": any) and status
expect() {
    want=$1 file=$2; shift 2
    "$check" "$@" >"$tmp/out" 2>"$tmp/err"
    status=$?
    if [ "$status" != "$want" ] || { [ "$file" != - ] && ! cmp -s "$file" "$tmp/out"; }; then
        failed=$((failed + 1))
        echo "check_cli: $* gave status $status (want $want):"
        diff "$file" "$tmp/out" | head -10
        head -3 "$tmp/err"
    fi
}
# says TEXT: the last run's standard error holds TEXT
says() {
    grep -q -F -- "$1" "$tmp/err" || { failed=$((failed + 1)); echo "check_cli: no \"$1\" in:"; cat "$tmp/err"; }
}
printf '       01 R.\n       05 A PIC S9(4) SIGN LEADING SEPARATE.\n       05 B PIC X.\n       05 C PIC Z(3)9.\n       05 D PIC X.\n' >"$tmp/src.cpy"
printf '       01 R.\n       05 A PIC X(2).\n       05 B PIC 9(5) COMP.\n' >"$tmp/ok.cpy"
: >"$tmp/empty"

# Every item with --all, marked with its departure (the report itself is the
# manual page's example); the CSV of what differs, from standard input.
cat >"$tmp/all" <<'EOF'
file R, record R
    A                              line 2      dictionary 0+4        compiler 0+5         [1]
    B                              line 3      dictionary 4+1        compiler 5+1         [1]
    C                              line 4      dictionary 5+2        compiler 6+4         [2]
    D                              line 5      dictionary 7+1        compiler 10+1        [1]
  [1] SIGN LEADING SEPARATE on A (line 2) takes a byte the dictionary does not count
  [2] the PICTURE Z(3)9 of C (line 4) is 4 bytes to a compiler, 2 in the dictionary, which counts a repeat count only behind 9, A or X
4 of 4 items differ from a compiler's layout
EOF
expect 1 "$tmp/all" --all -t "$tmp/src.cpy"
cat >"$tmp/csv" <<'EOF'
file,record,item,line,dictionary_offset,dictionary_size,compiler_offset,compiler_size,reason
R,R,A,2,0,4,0,4,"S with SIGN LEADING on A (line 2): the dictionary reads the sign from the last byte, a compiler stores it in the first"
R,R,C,4,5,2,5,4,"the PICTURE Z(3)9 of C (line 4) is 4 bytes to a compiler, 2 in the dictionary, which counts a repeat count only behind 9, A or X"
R,R,D,5,7,1,9,1,"the PICTURE Z(3)9 of C (line 4) is 4 bytes to a compiler, 2 in the dictionary, which counts a repeat count only behind 9, A or X"
EOF
sed 's/SIGN LEADING SEPARATE/SIGN LEADING/' "$tmp/src.cpy" >"$tmp/lead.cpy"
expect 1 "$tmp/csv" -t --csv - <"$tmp/lead.cpy"
# An item whose bytes are read otherwise, though it lies where a compiler puts it,
# is named in source order before a departure found first.
cat >"$tmp/lead" <<'EOF'
file R, record R
  S with SIGN LEADING on A (line 2): the dictionary reads the sign from the last byte, a compiler stores it in the first:
    A                              line 2      dictionary 0+4        compiler 0+4
  the PICTURE Z(3)9 of C (line 4) is 4 bytes to a compiler, 2 in the dictionary, which counts a repeat count only behind 9, A or X:
    C                              line 4      dictionary 5+2        compiler 5+4
    D                              line 5      dictionary 7+1        compiler 9+1
3 of 4 items differ from a compiler's layout
EOF
expect 1 "$tmp/lead" -t "$tmp/lead.cpy"
# A little-endian native item alone makes the items differ under GnuCOBOL, not under IBM's rules.
printf '       01 R.\n       05 A PIC S9(4) COMP-5.\n       05 B PIC X.\n' >"$tmp/native.cpy"
expect 1 - --compiler gnucobol -t "$tmp/native.cpy"
expect 0 - --compiler ibm -t "$tmp/native.cpy"
# The plain report: an item under the first departure that moves or resizes
# it, a group under its member's; a departure whose items stand under an
# earlier one still named. A relative name with a dash is a file.
printf '       01 R.\n       05 A PIC 9 COMP-5.\n       05 X PIC X.\n       05 Y REDEFINES X PIC XX.\n' >"$tmp/r-p.cpy"
printf '       05 C PIC X.\n       05 G.\n       10 G1 PIC X.\n       10 E PIC S9 SIGN LEADING SEPARATE.\n       05 F PIC X.\n' >>"$tmp/r-p.cpy"
cat >"$tmp/plain" <<'EOF'
file R, record R
  COMP-5 of 1 digit on A (line 2) takes 1 byte to a compiler; the dictionary's binary table gives 2:
    A                              line 2      dictionary 0+2        compiler 0+1
    X                              line 3      dictionary 2+1        compiler 1+1
    Y                              line 4      dictionary 2+2        compiler 1+2
    F                              line 9      dictionary 6+1        compiler 7+1
  Y (line 4) redefines X with 2 bytes over 1: a compiler places what follows behind its end (what it moves is listed above)
  SIGN LEADING SEPARATE on E (line 8) takes a byte the dictionary does not count:
    G                              line 6      dictionary 4+2        compiler 4+3
    E                              line 8      dictionary 5+1        compiler 5+2
6 of 8 items differ from a compiler's layout
EOF
cd "$tmp" && expect 1 "$tmp/plain" --compiler gnucobol -t r-p.cpy
printf '0 of 2 items differ from a compiler'\''s layout\n' >"$tmp/agree"
expect 0 "$tmp/agree" -t "$tmp/ok.cpy"

# Trouble: status 2, a message, and nothing on standard output.
expect 2 "$tmp/empty" "$tmp/ok.cpy"; says "no record (a copybook without an FD needs -t or -r)"
expect 2 "$tmp/empty" -t "$tmp/nothing.cpy"; says "cannot read $tmp/nothing.cpy"
expect 2 "$tmp/empty" -x "$tmp/ok.cpy"; says "unknown option -x"
expect 2 "$tmp/empty" -t "$tmp/ok.cpy" "$tmp/ok.cpy"; says "unexpected argument"
expect 2 "$tmp/empty" --all; says "usage: tarnmap-check"
printf '       01 R.\n       05 A PIC X.\n       05 B REDEFINES NOPE PIC X.\n' >"$tmp/stop.cpy"
expect 2 "$tmp/empty" -t "$tmp/stop.cpy"; says "Unable to locate field NOPE"; says "stops on this source"
"$check" -t "$tmp/src.cpy" >/dev/full 2>"$tmp/err"
[ $? = 2 ] || { failed=$((failed + 1)); echo "check_cli: a full disk is no trouble"; }
says "cannot write standard output"
# Groups nested 32,768 deep are laid out without running out of stack.
awk 'BEGIN { print " 01 R."; for (i = 2; i < 32769; i++) printf " %d G%d.\n", i, i; print " 32769 X PIC X." }' >"$tmp/deep.cpy"
expect 1 - -t "$tmp/deep.cpy"
tail -n 1 "$tmp/out" | grep -q ' of 32766 items differ' || { failed=$((failed + 1)); echo "check_cli: deep nesting"; tail -n 2 "$tmp/out"; }

# --dictionary: the converter's prompts and rows, items where a compiler
# stores them (IBM by default: 2-byte COMP-5); the storage types only a
# compiler's rules give; an item it cannot place keeps its row and is named.
printf '       01 R.\n       05 A PIC S9(3) SIGN LEADING SEPARATE.\n       05 G COMP-5.\n       10 B PIC 9(2).\n' >"$tmp/dict.cpy"
printf '       10 C PIC S9(4).\n       05 D PIC 9(5) COMP-6.\n       05 E COMP-1.\n       05 T OCCURS 1 TO 2 PIC X.\n' >>"$tmp/dict.cpy"
cat >"$tmp/ibm" <<'EOT'
"FILE","R","INDEXED","FIXED",17
"FIELD","R","A","LEADING-SIGN-NUMERIC",0,4,4,0,0,"",""
"FIELD","R","B","UWORD",4,2,5,0,0,"",""
"FIELD","R","C","WORD",6,2,5,0,0,"",""
"FIELD","R","D","PACKED-NOSIGN",8,3,6,0,0,"",""
"FIELD","R","E","FLOAT",11,4,15,0,0,"",""
"FIELD","R","T_I1","STRING",15,1,1,0,0,"",""
"FIELD","R","T_I2","STRING",16,1,1,0,0,"",""
"DB","D","/d","DISAM",""
"TABLE","D","R","TABLE","R","R",""
"COLUMN","D","R","A","A","VARCHAR",4,1,1,""
"COLUMN","D","R","B","B","INTEGER",4,1,1,""
"COLUMN","D","R","C","C","SMALLINT",2,1,1,""
"COLUMN","D","R","D","D","DOUBLE",8,1,1,""
"COLUMN","D","R","E","E","DOUBLE",8,1,1,""
"COLUMN","D","R","T_I1","T_I1","VARCHAR",1,1,1,""
"COLUMN","D","R","T_I2","T_I2","VARCHAR",1,1,1,""
EOT
printf 'D\n/d\n' >"$tmp/answers"
expect 0 - --dictionary -t -o "$tmp/ibm.csv" "$tmp/dict.cpy" <"$tmp/answers"
cmp -s "$tmp/ibm" "$tmp/ibm.csv" || { failed=$((failed + 1)); echo "check_cli: --dictionary"; diff "$tmp/ibm" "$tmp/ibm.csv"; }
grep -q '^Database Name : Default Directory : $' "$tmp/out" || { failed=$((failed + 1)); echo "check_cli: no prompts"; }
# GnuCOBOL: a 1-byte COMP-5, native items little-endian.
expect 0 - --dictionary --compiler=gnucobol -t -o "$tmp/gnu.csv" "$tmp/dict.cpy" <"$tmp/answers"
grep '"B"\|"C"\|"E"' "$tmp/gnu.csv" | grep FIELD >"$tmp/got"
printf '%s\n' '"FIELD","R","B","UCHAR",4,1,3,0,0,"",""' '"FIELD","R","C","WORD-LE",5,2,5,0,0,"",""' \
    '"FIELD","R","E","FLOAT-LE",10,4,15,0,0,"",""' | cmp -s - "$tmp/got" || { failed=$((failed + 1)); echo "check_cli: gnucobol"; cat "$tmp/got"; }
# The rows of an unknown layout stay tarnmap's, with status 1 and a line each.
printf 'D\n/d\n' | "$check" --dictionary -t -o "$tmp/drop.csv" - <<'EOT' >/dev/null 2>"$tmp/err"
       01 R.
       05 A PIC X.
       05 PIC X(2).
       05 B PIC X.
EOT
[ $? = 1 ] && grep -q '"FIELD","R","B","STRING",1,1,1' "$tmp/drop.csv" || { failed=$((failed + 1)); echo "check_cli: dropped entry"; }
says "-:4: B keeps the dictionary's place (1+1): the converter drops the entry at line 3"
says "file R keeps the dictionary's record length (2)"
# A signed COMP-X of 3 bytes is INT3, an INTEGER column (the converter's table).
printf '       01 R.\n       05 A PIC S9(5) COMP-X.\n' >"$tmp/cx.cpy"
expect 0 - --dictionary -t -o "$tmp/cx.csv" "$tmp/cx.cpy" <"$tmp/answers"
grep -q '^"COLUMN","D","R","A","A","INTEGER",4,1,1,""$' "$tmp/cx.csv" ||
    { failed=$((failed + 1)); echo "check_cli: INT3's column"; cat "$tmp/cx.csv"; }
# A record read through a LOCAL-STORAGE SECTION is none of the file's: left out.
printf '       FD F.\n       01 R.\n       05 A PIC X.\n       LOCAL-STORAGE SECTION.\n       01 M.\n       05 M1 PIC X(3).\n' >"$tmp/ls.cpy"
expect 0 - --dictionary -o "$tmp/ls.csv" "$tmp/ls.cpy" <"$tmp/answers"
says "ls.cpy:6: record M left out: LOCAL-STORAGE SECTION (line 4) ends the records of file F"
grep -q '^"FILE","F","INDEXED","FIXED",1$' "$tmp/ls.csv" && ! grep -q '"M' "$tmp/ls.csv" ||
    { failed=$((failed + 1)); echo "check_cli: a record behind LOCAL-STORAGE"; cat "$tmp/ls.csv"; }
# Behind an OCCURS DEPENDING table an item moves with the count to IBM, and
# keeps the dictionary's row; GnuCOBOL places it behind the maximum.
printf '       01 R.\n       05 N PIC 9.\n       05 T OCCURS 1 TO 3 DEPENDING ON N PIC X(2).\n       05 Z PIC X.\n' >"$tmp/odo.cpy"
expect 1 - --dictionary -t "$tmp/odo.cpy" <"$tmp/answers"
grep -q '^"FIELD","R","Z","STRING",5,1,' "$tmp/out" || { failed=$((failed + 1)); echo "check_cli: ibm Z"; }
says "odo.cpy:4: Z keeps the dictionary's place (5+1): it lies behind an OCCURS DEPENDING ON table"
expect 0 - --dictionary --compiler gnucobol -t "$tmp/odo.cpy" <"$tmp/answers"
grep -q '^"FIELD","R","Z","STRING",7,1,' "$tmp/out" || { failed=$((failed + 1)); echo "check_cli: gnucobol Z"; }
expect 2 "$tmp/empty" -t -f "$tmp/ok.cpy"; says "-f, -s and -o go with --dictionary"
expect 2 "$tmp/empty" --compiler ibx -t "$tmp/ok.cpy"; says "--compiler is ibm or gnucobol"
printf '\n\n' >"$tmp/blank"
expect 2 - --dictionary -t "$tmp/ok.cpy" <"$tmp/blank"; says "no database name"

"$check" --help | grep -q '^usage: tarnmap-check' || { failed=$((failed + 1)); echo "check_cli: --help"; }
"$check" --version | grep -q '^tarnmap-check [0-9]' || { failed=$((failed + 1)); echo "check_cli: --version"; }
echo "check_cli: $failed wrong"
[ "$failed" = 0 ]
