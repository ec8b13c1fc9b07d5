#!/bin/sh
# The manual pages render without a warning, install with the programs, and
# each of their examples (a "$ " line, its "> " lines, then its output up to
# a blank line, as the rendered page shows them) gives that very output.
# Usage: man.sh BUILD_DIR, from the top of the source tree.
set -e
build=$(cd "$1" && pwd)
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
cmake --install "$build" --prefix "$tmp/usr" >/dev/null
export PATH="$build:$PATH"
for program in tarnmap tarnmap-check tarnmap-load; do
    page=$build/$program.1
    warnings=$(groff -man -ww -Tascii "$page" 2>&1 >/dev/null)
    [ -z "$warnings" ] || { echo "man: $program.1: groff warns: $warnings"; exit 1; }
    [ -x "$tmp/usr/bin/$program" ] && [ -f "$tmp/usr/share/man/man1/$program.1" ] ||
        { echo "man: $program not installed"; exit 1; }
    rm -f "$tmp"/cmd* "$tmp"/want* "$tmp"/got*
    groff -man -Tascii -P-cbou "$page" | awk -v dir="$tmp" '
        /^EXAMPLES/ { on = 1; next }
        /^SEE ALSO/ { on = 0 }
        !on { next }
        { sub(/^       /, "") }
        /^\$ / { n++; cmd = dir "/cmd" n; want = dir "/want" n; print substr($0, 3) > cmd; printf "" > want; part = "cmd"; next }
        /^> / && part == "cmd" { print substr($0, 3) > cmd; next }
        /^$/ { part = ""; next }
        part != "" { part = "out"; print > want }'
    for cmd in "$tmp"/cmd*; do
        n=${cmd##*/cmd}
        sh "$cmd" >"$tmp/got$n" 2>/dev/null || true
        cmp -s "$tmp/want$n" "$tmp/got$n" ||
            { echo "man: $program.1: example $n differs:"; cat "$cmd"; diff "$tmp/want$n" "$tmp/got$n"; exit 1; }
    done
    echo "man: $program.1: no warnings, installed, $n examples hold"
done
