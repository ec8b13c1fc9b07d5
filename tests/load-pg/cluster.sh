#!/bin/sh
# A throwaway PostgreSQL cluster for the loader's tests: initdb and pg_ctl in
# a temporary directory, a Unix socket only, run as nobody when we are root.
# "start STATE" writes the connection string to STATE; "stop STATE" stops the
# cluster it names and removes the directory.
set -u
cmd=$1 state=$2
case $state in /*) ;; *) state=$PWD/$state ;; esac

# The server refuses to run as root: drop to nobody, with a directory it owns.
as_owner() {
    if [ "$(id -u)" = 0 ]; then
        setpriv --reuid=nobody --regid=nogroup --clear-groups -- "$@"
    else
        "$@"
    fi
}

bindir=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1)
[ -n "$bindir" ] || bindir=$(dirname "$(command -v initdb 2>/dev/null || echo /none/initdb)")
case $cmd in
start)
    rm -f "$state" "$state.dir"  # from a run that ended before its stop
    # Without PostgreSQL no state is written: the tests that need a server
    # fail for want of it, those that only use one when there go on.
    [ -x "$bindir/initdb" ] || { echo "cluster.sh: no initdb (apt-get install -y postgresql)" >&2; exit 0; }
    dir=$(mktemp -d /tmp/tarnmap-pg.XXXXXX) || exit 1
    [ "$(id -u)" = 0 ] && chown nobody:nogroup "$dir"
    chmod 700 "$dir"
    cd "$dir" || exit 1  # the server's user may not reach the caller's directory
    user=$(as_owner id -un)
    # Local logins are trusted, but for the role "pwuser", which must give a
    # password: the tests log in with a password file.
    as_owner "$bindir/initdb" -D "$dir/data" -U "$user" -A trust -E UTF8 --locale=C.UTF-8 \
        >"$dir/initdb.log" 2>&1 || { cat "$dir/initdb.log" >&2; rm -rf "$dir"; exit 1; }
    as_owner sh -c "printf 'local all pwuser scram-sha-256\nlocal all all trust\n' >'$dir/data/pg_hba.conf'"
    as_owner "$bindir/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
        -o "-c listen_addresses= -c unix_socket_directories=$dir -c fsync=off -c full_page_writes=off -c synchronous_commit=off" \
        start >/dev/null || { cat "$dir/server.log" >&2; rm -rf "$dir"; exit 1; }
    echo "host=$dir user=$user dbname=postgres" >"$state"
    echo "$dir" >"$state.dir"
    ;;
stop)
    [ -f "$state.dir" ] || exit 0
    dir=$(cat "$state.dir")
    cd /
    as_owner "$bindir/pg_ctl" -D "$dir/data" -m immediate -w stop >/dev/null 2>&1
    rm -rf "$dir"
    rm -f "$state" "$state.dir"
    ;;
*)
    echo "usage: cluster.sh start|stop STATE" >&2; exit 2 ;;
esac
