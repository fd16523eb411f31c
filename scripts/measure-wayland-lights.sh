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
#   rss        tarvelo's peak resident set (VmHWM) at the end of the moving run,
#              and what its resident set is made of then: its own memory
#              (RssAnon), files mapped (RssFile: libraries, fonts) and shared
#              memory (RssShmem: the pages it read of the compositor's frames)
#   latency    tarvelo-wayland-light-latency-probe flips HEADLESS-1 between two
#              colours (a layer surface above everything there) and times the
#              first change of the light at HEADLESS-2's top edge, which it
#              watches through a screen cast of its own (the rig's share
#              dialog is told to share HEADLESS-2 for it). That cast adds its
#              own delay, measured first by flipping HEADLESS-2 itself with
#              tarvelo not running; the light's latency is the difference of
#              the medians.
#
#   scripts/measure-wayland-lights.sh [--rig NAME] [--build DIR] [--rounds N] [--seconds S] [--flips N]
set -euo pipefail

rig_name=tarvelo-measure
build=build/release
rounds=3
seconds=20
flips=20
usage="usage: $0 [--rig NAME] [--build DIR] [--rounds N] [--seconds S] [--flips N]"
while [ $# -gt 0 ]; do
  [ $# -ge 2 ] || { echo "$usage" >&2; exit 2; }
  case "$1" in
    --rig) rig_name=$2 ;;
    --build) build=$2 ;;
    --rounds) rounds=$2 ;;
    --seconds) seconds=$2 ;;
    --flips) flips=$2 ;;
    *) echo "$usage" >&2; exit 2 ;;
  esac
  shift 2
done

here=$(cd "$(dirname "$0")/.." && pwd)
rig=$here/scripts/virtual-wayland.sh
tarvelo=$(realpath "$build/src/app/tarvelo")
animator=$(realpath "$build/tools/tarvelo-wayland-light-bench")
probe=$(realpath "$build/bench/tarvelo-wayland-light-latency-probe")
for binary in "$tarvelo" "$animator" "$probe"; do
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
  for kind in RssAnon RssFile RssShmem; do
    record "$kind" "$(awk -v k="$kind:" '$1 == k { print $2 / 1024 }' "/proc/$tarvelo_pid/status")"
  done
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

  # The watching cast's own delay, with nothing over HEADLESS-2, then the
  # light's through it. Tarvelo's own share is restored from its grant.
  "$rig" answer "$rig_name" HEADLESS-2
  "$rig" run "$rig_name" "$probe" --flip HEADLESS-2 --flips "$flips" > "$work/cast.out" 2> /dev/null || true
  record cast_p50 "$(awk '/^p50/ { print $2 }' "$work/cast.out")"
  "$rig" answer "$rig_name" share
  start_tarvelo
  "$rig" answer "$rig_name" HEADLESS-2
  "$rig" run "$rig_name" "$probe" --flip HEADLESS-1 --flips "$flips" > "$work/light.out" 2> /dev/null || true
  "$rig" answer "$rig_name" share
  record light_p50 "$(awk '/^p50/ { print $2 }' "$work/light.out")"
  record light_p95 "$(awk '/^p50/ { print $4 }' "$work/light.out")"
  record light_max "$(awk '/^p50/ { print $6 }' "$work/light.out")"
  record light_misses "$(awk '/^p50/ { print $8 }' "$work/light.out")"
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
printf '%-58s %.0f / %.0f / %.0f\n' "  at the end: own memory / files mapped / the desktop's" \
  "$(figure RssAnon)" "$(figure RssFile)" "$(figure RssShmem)"
printf '%-58s %.1f / %.1f / %.1f (%s missed)\n' "latency through a second cast: p50 / p95 / max (ms)" \
  "$(figure light_p50)" "$(figure light_p95)" "$(figure light_max)" "$(figure light_misses)"
printf '%-58s %.1f\n' "that cast's own delay: p50 (ms)" "$(figure cast_p50)"
echo "$(figure light_p50) $(figure cast_p50)" |
  awk '{ printf "%-58s %.1f\n", "latency of the light: p50 less the cast'"'"'s (ms)", $1 - $2 }'
