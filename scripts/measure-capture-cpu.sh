#!/usr/bin/env bash
# What Tarvelo's X11 screen capture costs, side by side with ffmpeg's x11grab
# doing the same job (the whole 4K top output scaled to 160 x 100 BGRA), on a
# private virtual rig in the 4k-over-hd layout, in one run:
#
#   moving  tarvelo-screen-animator repaints a block in the middle of the top
#           output (a quarter of its width and height) at 60 Hz, painting its
#           clock into it as the colour (for the latency figures)
#   still   nothing changes on the screen
#
# CPU is user + system time from /proc/<pid>/stat of the capturing process and
# of the X server over the same window. The X server's own share of the
# animation (measured with no capture running) is subtracted to give the net
# figure. Each configuration runs once per round; the table shows medians.
#
#   scripts/measure-capture-cpu.sh [--display :N] [--build DIR] [--rounds N]
#                                  [--seconds S] [--warmup S] [--fps N]
set -euo pipefail

display=:89
build=build/release
rounds=3
seconds=10
warmup=2
fps=60
while [ $# -gt 0 ]; do
  case "$1" in
    --display) display=$2; shift 2 ;;
    --build) build=$2; shift 2 ;;
    --rounds) rounds=$2; shift 2 ;;
    --seconds) seconds=$2; shift 2 ;;
    --warmup) warmup=$2; shift 2 ;;
    --fps) fps=$2; shift 2 ;;
    *) echo "usage: $0 [--display :N] [--build DIR] [--rounds N] [--seconds S] [--warmup S] [--fps N]" >&2; exit 2 ;;
  esac
done

here=$(cd "$(dirname "$0")/.." && pwd)
probe=$build/bench/tarvelo-capture-probe
animator=$build/bench/tarvelo-screen-animator
for program in "$probe" "$animator"; do
  [ -x "$program" ] || { echo "measure: $program is not built (cmake --build $build --target $(basename "$program"))" >&2; exit 1; }
done
command -v ffmpeg > /dev/null || { echo "measure: ffmpeg is missing (apt-get install ffmpeg; only this measurement needs it)" >&2; exit 1; }

work=$(mktemp -d)
animator_pid=
cleanup() {
  [ -n "$animator_pid" ] && kill "$animator_pid" 2> /dev/null || true
  "$here/scripts/virtual-displays.sh" stop "$display" || true
  rm -rf "$work"
}
trap cleanup EXIT

"$here/scripts/virtual-displays.sh" start "$display" 4k-over-hd > /dev/null
xorg_pid=$(cat "${TMPDIR:-/tmp}/tarvelo-virtual-displays/${display#:}/pid")
export DISPLAY=$display

cpu_ms() {  # pid → user + system milliseconds so far
  awk -v hz="$(getconf CLK_TCK)" '{ sub(/^.*\) /, ""); print ($12 + $13) * 1000 / hz }' "/proc/$1/stat"
}

start_animator() {
  "$animator" --display "$display" --rate 60 --block 0.25 & animator_pid=$!
  sleep 1
}
stop_animator() {
  kill "$animator_pid"; wait "$animator_pid" 2> /dev/null || true; animator_pid=
}

# The X server alone over the window: what the animation costs it without capture.
measure_baseline() {  # scene
  local before after
  before=$(cpu_ms "$xorg_pid"); sleep "$seconds"; after=$(cpu_ms "$xorg_pid")
  echo "$1 baseline xorg_cpu_ms=$(awk -v a="$after" -v b="$before" 'BEGIN { print a - b }')" >> "$work/results"
}

measure_tarvelo() {  # scene
  local line
  line=$("$probe" --display "$display" --output top --fps "$fps" --warmup "$warmup" --seconds "$seconds" --xorg-pid "$xorg_pid")
  echo "$1 tarvelo $line" >> "$work/results"
}

