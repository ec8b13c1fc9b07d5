#!/bin/sh
# The storage rules of tarnmap-check, one row each in tests/check_rows.txt:
#   OPTIONS | SOURCE | ITEMS | FIRST REASON | DEPARTURES
# SOURCE is written one entry a line. ITEMS lists every item of
# tarnmap-check --all --csv in order as NAME DICTIONARY, or NAME
# DICTIONARY/COMPILER where the two differ (each OFFSET+SIZE, "-" for none);
# FIRST REASON is the reason of the first item that differs; DEPARTURES
# counts the departures the report names. With cobc
# installed, the compiler's side of every row is measured by
# tests/cobc_layout.sh as well (01 records and FILLERs left out), but for
# rows marked with a leading ~, where GnuCOBOL puts items over each other.
# Usage: check_rows.sh BUILD_DIR, from the top of the source tree.
build=$1
rows=tests/check_rows.txt
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cobc=no
command -v cobc >/dev/null 2>&1 && cobc=yes
n=0 failed=0 measured=0
while IFS= read -r row; do
    case $row in '#'* | '') continue ;; esac
    n=$((n + 1))
    opts=$(echo "$row" | awk -F' [|] ' '{ sub(/^~/, "", $1); print $1 }')
    echo "$row" | awk -F' [|] ' '{ gsub(/\. /, ".\n", $2); print $2 }' | sed 's/^/       /' >"$tmp/src.cpy"
    want=$(echo "$row" | awk -F' [|] ' '{ print $3 " | " $4 " | " $5 }')
    # shellcheck disable=SC2086
    "$build/tarnmap-check" $opts --all --csv "$tmp/src.cpy" >"$tmp/csv" 2>/dev/null
    got=$(awk -F, 'FNR > 1 {
        dict = $5 "+" $6; comp = ($7 == "" ? "-" : $7) "+" ($8 == "" ? "-" : $8)
        items = items sep $3 " " dict (dict == comp ? "" : "/" comp); sep = "; "
        r = $0; for (k = 0; k < 8; k++) sub(/^[^,]*,/, "", r)
        if (reason == "" && r != "") { reason = r; sub(/^"/, "", reason); sub(/"$/, "", reason); gsub(/""/, "\"", reason) }
    } END { print items " | " reason " | " }' "$tmp/csv")$("$build/tarnmap-check" $opts "$tmp/src.cpy" 2>/dev/null | grep -c '^  [^ ]')
    if [ "$got" != "$want" ]; then
        failed=$((failed + 1))
        printf 'check_rows: line %s\n  want %s\n  got  %s\n' "$(grep -n -F -x -- "$row" "$rows" | cut -d: -f1)" "$want" "$got"
        continue
    fi
    [ $cobc = yes ] || continue
    case $row$want in '~'* | *'+-'*) continue ;; esac  # a compiler refuses an item, or errs
    if ! sh tests/cobc_layout.sh "$tmp/src.cpy" >"$tmp/cobc" 2>"$tmp/err"; then
        failed=$((failed + 1))
        echo "check_rows: GnuCOBOL does not compile: $row"
        cat "$tmp/err"
        continue
    fi
    measured=$((measured + 1))
    ours=$(awk -F, 'FNR > 1 && $3 !~ /^FILLER_/ { printf "%s%s,%s,%s", sep, $3, $7, $8; sep = " " }' "$tmp/csv")
    theirs=$(awk '$1 ~ /^0?1$/ { sub(/\.$/, "", $2); rec[$2]++; next }
                  FILENAME != "-" { next }
                  { split($0, t, ","); if (rec[t[1]]-- > 0) next; printf "%s%s", sep, $0; sep = " " }' \
             "$tmp/src.cpy" - <"$tmp/cobc")
    if [ "$ours" != "$theirs" ]; then
        failed=$((failed + 1))
        printf 'check_rows: %s\n  check    %s\n  GnuCOBOL %s\n' "$row" "$ours" "$theirs"
    fi
done <"$rows"
echo "check_rows: $n rows, $failed wrong, $measured measured with GnuCOBOL"
[ "$failed" = 0 ] && [ "$n" -gt 0 ]
