#!/usr/bin/env bash
# Sets up the machine, builds, starts a throwaway PostgreSQL server and runs every test:
# each database suite once on SQLite and once on PostgreSQL. The server is stopped and
# removed afterwards, also when tests fail.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
cd build
../scripts/with-pg.sh ctest --output-on-failure --timeout 300 "$@"
