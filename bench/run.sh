#!/usr/bin/env bash
# Runs every benchmark, on SQLite and on a throwaway PostgreSQL 15 server that flushes to
# disk as a real one does (or on the server NEXO_TEST_PG already names). Builds first.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh >/dev/null
if [ -z "${NEXO_TEST_PG:-}" ]; then
  pgdir=$(mktemp -d /tmp/nexo-bench-pg.XXXXXX)
  trap 'scripts/pg-cluster.sh stop "$pgdir"; rm -rf "$pgdir"' EXIT
  NEXO_TEST_PG=$(scripts/pg-cluster.sh start "$pgdir" --durable)
  export NEXO_TEST_PG
fi
for b in bench_records bench_concurrency bench_authunits; do
  echo "== $b"
  build/bin/$b 2> >(grep -v "free statement" >&2)
done
