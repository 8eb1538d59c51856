#!/usr/bin/env bash
# Sets up the machine, builds, and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
cd build
ctest --output-on-failure --timeout 300 "$@"
