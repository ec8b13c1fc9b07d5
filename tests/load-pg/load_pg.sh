#!/bin/sh
# tarnmap-load into a real PostgreSQL server, and shards: what a load leaves
# in the database, the faults and their statuses, N shards of a fixed and a
# descriptor-framed file side by side, a shard or the server killed mid-load.
# Usage: load_pg.sh TARNMAP TARNMAP_LOAD STATE (STATE: cluster.sh's file)
tarnmap=$1 load=$2 state=$3
[ -f "$state" ] || { echo "load_pg: no PostgreSQL cluster ($state)"; exit 1; }
conn=$(cat "$state")
PGOPTIONS="-c client_min_messages=warning"
export PGOPTIONS
tmp=$(mktemp -d)
holder=""
trap '[ -n "$holder" ] && kill $holder 2>/dev/null; rm -rf "$tmp"' EXIT
failed=0
fail() { failed=$((failed + 1)); echo "load_pg: $*"; }
q() { psql "$conn" -XAtq -v ON_ERROR_STOP=1 -c "$1"; }
# run STATUS ARGS...: tarnmap-load with the arguments ends with STATUS
run() {
    want=$1; shift
    "$load" "$@" >"$tmp/out" 2>"$tmp/err"
    status=$?
    [ "$status" = "$want" ] || { fail "$* gave status $status (want $want):"; head -5 "$tmp/err"; }
}
# says TEXT: the last run's standard error holds TEXT
says() {
    grep -q -F -- "$1" "$tmp/err" || { fail "no \"$1\" in:"; head -5 "$tmp/err"; }
}
# sums TABLE: the count of its rows and a checksum of all of them, in any order
sums() {
    q "SELECT count(*) || ' ' || coalesce(md5(string_agg(t::text, E'\\n' ORDER BY t::text)), '-') FROM \"$1\" t"
}
# waits until a load stands blocked on a lock in the server (at most 30 s)
await_stall() {
    i=0
    while [ "$(q "SELECT count(*) FROM pg_stat_activity WHERE application_name = 'tarnmap-load' AND wait_event_type = 'Lock'")" != 1 ]; do
        i=$((i + 1))
        [ $i -lt 300 ] || { fail "no load stalled"; return 1; }
        sleep 0.1
    done
}
# Holds advisory lock 7 in a session of its own until it is terminated, so
# that the trigger "stall" stops a load at its 100th row.
hold_lock() {
    psql "$conn" -XAtq -c "SELECT pg_advisory_lock(7)" -c "SELECT pg_sleep(120)" >/dev/null 2>&1 &
    holder=$!
    while [ "$(q "SELECT count(*) FROM pg_locks WHERE locktype = 'advisory' AND granted")" != 1 ]; do sleep 0.1; done
}
stall() {
    q "DROP SEQUENCE IF EXISTS seen; CREATE SEQUENCE seen;
       CREATE OR REPLACE FUNCTION stall() RETURNS trigger LANGUAGE plpgsql AS
       \$\$BEGIN IF nextval('seen') = 100 THEN PERFORM pg_advisory_xact_lock_shared(7); END IF; RETURN NEW; END\$\$;
       CREATE TRIGGER stall BEFORE INSERT ON \"SHARD_REC\" FOR EACH ROW EXECUTE FUNCTION stall()"
}

# A record of 28 bytes: a number, a name (a backslash and a tab in some: COPY
# escapes them), an amount with its sign overpunched on the last digit.
cat >"$tmp/rec.cpy" <<'EOF'
       01  SHARD-REC.
           05  SR-ID        PIC 9(7).
           05  SR-NAME      PIC X(12).
           05  SR-AMOUNT    PIC S9(7)V99.
