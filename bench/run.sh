#!/usr/bin/env bash
# Runs every benchmark, on SQLite and on a throwaway PostgreSQL 15 server that flushes to
# disk as a real one does (or on the server NEXO_TEST_PG already names), with a throwaway
# directory for the directory's sync (or the one NEXO_TEST_LDAP names). Builds first.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh >/dev/null
scripts/with-pg.sh --durable scripts/with-ldap.sh bash -c '
  for b in bench_records bench_concurrency bench_authunits bench_menus bench_users bench_olap bench_logs bench_listwizard bench_explorer bench_directory; do
    echo "== $b"
    build/bin/$b
  done'
