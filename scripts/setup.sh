#!/usr/bin/env bash
# Installs every Debian package the build, the shell, the tests and the Debian package
# (cpack: file and dpkg-shlibdeps; desktop-file-validate) need.
# Idempotent and quick when everything is already there. slapd is installed for the tests'
# throwaway directory only (scripts/ldap-server.sh runs its own): the service the package
# starts, where it can, is stopped again and left as the system had it otherwise.
set -euo pipefail
PKGS=(cmake g++ ninja-build pkg-config qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite libqt6sql6-psql
      libgl-dev fonts-dejavu-core sqlite3 libsqlite3-dev libicu-dev libpq-dev
      postgresql-15 postgresql-client-15 libmuparser-dev qt6-charts-dev libqt6opengl6-dev
      qt6-translations-l10n poppler-utils libxlsxwriter-dev python3-openpyxl
      file dpkg-dev desktop-file-utils slapd ldap-utils libldap-dev openssl
      liboath-dev oathtool libqrencode-dev libsodium-dev zbar-tools)
missing=()
for p in "${PKGS[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  had_slapd=$(dpkg-query -W -f='${Status}' slapd 2>/dev/null | grep -c "ok installed" || true)
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
  if [ "$had_slapd" = 0 ] && command -v systemctl >/dev/null && systemctl is-active -q slapd 2>/dev/null; then
    $SUDO systemctl stop slapd || true
    $SUDO systemctl disable -q slapd || true
  elif [ "$had_slapd" = 0 ] && command -v service >/dev/null; then
    $SUDO service slapd stop >/dev/null 2>&1 || true
  fi
fi
