#!/bin/sh
# tarnmap-load end to end: each class of bad data and bad dictionary with a
# case, and the status it ends with; exact read-back of big decimals;
# selectors, ranges, hostile names; a killed load leaves the database and the
# CSV directory as they were. Usage: cases.sh TARNMAP-LOAD TARNMAP TARNMAP-CHECK
load=$1
tarnmap=$2
check=$3
src=$(cd "$(dirname "$0")/../.." && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cd "$tmp"
failed=0

# expect STATUS PATTERN -- command...: the status, and PATTERN in standard error.
expect() {
    want=$1 pattern=$2
    shift 3
    "$@" >out 2>err
    got=$?
    if [ "$got" != "$want" ] || { [ -n "$pattern" ] && ! grep -q -- "$pattern" err; }; then
        echo "FAIL: $* -> status $got (want $want), stderr lacks \"$pattern\":"
        sed 's/^/    /' err
        failed=1
    fi
}
# same WANT GOT WHAT
same() {
    [ "$1" = "$2" ] || { echo "FAIL: $3: want \"$1\", got \"$2\""; failed=1; }
}
dictionary() {  # dictionary NAME COPYBOOK-TEXT: a dictionary whose data lie in $tmp
    printf '%s\n' "$2" >"$1.cpy"
    printf 'DB\n%s\n' "$tmp" | "$tarnmap" -t -o "$1.csv" "$1.cpy" >/dev/null
}

dictionary acct '       01  ACCT-REC.
           05  ACCT-ID        PIC 9(4).
           05  ACCT-NAME      PIC X(6).
           05  ACCT-BAL       PIC S9(5)V99 COMP-3.
           05  ACCT-RATE      PIC S9(3)V9.'
good1='0001ALICE \000\022\064\134012D'
good2='0002BOB   \000\000\020\0150000'
printf "$good1$good2" >ACCT-REC

# A clean load, into SQLite and CSV.
expect 0 "2 rows written" -- "$load" --sqlite a.db acct.csv
same "1|ALICE|123.45|12.4 2|BOB|-1.00|0.0" "$(sqlite3 a.db 'select * from ACCT_REC' | tr '\n' ' ' | sed 's/ $//')" "clean load"
expect 0 "" -- "$load" --csv - --table ACCT_REC acct.csv
same 'ACCT_ID,ACCT_NAME,ACCT_BAL,ACCT_RATE|1,ALICE,123.45,12.4|2,BOB,-1.00,0.0|' "$(tr '\r\n' ' |' <out | tr -d ' ')" "CSV"
expect 3 "exists (--replace replaces it)" -- "$load" --sqlite a.db acct.csv
expect 0 "1 record read, 1 row written" -- "$load" --sqlite a.db --replace --skip 1 --count 5 acct.csv
same 1 "$(sqlite3 a.db 'select count(*) from ACCT_REC')" "--replace with --skip 1"

# Bad values: NULL, counted with their record numbers, raw records rejected.
printf "$good1"'0003CAROL \000\032\064\134012D'"$good2" >ACCT-REC
expect 1 "ACCT_REC.ACCT_BAL (dictionary line 10): 1 bad value, loaded as NULL (first: a nibble that is not a digit), record 2" -- \
    "$load" --sqlite b.db --rejects rej acct.csv
same "3|CAROL||12.4" "$(sqlite3 b.db 'select * from ACCT_REC where ACCT_ID = 3')" "a bad nibble is NULL"
same "$(printf '0003CAROL \000\032\064\134012D' | od -c)" "$(od -c rej)" "the reject file"
expect 1 "3 rows decoded (--dry-run: none written), 1 with bad values" -- "$load" --dry-run acct.csv
grep -q "ACCT_BAL.*NULL in a load" err && [ ! -e DB.db ] || { echo "FAIL: --dry-run"; failed=1; }
printf "$good1"'00 3CAROL \000\022\064\134012D' >ACCT-REC
expect 1 "ACCT_ID.*blanks where digits belong), record 2" -- "$load" --csv - --table ACCT_REC acct.csv
printf "$good1"'\000\000\000\000CAROL \377\377\377\377012D' >ACCT-REC
expect 1 "ACCT_BAL.*high-values" -- "$load" --csv - --table ACCT_REC acct.csv
grep -q "ACCT_ID.*low-values" err || { echo "FAIL: low-values not reported"; failed=1; }

# A layout that reads garbage in most records says so before the load; the
# first 100 records count, and half of them bad is not most.
printf 'XXXXALICE \000\022\064\134012D%.0s' 1 2 3 4 5 >ACCT-REC
expect 1 "ACCT_REC.ACCT_ID is invalid in 5 of the first 5 records.*likely shifted" -- "$load" --csv - --table ACCT_REC acct.csv
{ for i in $(seq 50); do printf "$good1"; done; for i in $(seq 51); do printf 'XXXXALICE \000\022\064\134012D'; done; } >ACCT-REC
expect 1 "" -- "$load" --csv - --table ACCT_REC acct.csv
! grep -q "likely shifted" err || { echo "FAIL: 50 bad of the first 100 records called most"; failed=1; }

# Framing: a partial record, a descriptor chain in another convention.
printf "$good1$good2"'0003' >ACCT-REC
expect 2 "40 bytes are not a multiple of the record length 18: 2 records, then a partial record of 4 bytes at byte 36" -- \
    "$load" --sqlite c.db acct.csv
printf '\026\000\000\000'"$good1"'\026\000\000\000'"$good2" >ACCT-REC
expect 2 "record 1 at byte 0: its 5628 bytes pass the end of the file by 5588; the file fits --rdw=little exactly (2 records)" -- \
    "$load" --rdw --sqlite c.db acct.csv
expect 0 "2 rows written" -- "$load" --rdw=little --sqlite c.db acct.csv
printf '\000\060\000\000\000\026\000\000'"$good1"'\000\026\000\000'"$good2" >ACCT-REC
expect 2 "the file fits --bdw --rdw (2 records)" -- "$load" --rdw --csv - --table ACCT_REC acct.csv
expect 0 "2 rows written" -- "$load" --bdw --csv - --table ACCT_REC acct.csv
same "1,ALICE,123.45,12.4|2,BOB,-1.00,0.0|" "$(sed 1d out | tr '\r\n' ' |' | tr -d ' ')" "--bdw"
printf '\000\022\000\000'"$good1"'\000\006\000\000'"0005ED" >ACCT-REC
expect 0 "2 rows written" -- "$load" --rdw --rdw-length data --csv - --table ACCT_REC acct.csv
same "1,ALICE,123.45,12.4|5,,,|" "$(sed 1d out | tr '\r\n' ' |' | tr -d ' ')" "a short record gives NULL behind its end"

# Nothing loaded: a broken dictionary row, a missing data file, an unknown table.
sed '4s/,10,4,8,2,/,10,4,/' acct.csv >broken.csv
expect 2 "broken.csv:4: a FIELD row needs 11 columns" -- "$load" broken.csv
rm ACCT-REC
expect 2 "ACCT-REC: No such file or directory (table ACCT_REC, dictionary line 7)" -- "$load" --sqlite d.db acct.csv
printf "$good1" >data
expect 2 "no table NOSUCH" -- "$load" --table NOSUCH --data data acct.csv
expect 2 "not a regular file" -- "$load" --table ACCT_REC --data . acct.csv
expect 2 "no dictionary given" -- "$load"
printf x >one.csv
expect 2 "one.csv:1: not a dictionary row" -- "$load" one.csv
: >none.csv
expect 2 "none.csv: an empty file: not a dictionary" -- "$load" none.csv
expect 0 "" -- "$load" --version
same "tarnmap-load $(sed -n 's/^project(tarnmap VERSION \([0-9.]*\).*/\1/p' "$src/CMakeLists.txt")" "$(cat out)" "--version"
expect 2 "--byte-order is big or little" -- "$load" --byte-order middle acct.csv
expect 2 "--data goes with exactly one --table" -- "$load" --data x acct.csv

# Exact read-back: 18 digits as INTEGER, a scaled 18-digit decimal as TEXT.
dictionary big '       01  BIG-REC.
           05  BIG-INT        PIC S9(18).
           05  BIG-DEC        PIC S9(16)V99 COMP-3.'
printf '99999999999999999I\001\043\105\147\211\001\043\105\147\215' >BIG-REC
expect 0 "" -- "$load" --sqlite e.db big.csv
same "999999999999999999|integer|-1234567890123456.78|text" \
    "$(sqlite3 e.db 'select BIG_INT, typeof(BIG_INT), BIG_DEC, typeof(BIG_DEC) from BIG_REC')" "18 digits read back"

# COMP-2 as GnuCOBOL writes it, in the machine's order beside big-endian COMP.
dictionary flt '       01  FLT-REC.
           05  FLT-D          COMP-2.
           05  FLT-B          PIC S9(4) COMP.'
printf '\000\000\000\000\000\000\370\077\377\376' >FLT-REC
expect 0 "" -- "$load" --float ieee-little --csv - --table FLT_REC flt.csv
same "1.5,-2" "$(sed 1d out | tr -d '\r')" "--float ieee-little beside big-endian binaries"

# Several layouts in one file, told apart by a record type.
dictionary multi '       01  HDR.
           05  HDR-TYPE       PIC X.
           05  HDR-DATE       PIC 9(8).
       01  DTL.
           05  DTL-TYPE       PIC X.
           05  DTL-AMOUNT     PIC 9(6)V99.'
printf 'H20261125D00001050D00000200X12345678' >HDR
expect 1 "DTL: 4 records read, 2 rows written" -- "$load" --sqlite f.db --when HDR HDR-TYPE=H --when DTL DTL_TYPE=D,E \
    --rejects rej multi.csv
grep -q "HDR: 4 records read, 1 row written, 1 taken by no --when" err || { echo "FAIL: unselected count"; failed=1; }
same "X12345678" "$(cat rej)" "the record no selector takes is rejected"
same "10.50 2.00" "$(sqlite3 f.db 'select DTL_AMOUNT from DTL' | tr '\n' ' ' | sed 's/ $//')" "selected rows"

# Two items of one name in different groups: the later column gets a suffix, and a warning.
dictionary twice '       01  DATES.
           05  FROM-DATE.
               10  MM         PIC XX.
           05  TO-DATE.
               10  MM         PIC XX.'
printf '0112' >DATES
expect 0 "column MM appears twice in table DATES; this one loads as MM_2" -- "$load" --csv - --table DATES twice.csv
same "MM,MM_2|01,12|" "$(tr '\r\n' ' |' <out | tr -d ' ')" "a name twice"

# EBCDIC, code page 037.
printf '\360\360\360\361\301\323\311\303\305\100\000\022\064\134\360\361\362\304' >ACCT-REC
expect 0 "" -- "$load" --encoding ebcdic --csv - --table ACCT_REC acct.csv
same "1,ALICE,123.45,12.4" "$(sed 1d out | tr -d '\r')" "EBCDIC"

# Line-sequential files: LF or CR LF, the last line maybe without; a short
# line padded with blanks; rejects written as lines; shards of lines.
dictionary lines '       01  LINE-REC.
           05  LINE-ID        PIC 9(4).
           05  LINE-NAME      PIC X(6).
           05  LINE-BAL       PIC S9(3)V99.'
printf '0001ALICE 1234{\r\n0002BOB\n0003CAROL 0000J' >LINE-REC
expect 1 "LINE_REC.LINE_BAL.*digits belong), record 2" -- "$load" --lines --rejects rej --csv - --table LINE_REC lines.csv
same "1,ALICE,123.40|2,BOB,|3,CAROL,-0.01|" "$(sed 1d out | tr '\r\n' ' |' | tr -d ' ')" "--lines"
same "0002BOB|" "$(tr '\n' '|' <rej)" "a rejected line"
printf '0001ALICE 1234{\n0002BOB\n' >LINE-REC
expect 2 "the file fits --lines (2 records)" -- "$load" --csv - --table LINE_REC lines.csv
printf '0001ALICE 1234{X\n' >LINE-REC
expect 2 "record 1 at byte 0: a line of 16 bytes, longer than the record length 15" -- "$load" --lines lines.csv
expect 2 "IBM037 is an EBCDIC one" -- "$load" --lines --encoding IBM037 lines.csv
awk 'BEGIN { for (i = 1; i <= 100; i++) printf "%04d%-6s%04d%s\n", i, substr("ABCDEF", 1, i % 7), i, i % 2 ? "{" : "}" }' >LINE-REC
"$load" --lines --csv - --table LINE_REC lines.csv 2>/dev/null | sed 1d >whole
for k in 1 2 3; do "$load" --lines --shard $k/3 --csv - --table LINE_REC lines.csv 2>/dev/null | sed 1d; done >shards
cmp -s whole shards && [ "$(wc -l <whole)" = 100 ] || { echo "FAIL: 3 shards of lines"; failed=1; }
# As GnuCOBOL writes a LINE SEQUENTIAL file: trailing blanks cut, ASCII signs.
if command -v cobc >/dev/null; then
    cat >ls.cob <<'COB'
       IDENTIFICATION DIVISION.
       PROGRAM-ID. LS.
       ENVIRONMENT DIVISION.
       INPUT-OUTPUT SECTION.
       FILE-CONTROL.
           SELECT LS-FILE ASSIGN TO "LS-REC" LINE SEQUENTIAL.
       DATA DIVISION.
       FILE SECTION.
       FD  LS-FILE.
       01  LS-REC.
           05  LS-NAME  PIC X(8).
           05  LS-BAL   PIC S9(5)V99.
           05  LS-SEP   PIC S9(3) SIGN LEADING SEPARATE.
           05  LS-NOTE  PIC X(6).
       PROCEDURE DIVISION.
           OPEN OUTPUT LS-FILE
           MOVE "ALICE" TO LS-NAME MOVE 123.45 TO LS-BAL
           MOVE -7 TO LS-SEP MOVE "NOTE" TO LS-NOTE WRITE LS-REC
           MOVE "BOB" TO LS-NAME MOVE -0.5 TO LS-BAL
           MOVE 12 TO LS-SEP MOVE SPACES TO LS-NOTE WRITE LS-REC
           MOVE SPACES TO LS-NAME MOVE 0 TO LS-BAL
           MOVE 0 TO LS-SEP MOVE "  X" TO LS-NOTE WRITE LS-REC
           CLOSE LS-FILE STOP RUN.
COB
    cobc -x -std=ibm ls.cob && ./ls || { echo "FAIL: cobc"; failed=1; }
    printf 'DB\n%s\n' "$tmp" | "$check" --dictionary --compiler gnucobol -o ls.csv ls.cob >/dev/null 2>&1
    expect 0 "" -- "$load" --lines --data LS-REC --csv - --table LS_REC ls.csv
    same 'ALICE,123.45,-7,NOTE|BOB,-0.50,12,""|"",0.00,0,  X|' "$(sed 1d out | tr -d '\r' | tr '\n' '|')" \
        "GnuCOBOL's line-sequential file"
fi

# Hostile names reach SQL only as quoted identifiers.
cat >hostile.csv <<'ROWS'
"FILE","F","INDEXED","FIXED",2
"FIELD","F","A","STRING",0,1,1,0,0,"",""
"FIELD","F","B","STRING",1,1,1,0,0,"",""
"DB","DB","","DISAM",""
"TABLE","DB","T""; DROP TABLE VICTIM; --","TABLE","F","hostile.dat",""
"COLUMN","DB","T""; DROP TABLE VICTIM; --","C"",x","A","VARCHAR",1,1,1,""
"COLUMN","DB","T""; DROP TABLE VICTIM; --","D); DROP TABLE VICTIM; --","B","VARCHAR",1,1,1,""
ROWS
printf 'xy' >hostile.dat
sqlite3 g.db 'create table VICTIM (a)'
expect 0 "" -- "$load" --sqlite g.db hostile.csv
same 'T""; DROP TABLE VICTIM; --|VICTIM' "$(sqlite3 g.db 'select name from sqlite_master order by name' | tr '\n' '|' | sed 's/|$//')" \
    "hostile table name"
same "x|y" "$(sqlite3 g.db 'select * from "T""""; DROP TABLE VICTIM; --"')" "hostile column names"
sed 's|T""; DROP TABLE VICTIM; --|../evil|' hostile.csv >slash.csv
expect 3 "slash.csv:5: table ../evil: table name \"../evil\" cannot name a file" -- "$load" --csv . slash.csv
printf '"DB","D","","DISAM",""\n"TABLE","D","T\000x","TABLE","F","F",""\n' >nul.csv
expect 2 "nul.csv:2: a NUL byte in the row" -- "$load" nul.csv

# A killed load leaves the database and the CSV directory as they were.
dictionary many '       01  MANY-REC.
           05  MANY-TEXT      PIC X(9).'
yes ABCDEFGHI | tr -d "\n" | head -c 45000000 >MANY-REC
printf ABCDEFGHI >small
"$load" --sqlite h.db --table MANY_REC --data small many.csv 2>/dev/null
cp h.db h.before
"$load" --sqlite h.db --replace many.csv 2>/dev/null &
pid=$!
while [ ! -s h.db-journal ] && kill -0 $pid 2>/dev/null; do sleep 0.05; done
sleep 0.3
kill -9 $pid 2>/dev/null || { echo "FAIL: the load ended before the kill"; failed=1; }
wait $pid 2>/dev/null
same "1" "$(sqlite3 h.db 'select count(*) from MANY_REC')" "a killed SQLite load"
mkdir csvdir
printf 'old\r\n' >csvdir/MANY_REC.csv
expect 3 "csvdir/MANY_REC.csv exists (--replace replaces it)" -- "$load" --csv csvdir many.csv
"$load" --csv csvdir --replace many.csv 2>/dev/null &
pid=$!
while [ "$(cat csvdir/.MANY* 2>/dev/null | wc -c)" -lt 4000000 ] && kill -0 $pid 2>/dev/null; do sleep 0.02; done
kill -9 $pid 2>/dev/null || { echo "FAIL: the load ended before the kill"; failed=1; }
wait $pid 2>/dev/null
same "old" "$(tr -d '\r' <csvdir/MANY_REC.csv)" "a killed CSV load"
rm -f csvdir/.MANY*
expect 0 "" -- "$load" --csv csvdir --replace --count 2 many.csv
same "MANY_TEXT|ABCDEFGHI|ABCDEFGHI|" "$(tr '\r\n' ' |' <csvdir/MANY_REC.csv | tr -d ' ')" "a completed CSV load"
same "MANY_REC.csv" "$(ls -A csvdir)" "no temporary file left"

[ $failed = 0 ] && echo "tarnmap-load: all cases hold"
exit $failed
