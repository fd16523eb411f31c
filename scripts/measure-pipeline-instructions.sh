#!/usr/bin/env bash
# Instructions the colour pipeline costs per 160 × 100 frame, counted by
# callgrind (repeatable on a busy machine, unlike a stopwatch). Each scene runs
# through tarvelo-zones twice with different --repeat counts; the difference
# divided by the extra passes is the per-frame cost, free of start-up and I/O.
#
#   scripts/measure-pipeline-instructions.sh [path/to/tarvelo-zones]
set -euo pipefail

zones=${1:-build/release/tools/tarvelo-zones}
[ -x "$zones" ] || { echo "measure: $zones not built (run 'make build' first)" >&2; exit 1; }
command -v valgrind >/dev/null || { echo "measure: valgrind is missing (scripts/install-deps.sh installs it)" >&2; exit 1; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Binary PPM scenes drawn with awk: a lit picture, the same letterboxed
# (black bar under it), and a dark scene whose lower half is all black.
scene() {  # name bar_rows dark
  LC_ALL=C awk -v bar="$2" -v dark="$3" 'BEGIN {
    w = 160; h = 100; printf "P6\n%d %d\n255\n", w, h
    for (y = 0; y < h; y++) for (x = 0; x < w; x++) {
      if (y >= h - bar) { r = 0; g = 0; b = 0 }
      else {
        r = int(200 - x / 2 + 20 * sin(y / 7)); g = int(60 + y + 15 * sin(x / 5)); b = int(40 + x / 2)
        if (dark) { r = int(r / 8); g = int(g / 8); b = int(b / 8) }
      }
      printf "%c%c%c", r, g, b
    }
  }' > "$work/$1.ppm"
}
scene picture 0 0
scene letterboxed 20 0
scene dark-lower-half 50 1

instructions() {  # repeat frame
  valgrind --tool=callgrind --callgrind-out-file="$work/out" "$zones" --repeat "$1" "$2" > /dev/null 2> "$work/log"
  awk '/^totals:/ { print $2 }' "$work/out"
}

low=10
high=1010
printf '%-16s %s\n' scene "instructions per frame"
for name in picture letterboxed dark-lower-half; do
  a=$(instructions $low "$work/$name.ppm")
  b=$(instructions $high "$work/$name.ppm")
  printf '%-16s %d\n' "$name" $(( (b - a) / (high - low) ))
done
