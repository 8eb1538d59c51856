#!/usr/bin/env bash
# The many-users and killed-writer tests at length: eight writers saving SAVES records each
# (default 1000) on each engine, instead of the hundred of the test run.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh >/dev/null
cd build
NEXO_MANY_USERS_SAVES=${1:-1000} ../scripts/with-pg.sh --durable ctest -R tst_manyusers --output-on-failure --timeout 3600
