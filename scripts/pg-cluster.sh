#!/usr/bin/env bash
# A throwaway PostgreSQL cluster for the tests and benchmarks, in a folder of its own,
# reachable only on a Unix socket in that folder.
#
#   pg-cluster.sh start DIR [--soft]   creates the cluster on first use, starts it, prints its location
#   pg-cluster.sh stop DIR             stops it (the data stay for the next start)
#   pg-cluster.sh location DIR         prints the location noxdb and the engine open
#
# initdb and the server refuse to run as root: as root, the cluster belongs to the system user
# "noxpg", made here when missing. With --soft a cluster that cannot start is no failure: the
# reason goes to DIR/unavailable, where the tests read it to say why they skip.
set -euo pipefail

cmd="${1:-}" dir="${2:-}" soft="${3:-}"
[ -n "$cmd" ] && [ -n "$dir" ] || { echo "usage: pg-cluster.sh start|stop|location DIR [--soft]" >&2; exit 2; }
mkdir -p "$dir"
dir="$(cd "$dir" && pwd)"
data="$dir/data"
user_name=noxdb
location="postgresql:///postgres?host=$dir&user=$user_name"

unavailable() {
  echo "$*" > "$dir/unavailable"
  echo "pg-cluster: $*" >&2
  if [ "$soft" = "--soft" ]; then exit 0; fi
  exit 1
}

bin=""
for d in "$(dirname "$(command -v initdb 2>/dev/null || echo /nonexistent/x)")" /usr/local/bin /usr/lib/postgresql/*/bin; do
  if [ -x "$d/initdb" ] && [ -x "$d/pg_ctl" ]; then bin="$d"; break; fi
done

as_owner() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u noxpg -- "$@"; else "$@"; fi
}

case "$cmd" in
  location) echo "$location" ;;
  stop)
    [ -n "$bin" ] && [ -f "$data/postmaster.pid" ] && as_owner "$bin/pg_ctl" -D "$data" -m fast -w stop > /dev/null
    exit 0 ;;
  start)
    rm -f "$dir/unavailable"
    [ -n "$bin" ] || unavailable "no initdb found (install postgresql; looked on PATH, in /usr/local/bin and /usr/lib/postgresql/*/bin)"
    if [ "$(id -u)" -eq 0 ]; then
      id noxpg > /dev/null 2>&1 || useradd --system --no-create-home --shell /usr/sbin/nologin noxpg ||
        unavailable "cannot make the system user noxpg that runs the cluster"
      chown noxpg "$dir"
    fi
    if [ ! -f "$data/PG_VERSION" ]; then
      rm -rf "$data"
      as_owner "$bin/initdb" -D "$data" -U "$user_name" --auth=trust -E UTF8 --locale=C > "$dir/initdb.log" 2>&1 ||
        unavailable "initdb failed: $(tail -n 3 "$dir/initdb.log" | tr '\n' ' ')"
      printf "listen_addresses = ''\nunix_socket_directories = '%s'\nport = 5432\n" "$dir" >> "$data/postgresql.conf"
    fi
    if ! as_owner "$bin/pg_ctl" -D "$data" status > /dev/null 2>&1; then
      as_owner "$bin/pg_ctl" -D "$data" -l "$dir/server.log" -w -t 60 start > /dev/null ||
        unavailable "the server did not start: $(tail -n 3 "$dir/server.log" | tr '\n' ' ')"
    fi
    echo "$location" ;;
  *) echo "pg-cluster: unknown command $cmd" >&2; exit 2 ;;
esac