EOF
printf 'SHARDS\n%s\n' "$tmp" | "$tarnmap" -t -o "$tmp/dict.csv" "$tmp/rec.cpy" >/dev/null
# records N [BAD]: N records without framing; record BAD has a letter in its number
records() {
    awk -v n="$1" -v bad="${2:-0}" 'BEGIN {
        for (i = 1; i <= n; i++) {
            name = i % 5 ? "NAME " i : "A\\B\t" i
            id = i == bad ? "00007x0" : sprintf("%07d", i)
            printf "%s%-12s%08d%d", id, name, i * 37 % 100000000, i % 10
        }
    }'
}
records 1000 >"$tmp/fixed.dat"
# The same kind of records behind descriptors, every fourth one without its amount.
awk -v n=600 'BEGIN {
    for (i = 1; i <= n; i++) {
        rec = sprintf("%07d%-12s", 5000 + i, "VAR " i)
        if (i % 4) rec = rec sprintf("%09d", i)
        printf "%c%c%c%c%s", 0, length(rec) + 4, 0, 0, rec
    }
}' >"$tmp/var.dat"
head -c 96 "$tmp/var.dat" >"$tmp/three.dat"   # 3 records of 32 bytes
T="--table SHARD_REC"

# --- One load: every row, values as the CSV target gives them ---------------
run 0 --postgres "$conn" --replace $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
[ "$(q 'SELECT count(*) FROM "SHARD_REC"')" = 1000 ] || fail "fixed file: not 1000 rows"
run 0 --csv "$tmp" $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
q 'COPY "SHARD_REC" TO STDOUT (FORMAT csv, HEADER)' >"$tmp/back.csv"
tr -d '\r' <"$tmp/SHARD_REC.csv" | cmp -s - "$tmp/back.csv" || { fail "read back differs from the CSV target:"; tr -d '\r' <"$tmp/SHARD_REC.csv" | diff - "$tmp/back.csv" | head -5; }
whole=$(sums SHARD_REC)
[ "$(q "SELECT string_agg(format_type(atttypid, atttypmod), ',' ORDER BY attnum) FROM pg_attribute WHERE attrelid = '\"SHARD_REC\"'::regclass AND attnum > 0")" = "integer,character varying(12),numeric(9,2)" ] ||
    fail "column types: $(q "SELECT string_agg(format_type(atttypid, atttypmod), ',' ORDER BY attnum) FROM pg_attribute WHERE attrelid = '\"SHARD_REC\"'::regclass AND attnum > 0")"
run 0 --postgres "$conn" --append $T --data "$tmp/var.dat" --rdw "$tmp/dict.csv"
one=$(sums SHARD_REC)
[ "${one%% *}" = 1600 ] || fail "one load: $one"

# --- Shards: 1, 2, 3 and 7 of both files at once give the rows of one load ---
for n in 1 2 3 7; do
    run 0 --postgres "$conn" --replace --count 0 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
    pids=""
    k=1
    while [ $k -le $n ]; do
        "$load" --postgres "$conn" --append --shard $k/$n $T --data "$tmp/fixed.dat" "$tmp/dict.csv" 2>"$tmp/f$k.err" &
        pids="$pids $!"
        "$load" --postgres "$conn" --append --shard $k/$n $T --data "$tmp/var.dat" --rdw "$tmp/dict.csv" 2>"$tmp/v$k.err" &
        pids="$pids $!"
        k=$((k + 1))
    done
    for p in $pids; do wait $p || fail "a shard of $n failed: $(cat "$tmp"/f*.err "$tmp"/v*.err | head -3)"; done
    [ "$(sums SHARD_REC)" = "$one" ] || fail "$n shards: $(sums SHARD_REC), one load: $one"
done
# More shards than records: some load none, none loads one twice.
run 0 --postgres "$conn" --replace --count 0 $T --data "$tmp/three.dat" --rdw "$tmp/dict.csv"
for k in 1 2 3 4 5 6 7; do run 0 --postgres "$conn" --append --shard $k/7 $T --data "$tmp/three.dat" --rdw "$tmp/dict.csv"; done
[ "$(q 'SELECT string_agg("SR_ID"::text, $$,$$ ORDER BY 1) FROM "SHARD_REC"')" = "5001,5002,5003" ] || fail "7 shards of 3 records: $(q 'SELECT count(*) FROM "SHARD_REC"')"
# CSV shards: one file each, whose rows make the file's.
for k in 1 2 3; do run 0 --csv "$tmp" --shard $k/3 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"; done
{ head -1 "$tmp/SHARD_REC.csv"; for k in 1 2 3; do tail -n +2 "$tmp/SHARD_REC.$k-of-3.csv"; done; } >"$tmp/joined.csv"
cmp -s "$tmp/joined.csv" "$tmp/SHARD_REC.csv" || fail "the 3 CSV shards do not make the file"
# A shard's report and rejects stand alone: record numbers count from the file's start.
records 1000 700 >"$tmp/bad.dat"
run 0 --csv "$tmp" --shard 1/2 $T --data "$tmp/bad.dat" "$tmp/dict.csv"
run 1 --csv "$tmp" --shard 2/2 --rejects "$tmp/rej" $T --data "$tmp/bad.dat" "$tmp/dict.csv"
says 700
[ "$(wc -c <"$tmp/rej")" = 28 ] || fail "shard 2/2: the reject file is not record 700 alone"

