#!/bin/sh
# The manual page renders without a warning, installs with the program, and
# each of its examples (a "$ " line, its "> " lines, then its output up to a
# blank line, as the rendered page shows them) gives that very output.
# Usage: man.sh BUILD_DIR, from the top of the source tree.
set -e
build=$(cd "$1" && pwd)
page=$build/tarnmap.1
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
warnings=$(groff -man -ww -z "$page" 2>&1)
[ -z "$warnings" ] || { echo "man: groff warns: $warnings"; exit 1; }
cmake --install "$build" --prefix "$tmp/usr" >/dev/null
[ -x "$tmp/usr/bin/tarnmap" ] && [ -f "$tmp/usr/share/man/man1/tarnmap.1" ] || { echo "man: not installed"; exit 1; }
groff -man -Tascii -P-cbou "$page" | awk -v dir="$tmp" '
    /^EXAMPLES/ { on = 1; next }
    /^SEE ALSO/ { on = 0 }
    !on { next }
    { sub(/^       /, "") }
    /^\$ / { n++; cmd = dir "/cmd" n; want = dir "/want" n; print substr($0, 3) > cmd; printf "" > want; part = "cmd"; next }
    /^> / && part == "cmd" { print substr($0, 3) > cmd; next }
    /^$/ { part = ""; next }
    part != "" { part = "out"; print > want }'
export PATH="$build:$PATH"
for cmd in "$tmp"/cmd*; do
    n=${cmd##*/cmd}
    sh "$cmd" >"$tmp/got$n" 2>/dev/null || true
    cmp -s "$tmp/want$n" "$tmp/got$n" || { echo "man: example $n differs:"; cat "$cmd"; diff "$tmp/want$n" "$tmp/got$n"; exit 1; }
done
echo "man: no warnings, installed, $n examples hold"
