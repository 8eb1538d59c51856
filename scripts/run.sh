#!/usr/bin/env bash
# Sets up the machine, builds, and starts the shell on the demo database.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh
exec build/bin/nexo-shell "$@"