# --- A shard killed mid-load leaves none of its rows; loading it again completes the table
run 0 --postgres "$conn" --replace --count 0 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
run 0 --postgres "$conn" --append --shard 1/3 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
run 0 --postgres "$conn" --append --shard 3/3 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
before=$(sums SHARD_REC)
stall
hold_lock
"$load" --postgres "$conn" --append --shard 2/3 $T --data "$tmp/fixed.dat" "$tmp/dict.csv" 2>/dev/null &
shard=$!
if await_stall; then
    kill -9 $shard
    wait $shard 2>/dev/null
    q "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND query LIKE '%pg_sleep%'" >/dev/null
    wait $holder; holder=""
    [ "$(sums SHARD_REC)" = "$before" ] || fail "a killed shard left rows: $(sums SHARD_REC)"
    q 'DROP TRIGGER stall ON "SHARD_REC"'
    run 0 --postgres "$conn" --append --shard 2/3 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
    [ "$(sums SHARD_REC)" = "$whole" ] || fail "the shard loaded again does not complete the table"
fi

# --- The server killed mid-load: status 3, nothing of the load committed ---
q 'TRUNCATE "SHARD_REC"'
q 'INSERT INTO "SHARD_REC" VALUES (1, $$kept$$, 0)'
stall
hold_lock
"$load" --postgres "$conn" --append $T --data "$tmp/fixed.dat" "$tmp/dict.csv" 2>"$tmp/err" &
shard=$!
if await_stall; then
    kill -9 "$(q "SELECT pid FROM pg_stat_activity WHERE application_name = 'tarnmap-load'")"
    wait $shard
    status=$?
    [ "$status" = 3 ] || { fail "server killed: status $status (want 3)"; head -3 "$tmp/err"; }
    wait $holder; holder=""
    i=0
    until q 'SELECT 1' >/dev/null 2>&1; do i=$((i + 1)); [ $i -lt 300 ] || break; sleep 0.1; done
    [ "$(q 'SELECT "SR_NAME" FROM "SHARD_REC"')" = kept ] || fail "server killed: the table is not as it was"
fi
q 'DROP TRIGGER IF EXISTS stall ON "SHARD_REC"'
# The connection lost during COMMIT (a deferred trigger waits there): the
# rows may or may not stand, and the message says so.
q 'TRUNCATE "SHARD_REC"'
q "CREATE OR REPLACE FUNCTION stall_commit() RETURNS trigger LANGUAGE plpgsql AS
   \$\$BEGIN PERFORM pg_advisory_xact_lock_shared(7); RETURN NULL; END\$\$;
   CREATE CONSTRAINT TRIGGER at_commit AFTER INSERT ON \"SHARD_REC\" DEFERRABLE INITIALLY DEFERRED
   FOR EACH ROW EXECUTE FUNCTION stall_commit()"
hold_lock
"$load" --postgres "$conn" --append $T --data "$tmp/three.dat" --rdw "$tmp/dict.csv" 2>"$tmp/err" &
shard=$!
if await_stall; then
    q "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE application_name = 'tarnmap-load'" >/dev/null
    wait $shard
    status=$?
    [ "$status" = 3 ] || fail "connection lost during COMMIT: status $status (want 3)"
    says "during COMMIT"
