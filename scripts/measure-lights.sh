#!/usr/bin/env bash
# How quickly the light follows the film and what the running program costs,
# on a private virtual rig with a 4K movie screen over a full-HD light screen,
# on this machine's CPU alone (no GPU: the program draws with Qt Quick's
# software renderer, as it chooses to without one). Tarvelo runs with the
# settings a user gets (the HUD on, shown at launch), the lights started at
# launch and only the capture rate set:
#
#   latency  tarvelo-light-latency-probe flips the movie screen between two
#            colours and times the first change of the light, at 15, 30 and
#            60 fps: on a still screen (the capture is idle and takes the flip
#            at once) and with the film playing (a small square in the middle
#            keeps changing, so the flip waits for the capture's next slot);
#            "steps" is the median number of frames the light takes from the
#            old colour to the new one on a still screen (1 would be a jump,
#            not a glide)
#   moving   user + system time of tarvelo and of the X server while
#            tarvelo-screen-animator repaints the movie screen at 60 Hz, so
#            every frame captured at 30 fps is new; the X server's time for
#            the animation alone, measured first, is subtracted. Measured from
#            3 s after launch, so the HUD's first seconds and its fade count.
#            Each round's figure is printed after the median: on a virtual
#            machine one launch may cost clearly more than the next.
#   still    the same with nothing changing on the movie screen
#   rss      tarvelo's peak resident set (VmHWM) at the end of the moving run
#
# With --before DIR the same figures are measured for a second build, round
# by round in turn with this one, and printed side by side.
#
#   scripts/measure-lights.sh [--display :N] [--build DIR] [--before DIR]
#                             [--rounds N] [--seconds S] [--flips N]
set -euo pipefail

display=:88
build=build/release
before=
rounds=3
seconds=15
flips=60
usage="usage: $0 [--display :N] [--build DIR] [--before DIR] [--rounds N] [--seconds S] [--flips N]"
while [ $# -gt 0 ]; do
  [ $# -ge 2 ] || { echo "$usage" >&2; exit 2; }
  case "$1" in
    --display) display=$2 ;;
    --build) build=$2 ;;
    --before) before=$2 ;;
    --rounds) rounds=$2 ;;
    --seconds) seconds=$2 ;;
    --flips) flips=$2 ;;
    *) echo "$usage" >&2; exit 2 ;;
  esac
  shift 2
done

here=$(cd "$(dirname "$0")/.." && pwd)
probe=$build/bench/tarvelo-light-latency-probe
animator=$build/bench/tarvelo-screen-animator
builds=(after)
declare -A program=([after]=$build/src/app/tarvelo)
if [ -n "$before" ]; then
  builds=(before after)
  program[before]=$before/src/app/tarvelo
fi
for binary in "${program[@]}" "$probe" "$animator"; do
  [ -x "$binary" ] || { echo "measure: $binary is not built" >&2; exit 1; }
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
percent() { echo "$1 $2" | awk -v s="$seconds" '{ print ($2 - $1) / s / 10 }'; }
median() { sort -g | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }
record() { echo "$3" >> "$work/$1.$2"; }  # build, figure, value
figure() { if [ -s "$work/$1.$2" ]; then median < "$work/$1.$2"; else echo nan; fi; }

start_tarvelo() {  # build, capture rate
  export XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/runtime
  rm -rf "$XDG_CONFIG_HOME"
  mkdir -p "$XDG_CONFIG_HOME/Tarvelo"
  mkdir -p -m 0700 "$XDG_RUNTIME_DIR"
  printf '[General]\ntarvelo.autoStartOnLaunch=true\ntarvelo.captureRate=%s\n' "$2" \
    > "$XDG_CONFIG_HOME/Tarvelo/Tarvelo.conf"
  "${program[$1]}" > "$work/tarvelo.log" 2>&1 &
  tarvelo_pid=$!
  pids+=("$tarvelo_pid")
  sleep 3
}

stop_pid() { kill "$1" 2> /dev/null || true; wait "$1" 2> /dev/null || true; }

