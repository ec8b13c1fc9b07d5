#!/bin/sh
# tarnmap-check against its storage rules, against GnuCOBOL and against tarnmap.
# The rules are the rows of tests/check_rows.txt,
#   OPTIONS | SOURCE | ITEMS | FIRST REASON | DEPARTURES
# with SOURCE written one entry a line; ITEMS every item of --all --csv as
# NAME DICTIONARY, or NAME DICTIONARY/COMPILER where they differ (each
# OFFSET+SIZE, "-" for unknown); the first reason; and how many departures
# the report names. With cobc installed, tests/cobc_layout.sh measures the
# compiler side of each row (but rows marked ~, where GnuCOBOL puts items
# over each other, and rows with an unknown layout) and of every copybook
# under examples/; 01 records and FILLERs, which it cannot name, are left
# out. For the copybooks, the dictionary side must also be tarnmap -r -f's
# FIELD rows, and a reason must stand exactly where the two layouts differ
# or, where they agree, --dictionary types the item otherwise than tarnmap;
# and the FIELD rows of tarnmap-check --dictionary must give GnuCOBOL's layout,
# each row tarnmap's where tarnmap places the item alike. Rows run with
# --compiler gnucobol but for the IBM ones, which are known answers.
# Both programs read each copybook through tarnmap-prep; GnuCOBOL reads it raw.
# Usage: check_compare.sh BUILD_DIR, from the top of the source tree.
build=$1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cobc=$(command -v cobc)
failed=0 rows=0 measured=0 refused=0

# measure SOURCE CLEAN: GnuCOBOL lays SOURCE out as the check laid out CLEAN
# ($tmp/csv); status 2 when it does not compile SOURCE.
measure() {
    sh tests/cobc_layout.sh "$1" >"$tmp/cobc" 2>"$tmp/err" || { cat "$tmp/err"; return 2; }
    measured=$((measured + 1))
    awk '$1 ~ /^0?1$/ { sub(/\r$/, "", $2); sub(/\.$/, "", $2); print $2 }' "$2" >"$tmp/records"
    awk -F, -v records="$tmp/records" '
        BEGIN { while ((getline r <records) > 0) record[r]++ }
        FILENAME != "-" && FNR > 1 && $3 !~ /^FILLER_/ { ours[++no] = $3 "," $7 "," $8 }
        FILENAME == "-" && record[$1]-- <= 0 { theirs[++nt] = $0 }
        END { for (i = 1; i <= (no > nt ? no : nt); i++)
                  if (ours[i] != theirs[i]) { print "  check " ours[i] ", GnuCOBOL " theirs[i]; exit 1 } }' \
        "$tmp/csv" - <"$tmp/cobc"
}

while IFS= read -r row; do
    case $row in '#'* | '') continue ;; esac
    rows=$((rows + 1))
    opts=$(echo "$row" | awk -F' [|] ' '{ sub(/^~/, "", $1); print $1 }')
    case $opts in *--compiler*) ;; *) opts="--compiler gnucobol $opts" ;; esac
    echo "$row" | awk -F' [|] ' '{ gsub(/\. /, ".\n", $2); print $2 }' | sed 's/^/       /' >"$tmp/src.cpy"
    # shellcheck disable=SC2086
    "$build/tarnmap-check" $opts --all --csv "$tmp/src.cpy" >"$tmp/csv" 2>/dev/null
    got=$(awk -F, 'FNR > 1 {
        dict = $5 "+" $6; comp = ($7 == "" ? "-" : $7) "+" ($8 == "" ? "-" : $8)
        items = items sep $3 " " dict (dict == comp ? "" : "/" comp); sep = "; "
        r = $0; for (k = 0; k < 8; k++) sub(/^[^,]*,/, "", r)
        if (reason == "" && r != "") { reason = r; sub(/^"/, "", reason); sub(/"$/, "", reason); gsub(/""/, "\"", reason) }
    } END { print items " | " reason " | " }' "$tmp/csv")$("$build/tarnmap-check" $opts "$tmp/src.cpy" 2>/dev/null | grep -c '^  [^ ]')
    want=$(echo "$row" | awk -F' [|] ' '{ print $3 " | " $4 " | " $5 }')
    if [ "$got" != "$want" ]; then
        failed=$((failed + 1))
        printf 'check_compare: %s\n  want %s\n  got  %s\n' "$row" "$want" "$got"
    elif [ -n "$cobc" ] && case $row$want in '~'* | *'+-'* | *--compiler\ ibm*) false ;; esac; then
        measure "$tmp/src.cpy" "$tmp/src.cpy" >"$tmp/wrong" || { failed=$((failed + 1)); echo "check_compare: $row"; cat "$tmp/wrong"; }
    fi