fi
q "SELECT pg_terminate_backend(pid) FROM pg_stat_activity WHERE pid <> pg_backend_pid() AND query LIKE '%pg_sleep%'" >/dev/null
wait $holder; holder=""
q 'DROP TRIGGER at_commit ON "SHARD_REC"'

# --- Faults, each with its status and reason: 2 for a server that refuses
# the connection or the login and a wrong option, 3 for a table the target
# refuses (as SQLite's and the CSV target's) ----------------------------------
run 2 --postgres "host=$tmp/nowhere" $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
says "$tmp/nowhere"
run 2 --postgres "$conn user=no_such_role" $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
says no_such_role
# What the connection string leaves out comes from libpq's PG* variables; a URI does as well.
host=$(echo "$conn" | sed 's/.*host=\([^ ]*\).*/\1/') user=$(echo "$conn" | sed 's/.*user=\([^ ]*\).*/\1/')
q 'DROP TABLE IF EXISTS "SHARD_REC"'
PGHOST=$host PGUSER=$user PGDATABASE=postgres run 0 --postgres "" --count 2 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
run 0 --postgres "postgresql:///postgres?host=$host&user=$user" --append --count 3 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
[ "$(q 'SELECT count(*) FROM "SHARD_REC"')" = 5 ] || fail "PG* variables and a URI: not 5 rows"
# A login with a password: from the password file, never the command line.
q "DROP ROLE IF EXISTS pwuser; CREATE ROLE pwuser LOGIN PASSWORD 'secret'; GRANT CREATE ON SCHEMA public TO pwuser"
run 2 --postgres "$conn user=pwuser" $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
says password
printf '*:*:*:pwuser:secret\n' >"$tmp/pgpass"
chmod 600 "$tmp/pgpass"
q 'DROP TABLE "SHARD_REC"'
PGPASSFILE=$tmp/pgpass run 0 --postgres "$conn user=pwuser" --table SHARD_REC --data "$tmp/three.dat" --rdw "$tmp/dict.csv"
run 3 --postgres "$conn" $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
says "exists"
q 'DROP TABLE "SHARD_REC"; CREATE TABLE "SHARD_REC" ("SR_ID" integer, "SR_NAME" text, "SR_AMOUNT" numeric(9,2))'
run 3 --postgres "$conn" --append $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
says "SR_NAME text"
q 'DROP TABLE "SHARD_REC"'
run 3 --postgres "$conn" --append $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
says "does not exist"
run 2 --postgres "$conn" --replace --shard 1/2 $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
says "--append"
for bad in 0/3 4/3 1/0 x; do
    run 2 --postgres "$conn" --shard $bad $T --data "$tmp/fixed.dat" "$tmp/dict.csv"
    says "--shard"
done

# --- Hostile names load as those names and never run as SQL ------------------
q 'CREATE TABLE IF NOT EXISTS victim (x int)'
cat >"$tmp/hostile.csv" <<'EOF'
"FILE","H","SEQUENTIAL","FIXED",4
"FIELD","H","A","STRING",0,2,2,0,0,"",""
"FIELD","H","B","STRING",2,2,2,0,0,"",""
"DB","H","","DISAM",""
"TABLE","H","x"; DROP TABLE victim; --","TABLE","H","H",""
"COLUMN","H","x"; DROP TABLE victim; --","a'); DROP TABLE victim; --","A","VARCHAR",2,1,1,""
"COLUMN","H","x"; DROP TABLE victim; --","\"b","B","VARCHAR",2,1,1,""
EOF
printf 'abcd' >"$tmp/h.dat"
run 0 --postgres "$conn" --replace --data "$tmp/h.dat" --table 'x"; DROP TABLE victim; --' "$tmp/hostile.csv"
[ "$(q 'SELECT count(*) FROM victim')" = 0 ] || fail "victim gone"
cat >"$tmp/hostile.sql" <<'EOF'
SELECT "a'); DROP TABLE victim; --" || "\""b" FROM "x""; DROP TABLE victim; --"
EOF
[ "$(psql "$conn" -XAtq -f "$tmp/hostile.sql")" = abcd ] || fail "hostile names"

[ $failed = 0 ] || { echo "load_pg: $failed failed"; exit 1; }
echo "load_pg: all passed"
