#!/usr/bin/env bash
# Sets up the machine, builds, starts a throwaway PostgreSQL server and runs every test:
# each database suite once on SQLite and once on PostgreSQL. The server is stopped and
# removed afterwards, also when tests fail.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
pgdir=$(mktemp -d /tmp/nexo-test-pg.XXXXXX)
trap 'scripts/pg-cluster.sh stop "$pgdir"; rm -rf "$pgdir"' EXIT
NEXO_TEST_PG=$(scripts/pg-cluster.sh start "$pgdir") || { echo "A PostgreSQL tesztkiszolgáló nem indult el." >&2; exit 1; }
export NEXO_TEST_PG
echo "PostgreSQL test server: $NEXO_TEST_PG"
cd build
ctest --output-on-failure --timeout 300 "$@"
