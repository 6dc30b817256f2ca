#!/usr/bin/env bash
# Runs a program with a PostgreSQL server of its own, in a folder that is removed afterwards. Where no
# server is installed the program runs without one.
#
#   run.sh FOLDER PROGRAM [ARGUMENT ...]
set -euo pipefail

folder=$1
shift
tools=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -1 || true)
[ -n "$tools" ] || exec "$@"

rm -rf "$folder"
mkdir -p "$folder"
# The socket's path may be no longer than 107 characters.
sockets=$(mktemp -d)
# The server refuses to run as root.
as=()
if [ "$(id -u)" = 0 ]; then
    chown postgres "$folder" "$sockets"
    as=(runuser -u postgres --)
    # The user must get to the folder.
    data=$(mktemp -d)
    chown postgres "$data"
else
    data=$folder/data
fi
finish() {
    (cd / && "${as[@]}" "$tools/pg_ctl" -D "$data" -m immediate stop >/dev/null 2>&1) || true
    rm -rf "$folder" "$sockets" "$data"
}
trap finish EXIT
(
    cd /
    "${as[@]}" "$tools/initdb" -D "$data" -A trust -U postgres -E UTF8 --locale=C.UTF-8 --no-sync >/dev/null
    "${as[@]}" "$tools/pg_ctl" -D "$data" -w -l "$data/log" -o "-k $sockets -c listen_addresses='' ${POSTGRES_OPTIONS:--c fsync=off}" start >/dev/null
)
ORRERY_TEST_POSTGRES="postgresql:///postgres?host=$sockets&user=postgres" "$@"