for round in $(seq "$rounds"); do
  echo "round $round of $rounds" >&2
  for rate in 15 30 60; do
    for name in "${builds[@]}"; do
      start_tarvelo "$name" "$rate"
      for film in still playing; do
        option=
        [ "$film" = playing ] && option=--playing
        summary=$("$probe" --flips "$flips" --interval-ms 300 $option | tail -1)
        # "p50 A ms, p95 B ms, max C ms, glide steps D, misses E of F"
        read -r p50 p95 max steps misses <<< "$(echo "$summary" | awk '{ print $2, $5, $8, $12, $14 }')"
        record "$name" "p50_${film}_$rate" "$p50"
        record "$name" "p95_${film}_$rate" "$p95"
        record "$name" "max_${film}_$rate" "$max"
        record "$name" "steps_${film}_$rate" "${steps%,}"
        record "$name" "misses_${film}_$rate" "$misses"
      done
      stop_pid "$tarvelo_pid"
    done
  done

  "$animator" --rate 60 > /dev/null 2>&1 &
  animator_pid=$!
  pids+=("$animator_pid")
  sleep 2
  x0=$(cpu_ms "$xorg_pid"); sleep "$seconds"; x1=$(cpu_ms "$xorg_pid")
  animation_alone=$(percent "$x0" "$x1")
  for name in "${builds[@]}"; do
    start_tarvelo "$name" 30
    t0=$(cpu_ms "$tarvelo_pid"); x0=$(cpu_ms "$xorg_pid"); sleep "$seconds"
    t1=$(cpu_ms "$tarvelo_pid"); x1=$(cpu_ms "$xorg_pid")
    record "$name" moving_tarvelo "$(percent "$t0" "$t1")"
    record "$name" moving_server "$(echo "$(percent "$x0" "$x1") $animation_alone" | awk '{ print $1 - $2 }')"
    record "$name" rss "$(awk '/VmHWM/ { print $2 / 1024 }' "/proc/$tarvelo_pid/status")"
    stop_pid "$tarvelo_pid"
  done
  stop_pid "$animator_pid"

  sleep 1
  x0=$(cpu_ms "$xorg_pid"); sleep "$seconds"; x1=$(cpu_ms "$xorg_pid")
  idle_server=$(percent "$x0" "$x1")
  for name in "${builds[@]}"; do
    start_tarvelo "$name" 30
    sleep 3  # the HUD fades 4.5 s after launch: a still screen is measured after it
    t0=$(cpu_ms "$tarvelo_pid"); x0=$(cpu_ms "$xorg_pid"); sleep "$seconds"
    t1=$(cpu_ms "$tarvelo_pid"); x1=$(cpu_ms "$xorg_pid")
    record "$name" still_tarvelo "$(percent "$t0" "$t1")"
    record "$name" still_server "$(echo "$(percent "$x0" "$x1") $idle_server" | awk '{ print $1 - $2 }')"
    stop_pid "$tarvelo_pid"
  done
done

row() {  # label, then a command printing one build's figure
  local label=$1
  shift
  printf '%-52s' "$label"
  for name in "${builds[@]}"; do printf ' %22s' "$("$@" "$name")"; done
  printf '\n'
}
latency() { printf '%.1f / %.1f / %.1f' "$(figure "$3" "p50_$1")" "$(figure "$3" "p95_$1")" "$(figure "$3" "max_$1")"; }
intervals() {  # p95 and max in capture intervals
  echo "$(figure "$3" "p95_$1") $(figure "$3" "max_$1") $2" | awk '{ printf "%.2f / %.2f", $1 * $3 / 1000, $2 * $3 / 1000 }'
}
steps() { printf '%s (misses %s)' "$(figure "$2" "steps_$1")" "$(figure "$2" "misses_$1")"; }
whole() { echo "$(figure "$2" "${1}_tarvelo") $(figure "$2" "${1}_server")" | awk '{ printf "%.1f = %.1f + %.1f", $1 + $2, $1, $2 }'; }
rss() { printf '%.0f' "$(figure "$1" rss)"; }
each_round() {  # the whole program's figure of every round, in order
  paste -d ' ' "$work/$2.${1}_tarvelo" "$work/$2.${1}_server" | awk '{ printf "%s%.1f", (NR > 1 ? " " : ""), $1 + $2 }'
}

echo
echo "Medians of $rounds rounds; CPU over ${seconds}s windows, in % of one core; latency over $flips flips."
printf '%-52s' ""
for name in "${builds[@]}"; do printf ' %22s' "$name"; done
printf '\n'
for rate in 15 30 60; do
  for film in still playing; do
    row "latency at $rate fps, $film: p50 / p95 / max (ms)" latency "${film}_$rate" "$rate"
    row "  p95 / max in capture intervals" intervals "${film}_$rate" "$rate"
    # With the film playing, smoothing moves the light on at every capture:
    # its steps are no longer one glide's.
    if [ "$film" = still ]; then row "  glide steps" steps "${film}_$rate"; fi
  done
done
row "whole program, moving: tarvelo + X server" whole moving
row "  each round" each_round moving
row "whole program, still: tarvelo + X server" whole still
row "peak RSS of tarvelo (MiB)" rss
