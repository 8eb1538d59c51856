#!/usr/bin/env bash
# Runs a command with NEXO_TEST_PG naming a PostgreSQL server: the one it already names, or
# a throwaway cluster started for the command and stopped and removed afterwards, also when
# the command fails. A server that cannot start fails the run.
#
#   scripts/with-pg.sh [--durable] COMMAND [ARGS...]
set -euo pipefail
scripts=$(cd "$(dirname "$0")" && pwd)
durable=
if [ "${1:-}" = "--durable" ]; then durable=--durable; shift; fi
if [ -z "${NEXO_TEST_PG:-}" ]; then
  pgdir=$(mktemp -d /tmp/nexo-pg.XXXXXX)
  trap '"$scripts/pg-cluster.sh" stop "$pgdir"; rm -rf "$pgdir"' EXIT
  NEXO_TEST_PG=$("$scripts/pg-cluster.sh" start "$pgdir" $durable) \
    || { echo "A PostgreSQL tesztkiszolgáló nem indult el." >&2; exit 1; }
  export NEXO_TEST_PG
  echo "PostgreSQL server: $NEXO_TEST_PG"
fi
"$@"
