#!/usr/bin/env bash
# Sets up the machine, builds, starts a throwaway PostgreSQL server and a throwaway directory
# (slapd) and runs every test: each database suite once on SQLite and once on PostgreSQL.
# Both servers are stopped and removed afterwards, also when tests fail.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
cd build
../scripts/with-pg.sh ../scripts/with-ldap.sh ctest --output-on-failure --timeout 300 "$@"