done <tests/check_rows.txt

# Where the check finds no departure (IBM's rules), the whole dictionary of
# --dictionary is tarnmap's, byte for byte, every row kind (no cobc needed).
copybooks=$(find examples tests/check -path examples/sources -prune -o \( -name '*.cpy' -o -name '*.CPY' -o -name '*.cob' \) -print | sort)
whole=0
for copybook in $copybooks; do
    "$build/tarnmap-prep" -o "$tmp/clean.cpy" "$copybook" 2>/dev/null
    "$build/tarnmap-check" -r "$tmp/clean.cpy" >/dev/null 2>&1 || continue
    printf 'D\n/d\n' | "$build/tarnmap" -r -f -s -o "$tmp/t.csv" "$tmp/clean.cpy" >/dev/null 2>&1
    printf 'D\n/d\n' | "$build/tarnmap-check" --dictionary -r -f -s -o "$tmp/c.csv" "$tmp/clean.cpy" >/dev/null 2>&1
    cmp -s "$tmp/t.csv" "$tmp/c.csv" && whole=$((whole + 1)) ||
        { failed=$((failed + 1)); echo "check_compare: $copybook: --dictionary is not tarnmap's"; diff "$tmp/t.csv" "$tmp/c.csv" | head -4; }
done

for copybook in $copybooks; do
    [ -n "$cobc" ] || break
    "$build/tarnmap-prep" -o "$tmp/clean.cpy" "$copybook" 2>/dev/null
    "$build/tarnmap-check" --compiler gnucobol -r --all --csv "$tmp/clean.cpy" >"$tmp/csv" 2>/dev/null
    printf 'D\n/d\n' | "$build/tarnmap" -r -f -o "$tmp/dict.csv" "$tmp/clean.cpy" >/dev/null 2>&1
    # The FIELD rows of a name are its elementary items in order; the check lists its groups too.
    measure "$copybook" "$tmp/clean.cpy" >"$tmp/wrong"
    [ $? = 2 ] && { refused=$((refused + 1)); continue; }
    printf 'D\n/d\n' | "$build/tarnmap-check" --dictionary --compiler gnucobol -r -f -s -o "$tmp/cdict.csv" \
        "$tmp/clean.cpy" >/dev/null 2>&1
    printf 'D\n/d\n' | "$build/tarnmap" -r -f -s -o "$tmp/sdict.csv" "$tmp/clean.cpy" >/dev/null 2>&1
    # A reason stands where the layouts differ, and where they agree but --dictionary
    # types the item otherwise than tarnmap (a COMP-2's byte order aside: the loader's
    # float option reads it).
    awk -F, -v dict="$tmp/dict.csv" -v cdict="$tmp/cdict.csv" -v sdict="$tmp/sdict.csv" '
        function types(file, type,   line, f, name) {
            while ((getline line <file) > 0) {
                if (line !~ /^"FIELD"/) continue
                gsub(/"/, "", line); split(line, f, ","); name = f[3]
                if (name ~ /(_I[0-9]+)+$/) { if (name !~ /(_I1)+$/) continue; sub(/(_I1)+$/, "", name) }
                if (!((f[2], name) in type)) type[f[2], name] = f[4]
            }
        }
        BEGIN {
            while ((getline line <dict) > 0) {
                if (line !~ /^"FIELD"/) continue
                gsub(/"/, "", line); split(line, f, ","); name = f[3]
                if (name ~ /(_I[0-9]+)+$/) { if (name !~ /(_I1)+$/) continue; sub(/(_I1)+$/, "", name) }
                if (!((f[2], name, f[5], f[6]) in seen)) { seen[f[2], name, f[5], f[6]]; field[f[2], name, ++nf[f[2], name]] = f[5] "," f[6] }
            }
            types(cdict, ctype); types(sdict, ttype)
        }
        FNR > 1 {
            k = $1 SUBSEP $3; if (field[k, matched[k] + 1] == $5 "," $6) matched[k]++
            r = $0; for (i = 0; i < 8; i++) sub(/^[^,]*,/, "", r)
            retyped = ctype[k] != ttype[k] && !(ttype[k] == "DOUBLE" && ctype[k] == "DOUBLE-LE")
            if (($5 "," $6 != $7 "," $8 || retyped) != (r != ""))
                print "  " $3 ": layouts " $5 "," $6 " and " $7 "," $8 ", types " ttype[k] " and " ctype[k] ", reason \"" r "\""
        }
        END { for (k in nf) if (matched[k] < nf[k]) { split(k, f, SUBSEP); print "  " f[2] ": dictionary " field[k, matched[k] + 1] " not in the check" } }' "$tmp/csv" >>"$tmp/wrong"
    # --dictionary: every FIELD row (groups with -s; first occurrences) where GnuCOBOL puts the
    # item, and a row tarnmap places alike is tarnmap's row, but for a storage type that only a
    # compiler's rules tell (a sign's place, GnuCOBOL's little-endian native items).
    awk -F, -v sdict="$tmp/sdict.csv" -v records="$tmp/records" -v checked="$tmp/csv" '
        BEGIN {
            while ((getline r <records) > 0) record[r]++
            # the items the check lays out; tarnmap gives a row to some that take no storage (an 88 under a 01 PICTURE)
            while ((getline line <checked) > 0) { split(line, f, ","); item[f[3]] = 1 }
            while ((getline line <sdict) > 0) if (line ~ /^"(FIELD|DB|TABLE)"/) { split(line, f, ","); theirs[f[1], f[2], f[3]] = line }
        }
        FILENAME == "-" { if (record[$1]-- <= 0) cobc[$1, ++nc[$1]] = $2 "+" $3; next }
        /^"(DB|TABLE)"/ && theirs[$1, $2, $3] != $0 { print "  not tarnmap'\''s: " $0 }
        !/^"FIELD"/ { next }
        {
            row = $0; gsub(/"/, ""); name = $3
            if (name ~ /^FILLER_/ || (name ~ /(_I[0-9]+)+$/ && name !~ /(_I1)+$/)) next
            sub(/(_I1)+$/, "", name)
            if (!(name in item)) next
            if (cobc[name, ++k[name]] != $5 "+" $6) print "  " $3 ": dictionary " $5 "+" $6 ", GnuCOBOL " cobc[name, k[name]]
            s = theirs["\"FIELD\"", "\"" $2 "\"", "\"" $3 "\""]; split(s, t, ",")
            if (t[5] != $5 || t[6] != $6) next
            if (t[4] != "\"" $4 "\"" && $4 !~ /-LE$/ && !(t[4] ~ /OVERPUNCH|SIGN|ZONED-NUM/ && $4 ~ /OVERPUNCH|SIGN|ZONED-NUM/)) print "  " $3 ": type " $4 " where tarnmap has " t[4]
            sub("\"" $4 "\"", t[4], row)
            if (row != s) print "  " $3 ": " row " where tarnmap has " s
        }' - "$tmp/cdict.csv" <"$tmp/cobc" >>"$tmp/wrong"
    [ -s "$tmp/wrong" ] && { failed=$((failed + 1)); echo "check_compare: $copybook"; head -5 "$tmp/wrong"; }
done
[ -n "$cobc" ] && measured="$measured measured with GnuCOBOL ($refused copybooks it does not compile)" || measured="no cobc: none measured"
echo "check_compare: $rows rows, $whole copybooks whose dictionary is tarnmap's, $measured, $failed wrong"
[ "$failed" = 0 ] && [ "$rows" -gt 0 ]
