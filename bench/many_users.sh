#!/usr/bin/env bash
# The many-users and killed-writer tests at length: eight writers saving SAVES records each
# (default 1000) on each engine, instead of the hundred of the test run.
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
export NEXO_MANY_USERS_SAVES=${1:-1000}
cd build
ctest -R tst_manyusers --output-on-failure --timeout 3600
