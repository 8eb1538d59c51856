#!/usr/bin/env bash
# Makes the Debian package from a built tree, installs it, runs the installed shell as a new
# user would (an empty home: only the system class registry) and removes the package again,
# also when a check fails.
#
#   tests/install/install_deb.sh BUILD_DIR SOURCE_DIR [CPACK]
set -euo pipefail
build=$(cd "$1" && pwd)
source_dir=$(cd "$2" && pwd)
cpack=${3:-cpack}

fail() { echo "FAIL: $*" >&2; exit 1; }
if [ "$(id -u)" -ne 0 ]; then
  echo "installing a package needs root; skipped"
  exit 77
fi

work=$(mktemp -d /tmp/nexo-install.XXXXXX)
installed=
cleanup() {
  [ -d /usr/share/nexoframe/icons.away ] && mv /usr/share/nexoframe/icons.away /usr/share/nexoframe/icons
  if [ -n "$installed" ]; then
    dpkg --purge nexoframe >"$work/purge.log" 2>&1 || { cat "$work/purge.log" >&2; echo "FAIL: nexoframe was not removed" >&2; }
  fi
  rm -rf "$work"
}
trap cleanup EXIT

# The package, made outside the build tree.
(cd "$build" && "$cpack" -G DEB -B "$work/pkg") >"$work/cpack.log" 2>&1 || { cat "$work/cpack.log" >&2; fail "cpack"; }
deb=$(echo "$work"/pkg/nexoframe_*.deb)
[ -f "$deb" ] || fail "no package in $work/pkg"
dpkg-deb -c "$deb" >"$work/contents"
if grep -E 'tst_|bench|nexo_test|nexo_writer|nexo_lockholder|testmodule' "$work/contents"; then
  fail "tests or benchmarks are in the package"
fi
dpkg-deb -f "$deb" Depends | grep -q 'qt6-translations-l10n' || fail "Depends lacks qt6-translations-l10n"

if dpkg-query -W -f='${Status}' nexoframe 2>/dev/null | grep -q 'ok installed'; then
  echo "note: the installed nexoframe is replaced by this build's and removed at the end"
fi
installed=1
export DEBIAN_FRONTEND=noninteractive
if ! dpkg -i "$deb" >"$work/dpkg.log" 2>&1; then
  # Dependencies this machine lacks come from the archive.
  apt-get install -y -qq --no-install-recommends -f >>"$work/dpkg.log" 2>&1 || { cat "$work/dpkg.log" >&2; fail "install"; }
fi
dpkg-query -W -f='${Status}' nexoframe | grep -q 'ok installed' || fail "nexoframe is not installed"

# Everything in place, nothing pointing back into the build tree.
[ "$(PATH=/usr/local/bin:/usr/bin:/bin command -v nexo-shell)" = /usr/bin/nexo-shell ] || fail "nexo-shell is not on PATH"
libs=/usr/lib/nexoframe
[ -d "$libs" ] || libs=$(dirname "$(dpkg -L nexoframe | grep '/libNexoFrame\.so$')")
for f in "$libs/libNexoFrame.so" "$libs/libQndReport.so" /etc/xdg/NexoFrame/classes.ini \
         /usr/share/applications/nexoframe.desktop /usr/share/icons/hicolor/scalable/apps/nexoframe.svg; do
  [ -f "$f" ] || fail "missing $f"
