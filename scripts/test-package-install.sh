#!/usr/bin/env bash
# Installs the Debian package with dpkg, checks the installed program the way
# the desktop finds it, and removes the package again, also when a check fails.
#
#   scripts/test-package-install.sh PACKAGE.deb VERSION
#
# Exits 77 (skipped) when not run as root, or when a tarvelo package is
# already installed, which this test must not touch.
set -euo pipefail

package=$1
version=$2
application_id=com.tarvelo.Tarvelo

if [ "$(id -u)" -ne 0 ]; then
  echo "SKIPPED: installing a package needs root; run the tests as root to check the install"
  exit 77
fi
if dpkg-query -W -f='${Status}' tarvelo 2>/dev/null | grep -q "install ok installed"; then
  echo "SKIPPED: a tarvelo package is already installed on this machine; this test leaves it alone"
  exit 77
fi

fail() { echo "FAILED: $*" >&2; exit 1; }
remove() { dpkg --purge tarvelo > /dev/null 2>&1 || true; }
trap remove EXIT

dpkg -i "$package" > /dev/null || fail "dpkg -i $package"
installed_files=$(dpkg -L tarvelo)

[ "$(command -v tarvelo)" = /usr/bin/tarvelo ] || fail "tarvelo is not on PATH as /usr/bin/tarvelo"
[ "$(tarvelo --version)" = "Tarvelo $version" ] || fail "tarvelo --version printed '$(tarvelo --version)'"

entry=/usr/share/applications/$application_id.desktop
[ -f "$entry" ] || fail "no desktop entry at $entry"
while read -r exec_line; do
  program=${exec_line#Exec=}
  program=${program%% *}
  command -v "$program" > /dev/null || fail "the desktop entry's $exec_line does not resolve"
done < <(grep '^Exec=' "$entry")
for icon in /usr/share/icons/hicolor/scalable/apps/$application_id.svg \
            /usr/share/icons/hicolor/48x48/apps/$application_id.png \
            /usr/share/metainfo/$application_id.metainfo.xml \
            /usr/share/man/man1/tarvelo.1.gz; do
  [ -f "$icon" ] || fail "$icon is not installed"
done

dpkg --purge tarvelo > /dev/null || fail "dpkg --purge tarvelo"
trap - EXIT
dpkg-query -W tarvelo > /dev/null 2>&1 && fail "the package is still known to dpkg after removal"
while read -r path; do
  [ -d "$path" ] && continue
  [ -e "$path" ] && fail "$path is left behind after removal"
done <<< "$installed_files"
echo "installed, checked and removed cleanly"
