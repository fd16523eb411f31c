#!/usr/bin/env bash
# Runs Tarvelo. On a desktop session it simply starts the program. Without a
# display it shows what the program does on the virtual two-display rig: a 4K
# movie screen over a full-HD light screen, the test film playing on top, the
# lights started, and after a few seconds a screenshot of both screens.
#
#   scripts/run.sh BUILD_DIR
set -euo pipefail

build=${1:-build/release}
tarvelo=$build/src/app/tarvelo
[ -x "$tarvelo" ] || { echo "run: $tarvelo is not built" >&2; exit 1; }

if [ -n "${DISPLAY:-}" ]; then
  exec "$tarvelo"
fi

here=$(cd "$(dirname "$0")" && pwd)
display=:77
demo=$(mktemp -d "${TMPDIR:-/tmp}/tarvelo-demo.XXXXXX")
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  "$here/virtual-displays.sh" stop "$display"
}
trap cleanup EXIT

echo "No display: starting the virtual rig on $display (4K movie screen over a full-HD light screen)."
"$here/virtual-displays.sh" start "$display" 4k-over-hd > /dev/null
export DISPLAY=$display QT_QPA_PLATFORM=xcb

"$build/tools/tarvelo-test-film" --output DUMMY0 moving 2> "$demo/film.log" &
pids+=($!)

# A settings file of the demo's own: the lights start by themselves at launch,
# and the user's real settings are not touched.
export XDG_CONFIG_HOME=$demo/config
# Its own instance channel too, so a Tarvelo the user runs is not the one that answers.
export XDG_RUNTIME_DIR=$demo/runtime
mkdir -p -m 0700 "$XDG_RUNTIME_DIR"
mkdir -p "$XDG_CONFIG_HOME/Tarvelo"
printf '[General]\ntarvelo.autoStartOnLaunch=true\n' > "$XDG_CONFIG_HOME/Tarvelo/Tarvelo.conf"
"$tarvelo" > "$demo/tarvelo.log" 2>&1 &
pids+=($!)

sleep 6
shot=$demo/tarvelo-demo.png
"$build/tools/tarvelo-screenshot" "$shot"
echo "Screenshot of both screens (movie screen on top, light screen below): $shot"