done
for f in "$source_dir"/reports/files/*.json; do
  [ -f "/usr/share/nexoframe/reports/$(basename "$f")" ] || fail "report file $(basename "$f") is not installed"
done
for f in "$source_dir"/shell/icons/*.ico; do
  [ -f "/usr/share/nexoframe/icons/$(basename "$f")" ] || fail "menu picture $(basename "$f") is not installed"
done
if command -v desktop-file-validate >/dev/null; then
  desktop-file-validate /usr/share/applications/nexoframe.desktop || fail "the desktop entry is not valid"
fi
for f in /usr/bin/nexo-shell "$libs"/*.so; do
  if env -u LD_LIBRARY_PATH ldd "$f" | grep -q 'not found'; then ldd "$f" >&2; fail "$f lacks a library"; fi
  if readelf -d "$f" | grep -E 'RPATH|RUNPATH' | grep -qF "$build"; then fail "$f looks into the build tree"; fi
done
found=$(env -u LD_LIBRARY_PATH ldd /usr/bin/nexo-shell | awk '$1 == "libnexo_addin.so" { print $3 }')
[ "$(realpath -q "$found")" = "$(realpath "$libs")/libnexo_addin.so" ] || fail "the shell finds its own libraries in '$found'"
for id in 'NexoFrame.AuthUnits' 'QndReport.Report'; do
  grep -q "^$id\\\\library=$libs/lib" /etc/xdg/NexoFrame/classes.ini || fail "the system registry lacks $id"
done

# The installed shell, as a user who never ran it: a fresh home, nothing of the build's
# environment. It opens a panel of the module and saves the window's picture.
shell() {
  local home=$1; shift
  (cd "$work" && env -i PATH=/usr/local/bin:/usr/bin:/bin HOME="$home" LANG=C.UTF-8 QT_QPA_PLATFORM=offscreen \
    ${XDG_CONFIG_DIRS_FOR_RUN:+XDG_CONFIG_DIRS=$XDG_CONFIG_DIRS_FOR_RUN} nexo-shell "$@")
}
run_panel() {
  local home=$1 png=$2
  mkdir -p "$home"
  set +e
  shell "$home" --db "$work/demo.sqlite" --user admin --password admin --open NexoFrame.AuthUnits --mode 1 \
    --screenshot "$png" >>"$work/shell.log" 2>&1
  rc=$?
  set -e
}
check_picture() {
  [ -f "$1" ] || { cat "$work/shell.log" >&2; fail "no picture $1"; }
  [ "$(stat -c %s "$1")" -gt 20000 ] || fail "the picture $1 is nearly empty"
  file "$1" | grep -q 'PNG image data, 1200 x 800' || fail "the picture $1 is not the main window"
}

run_panel "$work/home" "$work/panel.png"
[ "$rc" -eq 0 ] || { cat "$work/shell.log" >&2; fail "the installed shell ended with $rc"; }
check_picture "$work/panel.png"
if [ -n "${NEXO_KEEP_OUTPUT:-}" ]; then mkdir -p "$NEXO_KEEP_OUTPUT" && cp "$work/panel.png" "$NEXO_KEEP_OUTPUT/installed_shell.png"; fi
# The system registry was enough: nothing was registered for the user.
[ ! -e "$work/home/.config/NexoFrame/classes.ini" ] || fail "the shell wrote a user registry beside the system's"

# Without the menu pictures the toolbar looks otherwise: the installed shell found them.
mv /usr/share/nexoframe/icons /usr/share/nexoframe/icons.away
run_panel "$work/home" "$work/bare.png"
mv /usr/share/nexoframe/icons.away /usr/share/nexoframe/icons
[ "$rc" -eq 0 ] || { cat "$work/shell.log" >&2; fail "the shell without pictures ended with $rc"; }
cmp -s "$work/panel.png" "$work/bare.png" && fail "the installed shell does not show its menu pictures"

# The user's file wins over the system's, ProgID by ProgID: a panel the user maps to a
# library that is not there does not open.
mkdir -p "$work/home2/.config/NexoFrame"
printf '[classes]\nNexoFrame.AuthUnits\\class=AuthUnits\nNexoFrame.AuthUnits\\library=%s\n' "$work/nincs/libNexoFrame.so" \
  >"$work/home2/.config/NexoFrame/classes.ini"
run_panel "$work/home2" "$work/refused.png"
[ "$rc" -eq 3 ] || { cat "$work/shell.log" >&2; fail "the user's registry did not win (exit $rc)"; }

# No system registry at all: the shell registers its installed module for the user.
XDG_CONFIG_DIRS_FOR_RUN="$work/no-system" run_panel "$work/home3" "$work/own.png"
[ "$rc" -eq 0 ] || { cat "$work/shell.log" >&2; fail "the shell did not register its module (exit $rc)"; }
check_picture "$work/own.png"
grep -q "^NexoFrame.AuthUnits\\\\library=$libs/libNexoFrame.so" "$work/home3/.config/NexoFrame/classes.ini" \
  || fail "the user registry does not name the installed module"

# Removed without a trace.
dpkg --purge nexoframe >"$work/purge.log" 2>&1 || { cat "$work/purge.log" >&2; fail "purge"; }
installed=
for f in /usr/bin/nexo-shell "$libs" /usr/share/nexoframe /etc/xdg/NexoFrame/classes.ini /usr/share/applications/nexoframe.desktop; do
  [ ! -e "$f" ] || fail "$f is left after removal"
done
echo "installed, ran and removed $(basename "$deb")"
