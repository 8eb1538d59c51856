#!/usr/bin/env bash
# A throwaway PostgreSQL 15 cluster in a folder of its own, for tests and benchmarks.
#
#   scripts/pg-cluster.sh start DIR [--durable]   prints the cluster's URI
#   scripts/pg-cluster.sh stop DIR
#   scripts/pg-cluster.sh restart DIR             the same cluster again, on its port
#
# It listens on 127.0.0.1 on a free port and on a socket in DIR. initdb refuses root, so
# under root the server runs as the postgres system user. Without --durable it skips the
# disk flushes, as tests need no crash safety. A role nexo_pw with the password
# nexo_pw_titok logs in by password over TCP, so that a wrong password can be tried.
set -euo pipefail
cmd=${1:-}; dir=${2:-}
[ -n "$cmd" ] && [ -n "$dir" ] || { echo "usage: $0 start|stop|restart DIR [--durable]" >&2; exit 2; }
bin=/usr/lib/postgresql/15/bin
[ -x "$bin/initdb" ] || { echo "PostgreSQL 15 server is not installed (scripts/setup.sh installs it)" >&2; exit 1; }

as_pg() {
  if [ "$(id -u)" -eq 0 ]; then runuser -u postgres -- "$@"; else "$@"; fi
}

server_start() {
  local port=$1
  as_pg "$bin/pg_ctl" -D "$dir/data" -l "$dir/server.log" -w -t 60 \
    -o "-p $port -k $dir -c listen_addresses=127.0.0.1 $(cat "$dir/options")" start >/dev/null
}

case "$cmd" in
start)
  mkdir -p "$dir"
  [ "$(id -u)" -eq 0 ] && chown postgres: "$dir"
  as_pg "$bin/initdb" -D "$dir/data" -U postgres -A trust -E UTF8 --locale=C.UTF-8 --no-sync >"$dir/initdb.log" 2>&1 \
    || { cat "$dir/initdb.log" >&2; exit 1; }
  opts="-c max_connections=200 -c lc_messages=C"
  [ "${3:-}" = "--durable" ] || opts="$opts -c fsync=off -c synchronous_commit=off -c full_page_writes=off"
  echo "$opts" >"$dir/options"
  { echo "local all all trust"
    echo "host all nexo_pw 127.0.0.1/32 scram-sha-256"
    echo "host all all 127.0.0.1/32 trust"; } >"$dir/data/pg_hba.conf"
  # A port that nothing listens on; another starter may take it first, so try a few.
  started=
  for _ in 1 2 3 4 5 6 7 8; do
    port=$(( 20000 + RANDOM % 20000 ))
    (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && continue
    if server_start "$port"; then started=1; break; fi
  done
  [ -n "$started" ] || { cat "$dir/server.log" >&2; echo "the PostgreSQL test server did not start" >&2; exit 1; }
  echo "$port" >"$dir/port"
  as_pg "$bin/psql" -h "$dir" -p "$port" -U postgres -d postgres -qAt \
    -c "CREATE ROLE nexo_pw LOGIN PASSWORD 'nexo_pw_titok' CREATEDB" >/dev/null
  echo "postgresql://postgres@127.0.0.1:$port/postgres"
  ;;
stop)
  [ -d "$dir/data" ] && as_pg "$bin/pg_ctl" -D "$dir/data" -m fast -w stop >/dev/null 2>&1 || true
  ;;
restart)
  server_start "$(cat "$dir/port")"
  ;;
*)
  echo "usage: $0 start|stop|restart DIR [--durable]" >&2; exit 2 ;;
esac