measure_ffmpeg() {  # scene
  local pid progress="$work/progress" before_self before_xorg after_self after_xorg begin end frames_before frames_after
  rm -f "$progress"
  ffmpeg -nostdin -loglevel error -progress "$progress" \
         -f x11grab -framerate "$fps" -video_size 3840x2160 -i "$display+0,0" \
         -vf scale=160:100 -pix_fmt bgra -f rawvideo -y /dev/null & pid=$!
  sleep "$warmup"
  # Frames grabbed = frames written − duplicates + drops (rawvideo is written at
  # a constant rate, so a slow grab shows up as duplicates).
  grabbed() { awk -F= '/^frame=/ { f = $2 } /^dup_frames=/ { d = $2 } /^drop_frames=/ { r = $2 } END { print f - d + r }' "$progress"; }
  frames_before=$(grabbed); before_self=$(cpu_ms "$pid"); before_xorg=$(cpu_ms "$xorg_pid"); begin=$(date +%s.%N)
  sleep "$seconds"
  frames_after=$(grabbed); after_self=$(cpu_ms "$pid"); after_xorg=$(cpu_ms "$xorg_pid"); end=$(date +%s.%N)
  kill -INT "$pid"; wait "$pid" 2> /dev/null || true
  echo "$1 ffmpeg seconds=$(awk -v a="$end" -v b="$begin" 'BEGIN { print a - b }')" \
       "frames=$((frames_after - frames_before))" \
       "cpu_ms=$(awk -v a="$after_self" -v b="$before_self" 'BEGIN { print a - b }')" \
       "xorg_cpu_ms=$(awk -v a="$after_xorg" -v b="$before_xorg" 'BEGIN { print a - b }')" >> "$work/results"
}

for round in $(seq "$rounds"); do
  echo "round $round of $rounds ..." >&2
  start_animator
  measure_baseline moving; measure_tarvelo moving; measure_ffmpeg moving
  stop_animator
  measure_baseline still; measure_tarvelo still; measure_ffmpeg still
done

# Medians per scene and program, then the table.
awk -v fps="$fps" '
  function field(name,   i, kv) { for (i = 3; i <= NF; i++) { split($i, kv, "="); if (kv[1] == name) return kv[2] } return "" }
  function median(list,   n, a, i, j, t) {
    n = split(list, a, " "); for (i = 1; i <= n; i++) for (j = i + 1; j <= n; j++) if (a[j] + 0 < a[i] + 0) { t = a[i]; a[i] = a[j]; a[j] = t }
    return n == 0 ? 0 : (n % 2 ? a[(n + 1) / 2] : (a[n / 2] + a[n / 2 + 1]) / 2)
  }
  $2 == "baseline" { base[$1] = base[$1] " " field("xorg_cpu_ms") / 1; next }
  {
    key = $1 " " $2
    s = field("seconds"); f = field("frames"); p = field("cpu_ms"); x = field("xorg_cpu_ms")
    rate[key] = rate[key] " " f / s
    proc_s[key] = proc_s[key] " " p / s; xorg_s[key] = xorg_s[key] " " x / s
    if (field("latency_samples") > 0) { p50[key] = p50[key] " " field("latency_p50_ms"); p95[key] = p95[key] " " field("latency_p95_ms") }
  }
  END {
    for (scene in base) base_rate[scene] = median(base[scene]) / '"$seconds"'
    printf "capture of the 4K top output at %d fps, medians of %s rounds of %s s\n\n", fps, '"$rounds"', '"$seconds"'
    printf "%-16s %9s %14s %14s %14s %16s %12s %12s\n", "", "frames/s", "process ms/s", "X server ms/s", "ms/frame", "net ms/frame", "latency p50", "latency p95"
    split("moving tarvelo|moving ffmpeg|still tarvelo|still ffmpeg", order, "|")
    for (i = 1; i <= 4; i++) {
      key = order[i]; split(key, part, " ")
      frames_rate = median(rate[key]); total = median(proc_s[key]) + median(xorg_s[key])
      perframe = (frames_rate > 0) ? total / frames_rate : 0
      net = (frames_rate > 0) ? (total - base_rate[part[1]]) / frames_rate : 0
      perframe_text = (frames_rate > 0) ? sprintf("%.3f", perframe) : "-"
      net_text = (frames_rate > 0) ? sprintf("%.3f", net) : "-"
      p50_text = (p50[key] != "") ? sprintf("%.1f ms", median(p50[key])) : "-"
      p95_text = (p95[key] != "") ? sprintf("%.1f ms", median(p95[key])) : "-"
      printf "%-16s %9.1f %14.1f %14.1f %14s %16s %12s %12s\n", key, frames_rate, median(proc_s[key]), median(xorg_s[key]),
             perframe_text, net_text, p50_text, p95_text
    }
    printf "\nX server alone (animation, no capture): moving %.1f ms/s, still %.1f ms/s\n", base_rate["moving"], base_rate["still"]
    printf "ms/frame = (process + X server CPU) / frames; net subtracts the X server alone.\n"
  }' "$work/results"
echo
echo "raw results:"
cat "$work/results"
