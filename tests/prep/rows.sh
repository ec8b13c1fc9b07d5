#!/bin/sh
# The cases of tests/prep/rows.txt through tarnmap-prep. A case is
#   === NAME | OPTIONS        (OPTIONS may name members under tests/prep/members)
#   < an input line           (as many as needed; "<" alone is an empty line)
#   > an output line
#   ! a line on standard error (the source is src.cbl)
#   = the exit status         (default: 1 with "!" lines, else 0)
# Every output is run through tarnmap-prep once more and must come back the same.
# Usage: rows.sh TARNMAP-PREP, from the top of the source tree.
prep=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")  # the cases run in a folder of their own
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
awk -v dir="$tmp" '
    /^#/ || /^$/ { next }
    /^=== / { n++; f = dir "/" n; print substr($0, 5) > f ".head"; printf "" > f ".in"; printf "" > f ".want"; printf "" > f ".err"; next }
    /^<( |$)/ { print substr($0, 3) > f ".in"; next }
    /^>( |$)/ { print substr($0, 3) > f ".want"; next }
    /^! / { print substr($0, 3) > f ".err"; next }
    /^= / { print substr($0, 3) > f ".status"; next }
    { print "rows.txt: stray line: " $0; exit 1 }' tests/prep/rows.txt || exit 1
failed=0 cases=0
for head in "$tmp"/*.head; do
    c=${head%.head}
    cases=$((cases + 1))
    name=$(sed 's/ [|].*//' "$head")
    opts=$(sed -n 's/^[^|]*[|] //p' "$head" | sed "s#@#$PWD/tests/prep/members#g")
    want_status=$( [ -s "$c.err" ] && echo 1 || echo 0)
    [ -f "$c.status" ] && want_status=$(cat "$c.status")
    cp "$c.in" "$tmp/src.cbl"
    # shellcheck disable=SC2086
    (cd "$tmp" && COBCPY= "$prep" $opts src.cbl) >"$c.got" 2>"$c.goterr" </dev/null
    status=$?
    sed -i "s#$PWD/##g" "$c.goterr"
    if [ "$status" != "$want_status" ] || ! cmp -s "$c.want" "$c.got" || ! cmp -s "$c.err" "$c.goterr"; then
        failed=$((failed + 1))
        echo "rows: $name: status $status (want $want_status)"
        diff "$c.want" "$c.got" | sed 's/^/  out /'
        diff "$c.err" "$c.goterr" | sed 's/^/  err /'
        continue
    fi
    [ "$status" -le 1 ] || continue
    cp "$c.got" "$tmp/src.cbl"
    # shellcheck disable=SC2086
    (cd "$tmp" && COBCPY= "$prep" $opts src.cbl) >"$c.again" 2>/dev/null
    cmp -s "$c.got" "$c.again" || { failed=$((failed + 1)); echo "rows: $name: a second run changes it"; diff "$c.got" "$c.again"; }
done
echo "rows: $cases cases, $failed failed"
[ "$failed" = 0 ] && [ "$cases" -gt 0 ]
