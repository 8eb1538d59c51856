#!/usr/bin/env bash
# Runs a command with NEXO_TEST_LDAP naming a throwaway directory's folder (see
# ldap-server.sh): the one it already names, or one started for the command and stopped and
# removed afterwards, also when the command fails. A server that cannot start fails the run.
#
#   scripts/with-ldap.sh COMMAND [ARGS...]
set -euo pipefail
scripts=$(cd "$(dirname "$0")" && pwd)
if [ -z "${NEXO_TEST_LDAP:-}" ]; then
  ldapdir=$(mktemp -d /tmp/nexo-ldap.XXXXXX)
  trap '"$scripts/ldap-server.sh" stop "$ldapdir"; rm -rf "$ldapdir"' EXIT
  NEXO_TEST_LDAP=$("$scripts/ldap-server.sh" start "$ldapdir") \
    || { echo "Az LDAP tesztkiszolgáló nem indult el." >&2; exit 1; }
  export NEXO_TEST_LDAP
  echo "LDAP server: $(cat "$NEXO_TEST_LDAP/url") ($NEXO_TEST_LDAP)"
fi
"$@"
