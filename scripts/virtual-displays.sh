#!/usr/bin/env bash
# A real X server with real RandR outputs for tests and the demo: Xorg with
# the dummy video driver. (Xvfb has a single output, so it cannot stand in for
# two stacked monitors.)
#
#   scripts/virtual-displays.sh start :N [LAYOUT [XORG-ARG...]]
#                                                   start Xorg on display :N, then apply LAYOUT;
#                                                   XORG-ARGs go to Xorg (e.g. -extension RENDER);
#                                                   a server started without RANDR keeps its one screen
#   scripts/virtual-displays.sh layout :N LAYOUT    rearrange the outputs of a running server
#   scripts/virtual-displays.sh stop :N             stop it
#
# Layouts: stacked     1920x1080 over 1920x1080
#          4k-over-hd  3840x2160 over 1920x1080 centred beneath it (overlap 0.25 to 0.75)
#          side-by-side 1920x1080 left of 1920x1080
#          reversed    DUMMY1 over DUMMY0, both 1920x1080
#          single      1920x1080 alone (the second output is switched off: a real unplug)
set -euo pipefail

state_root=${TMPDIR:-/tmp}/tarvelo-virtual-displays
readonly top=DUMMY0 bottom=DUMMY1
readonly mode_4k=3840x2160_30.00
readonly modeline_4k="338.75 3840 4080 4488 5136 2160 2163 2168 2200 -hsync +vsync"  # cvt 3840 2160 30

die() { echo "virtual-displays: $*" >&2; exit 1; }

display_dir() { echo "$state_root/${1#:}"; }

ensure_4k_mode() {
  xrandr | grep -q "$mode_4k" || xrandr --newmode "$mode_4k" $modeline_4k
  xrandr | sed -n "/^$top /,/^[A-Z]/p" | grep -q "$mode_4k" || xrandr --addmode "$top" "$mode_4k"
}

ensure_hd_mode() {  # output
  xrandr | sed -n "/^$1 /,/^[A-Z]/p" | grep -q "1920x1080 " || xrandr --addmode "$1" 1920x1080
}

apply_layout() {  # layout
  case "$1" in
    stacked)
      ensure_hd_mode "$top"; ensure_hd_mode "$bottom"
      xrandr --fb 1920x2160 --output "$top" --mode 1920x1080 --pos 0x0 --primary \
             --output "$bottom" --mode 1920x1080 --pos 0x1080 ;;
    4k-over-hd)
      ensure_4k_mode; ensure_hd_mode "$bottom"
      xrandr --fb 3840x3240 --output "$top" --mode "$mode_4k" --pos 0x0 --primary \
             --output "$bottom" --mode 1920x1080 --pos 960x2160 ;;
    side-by-side)
      ensure_hd_mode "$top"; ensure_hd_mode "$bottom"
      xrandr --fb 3840x1080 --output "$top" --mode 1920x1080 --pos 0x0 --primary \
             --output "$bottom" --mode 1920x1080 --pos 1920x0 ;;
    reversed)  # the second output above the first
      ensure_hd_mode "$top"; ensure_hd_mode "$bottom"
      xrandr --fb 1920x2160 --output "$bottom" --mode 1920x1080 --pos 0x0 \
             --output "$top" --mode 1920x1080 --pos 0x1080 --primary ;;
    single)
      ensure_hd_mode "$top"
      xrandr --output "$bottom" --off --output "$top" --mode 1920x1080 --pos 0x0 --primary
      xrandr --fb 1920x1080 ;;
    *) die "unknown layout '$1' (stacked, 4k-over-hd, side-by-side, reversed, single)" ;;
  esac
}

start() {  # display [layout [xorg-arg...]]
  local display=$1 layout=${2:-stacked} dir
  shift; if [ $# -gt 0 ]; then shift; fi
  dir=$(display_dir "$display")
  command -v Xorg >/dev/null || die "Xorg is missing (scripts/install-deps.sh installs it)"
  stop "$display"
  clear_stale_server "$display"
  mkdir -p "$dir"
  cat > "$dir/xorg.conf" <<'CONF'
Section "Device"
  Identifier "dummy"
  Driver "dummy"
  VideoRam 256000
EndSection
Section "Monitor"
  Identifier "monitor"
  HorizSync 5.0 - 1000.0
  VertRefresh 5.0 - 200.0
EndSection
Section "Screen"
  Identifier "screen"
  Device "dummy"
  Monitor "monitor"
  DefaultDepth 24
  SubSection "Display"
    Depth 24
    Virtual 7680 4320
  EndSubSection
EndSection
CONF
  Xorg "$display" -noreset -nolisten tcp -config "$dir/xorg.conf" -logfile "$dir/xorg.log" "$@" \
       > "$dir/output.log" 2>&1 &
  echo $! > "$dir/pid"
  for _ in $(seq 100); do
    if xset -display "$display" q > /dev/null 2>&1; then
      if DISPLAY=$display xrandr > /dev/null 2>&1; then DISPLAY=$display apply_layout "$layout"; fi
      echo "$display"
      return 0
    fi
    kill -0 "$(cat "$dir/pid")" 2>/dev/null || break
    sleep 0.1
  done
  tail -5 "$dir/output.log" >&2 || true
  die "Xorg did not start on $display (log: $dir/xorg.log)"
}

# A server left behind by an interrupted run still holds the display's lock.
clear_stale_server() {  # display
  local lock=/tmp/.X${1#:}-lock pid
  [ -f "$lock" ] || return 0
  pid=$(tr -dc '0-9' < "$lock")
  if [ -n "$pid" ] && [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = Xorg ]; then
    kill "$pid" 2>/dev/null || true
    for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  fi
  rm -f "$lock" "/tmp/.X11-unix/X${1#:}"
}

stop() {  # display
  local dir pid
  dir=$(display_dir "$1")
  [ -f "$dir/pid" ] || return 0
  pid=$(cat "$dir/pid")
  kill "$pid" 2>/dev/null || true
  for _ in $(seq 50); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
  kill -9 "$pid" 2>/dev/null || true
  rm -rf "$dir"
}

case "${1:-}" in
  start) [ $# -ge 2 ] || die "usage: $0 start :N [LAYOUT [XORG-ARG...]]"; shift; start "$@" ;;
  layout) [ $# -eq 3 ] || die "usage: $0 layout :N LAYOUT"; DISPLAY=$2 apply_layout "$3" ;;
  stop) [ $# -eq 2 ] || die "usage: $0 stop :N"; stop "$2" ;;
  *) die "usage: $0 start|layout|stop :N [LAYOUT]" ;;
esac
