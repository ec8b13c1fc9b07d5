#!/bin/sh
# tarnmap-check against GnuCOBOL and against tarnmap itself, on every copybook
# under examples/ that cobc -std=ibm compiles. For each named item of
# tarnmap-check -r -f --all --csv:
#  - the compiler offset and size are those tests/cobc_layout.sh measures
#    (records, which the dictionary holds no item for, and FILLERs, which
#    cobc cannot name, left out);
#  - the dictionary offset and size are those of the item's first FIELD row
#    in tarnmap -r -f's dictionary, where it has one;
#  - a reason is given exactly when the two layouts differ.
# Both programs read the copybook cleaned as doc/copybooks.md says; cobc
# reads it as it is. Exit status 77 (skipped) without cobc.
# Usage: cobc_compare.sh BUILD_DIR, from the top of the source tree.
build=$1
command -v cobc >/dev/null 2>&1 || { echo "cobc_compare: no cobc, skipped"; exit 77; }
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
compared=0 skipped=0 failed=0

# Prints what is wrong, if anything, with the check's rows ($tmp/csv).
judge() {
    awk -F, -v dict="$tmp/dict.csv" -v cobc="$tmp/cobc" -v records="$tmp/records" '
    BEGIN {
        while ((getline line <records) > 0) record[line]++
        while ((getline line <dict) > 0) {
            if (line !~ /^"FIELD"/) continue
            gsub(/"/, "", line); split(line, f, ",")
            name = f[3]
            if (name ~ /(_I[0-9]+)+$/) { if (name !~ /(_I1)+$/) continue; sub(/(_I1)+$/, "", name) }
            if (!(f[2] SUBSEP name SUBSEP f[5] SUBSEP f[6] in first)) {
                first[f[2], name, f[5], f[6]] = 1
                field[f[2], name, ++nf[f[2], name]] = f[5] "," f[6]
            }
        }
        while ((getline line <cobc) > 0) theirs[++nt] = line
    }
    FNR == 1 { next }
    {
        # The FIELD rows of a name are its elementary items in order; the
        # check lists its groups as well.
        k = $1 SUBSEP $3
        if (field[k, matched[k] + 1] == $5 "," $6) matched[k]++
        if (($5 "," $6 != $7 "," $8) != ($9 != ""))
            print "  " $3 ": layouts " $5 "," $6 " and " $7 "," $8 " but reason \"" $9 "\""
        if ($3 !~ /^FILLER_/) ours[++no] = $3 "," $7 "," $8
    }
    END {
        for (k in nf)
            if (matched[k] < nf[k]) { split(k, f, SUBSEP); print "  " f[2] ": dictionary " field[k, matched[k] + 1] " not in the check" }
        for (i = 1; i <= nt; i++) {
            split(theirs[i], t, ",")
            if (record[t[1]]-- <= 0) kept[++nk] = theirs[i]
        }
        for (i = 1; i <= (no > nk ? no : nk); i++)
            if (ours[i] != kept[i]) { print "  check " ours[i] ", GnuCOBOL " kept[i]; exit }
    }' "$tmp/csv"
}

for copybook in $(find examples -name '*.cpy' -o -name '*.CPY' -o -name '*.cob' | sort); do
    if ! sh tests/cobc_layout.sh "$copybook" >"$tmp/cobc" 2>"$tmp/err"; then
        skipped=$((skipped + 1))
        continue
    fi
    expand -t 8 "$copybook" | cut -c7-72 | tr a-z A-Z >"$tmp/clean.cpy"
    # Record names: a record that is one elementary item is no item to the check.
    awk '$1 ~ /^0?1$/ { sub(/\r$/, "", $2); sub(/\.$/, "", $2); print $2 }' "$tmp/clean.cpy" >"$tmp/records"
    "$build/tarnmap-check" -r --all --csv "$tmp/clean.cpy" >"$tmp/csv" 2>/dev/null
    printf 'D\n/d\n' | "$build/tarnmap" -r -f -o "$tmp/dict.csv" "$tmp/clean.cpy" >/dev/null 2>&1
    judge >"$tmp/wrong"
    if [ -s "$tmp/wrong" ] || [ ! -s "$tmp/csv" ]; then
        failed=$((failed + 1))
        echo "cobc_compare: $copybook:"
        head -5 "$tmp/wrong"
    else
        compared=$((compared + 1))
    fi
done
echo "cobc_compare: $compared copybooks agree with GnuCOBOL and tarnmap, $failed do not, $skipped do not compile"
[ "$failed" = 0 ]
