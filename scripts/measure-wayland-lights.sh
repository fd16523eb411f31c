#!/usr/bin/env bash
# What the running program costs on a Wayland session, on the headless rig of
# scripts/virtual-wayland.sh (a 4K HEADLESS-1 over a full-HD HEADLESS-2, no
# GPU): Tarvelo, started with --start at the default capture rate (30 fps),
# captures HEADLESS-1 through the screen-cast portal and PipeWire and lights
# HEADLESS-2.
#
#   moving     user + system time of tarvelo and of the desktop's side of the
#              capture (sway, which copies the screen for the portal;
#              xdg-desktop-portal-wlr, which asks for the copies and hands them
#              on; PipeWire and WirePlumber) while tarvelo-wayland-light-bench
#              changes HEADLESS-1's colour 60 times a second, so every frame
#              captured at 30 fps is new. The desktop's time for that animation
#              alone, measured first, is subtracted.
#   per frame  the moving CPU of each side divided by the frames the capture
#              took (tarvelo --verbose counts them)
#   still      the same with nothing changing on HEADLESS-1
#   rss        tarvelo's peak resident set (VmHWM) at the end of the moving run
#
#   scripts/measure-wayland-lights.sh [--rig NAME] [--build DIR] [--rounds N] [--seconds S]
set -euo pipefail

rig_name=tarvelo-measure
build=build/release
rounds=3
seconds=20
usage="usage: $0 [--rig NAME] [--build DIR] [--rounds N] [--seconds S]"
while [ $# -gt 0 ]; do
  [ $# -ge 2 ] || { echo "$usage" >&2; exit 2; }
  case "$1" in
    --rig) rig_name=$2 ;;
    --build) build=$2 ;;
    --rounds) rounds=$2 ;;
    --seconds) seconds=$2 ;;
    *) echo "$usage" >&2; exit 2 ;;
  esac
  shift 2
done

here=$(cd "$(dirname "$0")/.." && pwd)
rig=$here/scripts/virtual-wayland.sh
tarvelo=$(realpath "$build/src/app/tarvelo")
animator=$(realpath "$build/tools/tarvelo-wayland-light-bench")
for binary in "$tarvelo" "$animator"; do
  [ -x "$binary" ] || { echo "measure: $binary is not built" >&2; exit 1; }
done

work=$(mktemp -d)
chmod 0755 "$work"  # the rig's user writes the program's log here
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2> /dev/null || true; done
  wait 2> /dev/null || true
  "$rig" stop "$rig_name" > /dev/null 2>&1 || true
  rm -rf "$work"
}
trap cleanup EXIT

"$rig" start "$rig_name" > /dev/null
rig_dir=/tmp/tarvelo-virtual-wayland/$rig_name
desktop_pids=()
for part in sway portal-wlr pipewire wireplumber; do desktop_pids+=("$(cat "$rig_dir/$part.pid")"); done

cpu_ms() {  # pid → user + system milliseconds so far
  awk -v hz="$(getconf CLK_TCK)" '{ sub(/^.*\) /, ""); print ($12 + $13) * 1000 / hz }' "/proc/$1/stat"
}
desktop_ms() { local sum=0 pid; for pid in "${desktop_pids[@]}"; do sum=$(echo "$sum $(cpu_ms "$pid")" | awk '{ print $1 + $2 }'); done; echo "$sum"; }
percent() { echo "$1 $2" | awk -v s="$seconds" '{ print ($2 - $1) / s / 10 }'; }
median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
record() { echo "$2" >> "$work/$1"; }  # figure, value
figure() { if [ -s "$work/$1" ]; then median < "$work/$1"; else echo nan; fi; }

stop_pid() { kill "$1" 2> /dev/null || true; wait "$1" 2> /dev/null || true; }

start_tarvelo() {
  : > "$work/tarvelo.log"
  chmod 0666 "$work/tarvelo.log"
  # Run as the rig's user, the script execs the program, so $! is the program.
  "$rig" run "$rig_name" "$tarvelo" --start --verbose > "$work/tarvelo.log" 2>&1 &
  tarvelo_pid=$!
  pids+=("$tarvelo_pid")
  sleep 4
}

animate() {  # seconds
  "$rig" run "$rig_name" "$animator" --output HEADLESS-1 --rate 60 --seconds "$1" > /dev/null 2>&1 &
  animator_pid=$!
  pids+=("$animator_pid")
  sleep 2
}

# The frames the capture took in the measured window, from --verbose's
# "[Tarvelo] 29.9 frames/s captured, …" lines (one per 10 s).
captured_frames() {
  grep -o '[0-9.]* frames/s captured' "$work/tarvelo.log" | awk '{ print $1 }' | median |
    awk -v s="$seconds" '{ print $1 * s }'
}

for round in $(seq "$rounds"); do
  echo "round $round of $rounds" >&2
  animate $((seconds + 4))
  d0=$(desktop_ms); sleep "$seconds"; d1=$(desktop_ms)
  animation_alone=$(percent "$d0" "$d1")
  stop_pid "$animator_pid"

  start_tarvelo
  animate $((seconds + 4))
  t0=$(cpu_ms "$tarvelo_pid"); d0=$(desktop_ms); sleep "$seconds"
  t1=$(cpu_ms "$tarvelo_pid"); d1=$(desktop_ms)
  tarvelo_percent=$(percent "$t0" "$t1")
  desktop_percent=$(echo "$(percent "$d0" "$d1") $animation_alone" | awk '{ print $1 - $2 }')
  record moving_tarvelo "$tarvelo_percent"
  record moving_desktop "$desktop_percent"
  record rss "$(awk '/VmHWM/ { print $2 / 1024 }' "/proc/$tarvelo_pid/status")"
  stop_pid "$animator_pid"
  frames=$(captured_frames)
  record frames_per_second "$(echo "$frames" | awk -v s="$seconds" '{ print $1 / s }')"
  record tarvelo_ms_per_frame "$(echo "$tarvelo_percent $frames" | awk -v s="$seconds" '{ print $1 * s * 10 / $2 }')"
  record desktop_ms_per_frame "$(echo "$desktop_percent $frames" | awk -v s="$seconds" '{ print $1 * s * 10 / $2 }')"

  sleep 2
  t0=$(cpu_ms "$tarvelo_pid"); d0=$(desktop_ms); sleep "$seconds"
  t1=$(cpu_ms "$tarvelo_pid"); d1=$(desktop_ms)
  record still_tarvelo "$(percent "$t0" "$t1")"
  record still_desktop "$(percent "$d0" "$d1")"
  stop_pid "$tarvelo_pid"
done

echo
echo "Medians of $rounds rounds; CPU over ${seconds}s windows, in % of one core."
printf '%-58s %s\n' "frames captured per second, moving" "$(figure frames_per_second)"
for state in moving still; do
  echo "$(figure "${state}_tarvelo") $(figure "${state}_desktop")" |
    awk -v label="whole program, $state: tarvelo + desktop" '{ printf "%-58s %.1f = %.1f + %.1f\n", label, $1 + $2, $1, $2 }'
done
echo "$(figure tarvelo_ms_per_frame) $(figure desktop_ms_per_frame)" |
  awk '{ printf "%-58s %.2f = %.2f + %.2f\n", "CPU per captured frame (ms): tarvelo + desktop", $1 + $2, $1, $2 }'
printf '%-58s %.0f\n' "peak RSS of tarvelo (MiB)" "$(figure rss)"
