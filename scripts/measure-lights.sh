#!/usr/bin/env bash
# What the running program costs and how quickly the light follows the film,
# on a private virtual rig with a 4K movie screen over a full-HD light screen,
# on this machine's CPU alone (no GPU: the program draws with Qt Quick's
# software renderer, as it chooses to without one):
#
#   latency  tarvelo-light-latency-probe flips the movie screen between two
#            colours and times the first change of the light (capture at 60 fps)
#   cpu      user + system time of tarvelo and of the X server while
#            tarvelo-screen-animator keeps the movie screen changing at 60 Hz
#            (capture at 30 fps); the X server's share of the animation alone,
#            measured first, is subtracted
#   rss      tarvelo's peak resident set (VmHWM) at the end of the cpu run
#
#   scripts/measure-lights.sh [--display :N] [--build DIR] [--rounds N] [--seconds S]
set -euo pipefail

display=:88
build=build/release
rounds=3
seconds=15
while [ $# -gt 0 ]; do
  case "$1" in
    --display) display=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --rounds) rounds=$2; shift 2 ;;
    --seconds) seconds=$2; shift 2 ;;
    *) echo "usage: $0 [--display :N] [--build DIR] [--rounds N] [--seconds S]" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")/.." && pwd)
tarvelo=$build/src/app/tarvelo
probe=$build/bench/tarvelo-light-latency-probe
animator=$build/bench/tarvelo-screen-animator
for program in "$tarvelo" "$probe" "$animator"; do
  [ -x "$program" ] || { echo "measure: $program is not built" >&2; exit 1; }
done

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2> /dev/null || true; done
  wait 2> /dev/null || true
  "$here/scripts/virtual-displays.sh" stop "$display" || true
  rm -rf "$work"
}
trap cleanup EXIT

"$here/scripts/virtual-displays.sh" start "$display" 4k-over-hd > /dev/null
xorg_pid=$(cat "${TMPDIR:-/tmp}/tarvelo-virtual-displays/${display#:}/pid")
export DISPLAY=$display QT_QPA_PLATFORM=xcb LIBGL_ALWAYS_SOFTWARE=1
export DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent

cpu_ms() {  # pid → user + system milliseconds so far
  awk -v hz="$(getconf CLK_TCK)" '{ sub(/^.*\) /, ""); print ($12 + $13) * 1000 / hz }' "/proc/$1/stat"
}
median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

start_tarvelo() {  # capture rate
  export XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/runtime
  mkdir -p "$XDG_CONFIG_HOME/Tarvelo"
  mkdir -p -m 0700 "$XDG_RUNTIME_DIR"
  printf '[General]\ntarvelo.autoStartOnLaunch=true\ntarvelo.showFloatingHUD=false\ntarvelo.captureRate=%s\n' "$1" \
    > "$XDG_CONFIG_HOME/Tarvelo/Tarvelo.conf"
  "$tarvelo" > "$work/tarvelo.log" 2>&1 &
  tarvelo_pid=$!
  pids+=("$tarvelo_pid")
  sleep 3
}

stop_pid() { kill "$1" 2> /dev/null || true; wait "$1" 2> /dev/null || true; }

echo "latency: change on the movie screen to the first change of the light, capture at 60 fps"
start_tarvelo 60
"$probe" --flips 60 --interval-ms 300 | tail -1
stop_pid "$tarvelo_pid"

echo
echo "cpu: 4K movie screen changing at 60 Hz, capture at 30 fps, no GPU; medians of $rounds rounds of ${seconds}s"
for round in $(seq "$rounds"); do
  "$animator" --rate 60 > /dev/null 2>&1 &
  animator_pid=$!
  pids+=("$animator_pid")
  sleep 2
  x0=$(cpu_ms "$xorg_pid"); sleep "$seconds"; x1=$(cpu_ms "$xorg_pid")
  echo "$x0 $x1" | awk -v s="$seconds" '{ print ($2 - $1) / s / 10 }' >> "$work/baseline"

  start_tarvelo 30
  t0=$(cpu_ms "$tarvelo_pid"); x0=$(cpu_ms "$xorg_pid"); sleep "$seconds"
  t1=$(cpu_ms "$tarvelo_pid"); x1=$(cpu_ms "$xorg_pid")
  echo "$t0 $t1" | awk -v s="$seconds" '{ print ($2 - $1) / s / 10 }' >> "$work/tarvelo"
  echo "$x0 $x1" | awk -v s="$seconds" '{ print ($2 - $1) / s / 10 }' >> "$work/xorg"
  awk '/VmHWM/ { print $2 / 1024 }' "/proc/$tarvelo_pid/status" >> "$work/rss"
  stop_pid "$tarvelo_pid"
  stop_pid "$animator_pid"
done
baseline=$(median < "$work/baseline")
program=$(median < "$work/tarvelo")
server=$(median < "$work/xorg")
printf 'tarvelo %.1f %%, X server %.1f %% (of which the animation alone %.1f %%)\n' "$program" "$server" "$baseline"
printf 'whole program (tarvelo + its share of the X server): %.1f %% of one core\n' \
  "$(echo "$program $server $baseline" | awk '{ print $1 + $2 - $3 }')"
printf 'peak RSS of tarvelo: %.0f MiB\n' "$(median < "$work/rss")"
