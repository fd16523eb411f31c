#!/usr/bin/env bash
# Time from `tarvelo --toggle` to the light on, with an instance already
# running, on a private virtual rig: the film plays a solid colour on the movie
# screen, and the clock stops when tarvelo-screenshot first reads the light
# screen's centre as lit.
#
#   scripts/measure-toggle.sh [--display :N] [--build DIR] [--rounds N]
set -euo pipefail

display=:89
build=build/release
rounds=5
while [ $# -gt 0 ]; do
  case "$1" in
    --display) display=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --rounds) rounds=$2; shift 2 ;;
    *) echo "usage: $0 [--display :N] [--build DIR] [--rounds N]" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")/.." && pwd)
tarvelo=$build/src/app/tarvelo
film=$build/tools/tarvelo-test-film
shot=$build/tools/tarvelo-screenshot
for program in "$tarvelo" "$film" "$shot"; do
  [ -x "$program" ] || { echo "measure: $program is not built" >&2; exit 1; }
done

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  wait 2>/dev/null || true
  "$here/scripts/virtual-displays.sh" stop "$display" > /dev/null
  rm -rf "$work"
}
trap cleanup EXIT

"$here/scripts/virtual-displays.sh" start "$display" stacked > /dev/null
export DISPLAY=$display QT_QPA_PLATFORM=xcb
export XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/runtime
mkdir -p "$XDG_CONFIG_HOME/Tarvelo"
mkdir -p -m 0700 "$XDG_RUNTIME_DIR"
printf '[General]\ntarvelo.showFloatingHUD=false\n' > "$XDG_CONFIG_HOME/Tarvelo/Tarvelo.conf"

"$film" --output DUMMY0 solid:ff8000 2> "$work/film.log" &
pids+=($!)
"$tarvelo" > "$work/tarvelo.log" 2>&1 &
pids+=($!)
until [ -S "$XDG_RUNTIME_DIR/com.tarvelo.Tarvelo/instance.socket" ]; do sleep 0.1; done

# The light screen sits below the movie screen; its geometry comes from xrandr.
geometry=$(xrandr --query | awk '/^DUMMY1 connected/ { for (i = 3; i <= NF; i++) if ($i ~ /^[0-9]+x[0-9]+\+/) { print $i; exit } }')
IFS='x+' read -r width height left top <<< "$geometry"
centre_x=$((left + width / 2 - 8)) centre_y=$((top + height / 2 - 8))

# Lit: the light screen's centre no longer reads as the same bytes as the
# dark screen did before the first start.
lit() {
  "$shot" "$work/centre.png" "$centre_x" "$centre_y" 16 16 > /dev/null 2>&1 || return 1
  ! cmp -s "$work/centre.png" "$work/black.png"
}
"$shot" "$work/black.png" "$centre_x" "$centre_y" 16 16 > /dev/null

for _ in $(seq "$rounds"); do
  start=$(date +%s.%N)
  "$tarvelo" --toggle
  until lit; do :; done
  end=$(date +%s.%N)
  echo "$start $end" | awk '{ printf "%.0f\n", ($2 - $1) * 1000 }' >> "$work/times"
  "$tarvelo" --toggle
  until ! lit; do sleep 0.05; done
  sleep 0.5
done
sort -n "$work/times" | awk '{ v[NR] = $1 } END { printf "toggle to light on: median %d ms over %d rounds (min %d, max %d)\n", (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2, NR, v[1], v[NR] }'
