#!/usr/bin/env bash
# A headless Wayland desktop with two outputs for tests and measurements: sway on
# wlroots' headless backend (software rendering), a private session bus,
# PipeWire with WirePlumber, and the screen-cast portal (xdg-desktop-portal with
# its wlroots backend, whose share dialog answers at once: HEADLESS-1, or a
# refusal after `answer NAME refuse`, or another output after `answer NAME HEADLESS-2`).
#
#   scripts/virtual-wayland.sh start NAME [LAYOUT]   start the rig NAME and print the environment a
#                                                    client needs (export lines; also kept in a file
#                                                    whose path `env` prints)
#   scripts/virtual-wayland.sh env NAME              print that environment again
#   scripts/virtual-wayland.sh layout NAME LAYOUT    rearrange the outputs
#   scripts/virtual-wayland.sh answer NAME share|refuse|OUTPUT  how the share dialog answers from now
#                                                    on: HEADLESS-1, no, or that output (a share
#                                                    restored from a kept grant asks no one)
#   scripts/virtual-wayland.sh run NAME COMMAND...   run COMMAND as the rig's user in the rig's environment
#                                                    (the portal serves only callers whose processes it can
#                                                    inspect, as on a desktop: the user's own programs)
#   scripts/virtual-wayland.sh stop NAME             stop it
#
# Layouts: 4k-over-hd  HEADLESS-1 3840x2160 at 0,0 over HEADLESS-2 1920x1080 at 960,2160 (the default)
#          stacked     1920x1080 over 1920x1080
#          side-by-side 1920x1080 left of 1920x1080
#          reversed    HEADLESS-2 over HEADLESS-1, both 1920x1080
#          Each layout sets both outputs' scale back to 1.
#          The headless outputs cannot be switched off or unplugged (sway 1.7 on
#          wlroots 0.15 refuses); tests of an unplug nest a compositor of their
#          own in the rig, whose outputs are windows here (tests/rig/nested_sway.h).
#
# sway refuses to run as root, so the rig runs as an unprivileged system user of
# its own, made here when missing, with a private runtime directory (0700) and
# its own session bus. Root's clients (the tests) reach it through the printed
# environment.
set -euo pipefail

readonly rig_user=tarvelo-wayland-rig
readonly top=HEADLESS-1 bottom=HEADLESS-2
state_root=${TMPDIR:-/tmp}/tarvelo-virtual-wayland
source_dir=$(cd "$(dirname "$0")/.." && pwd)

die() { echo "virtual-wayland: $*" >&2; exit 1; }

rig_dir() { echo "$state_root/$1"; }

check_name() { [[ $1 =~ ^[A-Za-z0-9_.-]+$ ]] || die "a rig name is letters, digits, '.', '_' or '-' ('$1')"; }

ensure_rig_user() {
  id -u "$rig_user" > /dev/null 2>&1 && return 0
  useradd --system --user-group --no-create-home --home-dir /nonexistent --shell /usr/sbin/nologin "$rig_user" \
    || die "cannot create the rig user $rig_user"
}

# Runs a program of the rig as the rig user, in the rig's environment, in the background,
# and records its pid under NAME.
spawn() {  # dir name program [arg...]
  local dir=$1 name=$2; shift 2
  (
    # shellcheck disable=SC1091
    set -a; . "$dir/environment"; set +a
    exec setpriv --reuid="$rig_user" --regid="$rig_user" --clear-groups --reset-env \
      env HOME="$dir/home" XDG_RUNTIME_DIR="$dir/runtime" XDG_CONFIG_HOME="$dir/config" \
          XDG_CURRENT_DESKTOP=sway PATH=/usr/local/bin:/usr/bin:/bin \
          DBUS_SESSION_BUS_ADDRESS="$DBUS_SESSION_BUS_ADDRESS" \
          ${WAYLAND_DISPLAY:+WAYLAND_DISPLAY=$WAYLAND_DISPLAY} ${SWAYSOCK:+SWAYSOCK=$SWAYSOCK} \
          ${RIG_EXTRA_ENV:-} "$@"
  ) > "$dir/$name.log" 2>&1 &
  echo $! > "$dir/$name.pid"
}

alive() { kill -0 "$(cat "$1/$2.pid")" 2>/dev/null; }

wait_for() {  # dir name what command...
  local dir=$1 name=$2 what=$3; shift 3
  for _ in $(seq 150); do
    if "$@" > /dev/null 2>&1; then return 0; fi
    alive "$dir" "$name" || break
    sleep 0.1
  done
  tail -n 5 "$dir/$name.log" >&2 || true
  die "$name did not come up ($what; log: $dir/$name.log)"
}

bus_has_name() {  # dir busname
  # shellcheck disable=SC1091
  (set -a; . "$1/environment"
   dbus-send --session --dest=org.freedesktop.DBus --type=method_call --print-reply /org/freedesktop/DBus \
     org.freedesktop.DBus.NameHasOwner "string:$2" | grep -q 'boolean true')
}

pipewire_has_client() {  # dir application-name
  # shellcheck disable=SC1091
  (set -a; . "$1/environment"; pw-cli ls Client | grep -q "application.name = \"$2\"")
}

swaymsg_rig() {  # dir swaymsg-arg...
  local dir=$1; shift
  # shellcheck disable=SC1091
  (set -a; . "$dir/environment"; swaymsg "$@")
}

apply_layout() {  # dir layout
  local dir=$1
  case "$2" in
    4k-over-hd)
      swaymsg_rig "$dir" "output $top enable mode 3840x2160 position 0 0 scale 1; output $bottom enable mode 1920x1080 position 960 2160 scale 1" ;;
    stacked)
      swaymsg_rig "$dir" "output $top enable mode 1920x1080 position 0 0 scale 1; output $bottom enable mode 1920x1080 position 0 1080 scale 1" ;;
    side-by-side)
      swaymsg_rig "$dir" "output $top enable mode 1920x1080 position 0 0 scale 1; output $bottom enable mode 1920x1080 position 1920 0 scale 1" ;;
    reversed)
      swaymsg_rig "$dir" "output $bottom enable mode 1920x1080 position 0 0 scale 1; output $top enable mode 1920x1080 position 0 1080 scale 1" ;;
    *) die "unknown layout '$2' (4k-over-hd, stacked, side-by-side, reversed)" ;;
  esac > /dev/null
}

start() {  # name [layout]
  local name=$1 layout=${2:-4k-over-hd} dir socket
  dir=$(rig_dir "$name")
  [ "$(id -u)" -eq 0 ] || die "start the rig as root (it runs its desktop as the user $rig_user)"
  for program in sway pipewire wireplumber dbus-daemon pw-cli cc /usr/libexec/xdg-desktop-portal \
                 /usr/libexec/xdg-desktop-portal-wlr; do
    command -v "$program" > /dev/null || die "$program is missing (scripts/install-deps.sh installs it)"
  done
  stop "$name"
  trap "stop $name" EXIT  # a failed start leaves nothing behind
  ensure_rig_user
  mkdir -p "$dir"
  chmod 0755 "$state_root" "$dir"
  install -d -m 0700 -o "$rig_user" -g "$rig_user" "$dir/runtime" "$dir/home" "$dir/config" \
    "$dir/config/xdg-desktop-portal-wlr"
  : > "$dir/environment"

  # Test-rig workaround: xdg-desktop-portal-wlr 0.7.0 cannot cast without a GPU (see the source).
  cc -O2 -shared -fPIC -o "$dir/screencopy_shm_shim.so" "$source_dir/tests/rig/screencopy_shm_shim.c" -ldl \
    || die "cannot build the screencopy shim"

  # A compositor nested in this one shows each of its outputs as a window
  # here; floating, each keeps the size its output's mode asks for.
  cat > "$dir/sway.conf" <<CONF
xwayland disable
output $top mode 3840x2160 position 0 0 bg #000000 solid_color
output $bottom mode 1920x1080 position 960 2160 bg #000000 solid_color
for_window [app_id="wlroots"] floating enable
CONF
  # The share dialog, as the portal backend runs it: it names the output to
  # share, or fails, which the portal reports as the user's refusal.
  cat > "$dir/share-dialog" <<DIALOG
#!/bin/sh
answer=\$(cat "$dir/share-answer" 2> /dev/null)
case "\$answer" in
  refuse) exit 1 ;;
  HEADLESS-*) echo "\$answer" ;;
  *) echo $top ;;
esac
DIALOG
  chmod 0755 "$dir/share-dialog"
  # The rig's user answers too: the tests run as that user.
  echo share > "$dir/share-answer"
  chown "$rig_user:$rig_user" "$dir/share-answer"
  cat > "$dir/config/xdg-desktop-portal-wlr/config" <<CONF
[screencast]
chooser_type=simple
chooser_cmd=$dir/share-dialog
CONF
  chown -R "$rig_user:$rig_user" "$dir/config"

  # The session bus of the rig user; root (the tests) may connect too.
  cat > "$dir/bus.conf" <<CONF
<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <include>/usr/share/dbus-1/session.conf</include>
  <policy context="default"><allow user="root"/></policy>
</busconfig>
CONF
  echo "DBUS_SESSION_BUS_ADDRESS=unix:path=$dir/runtime/bus" >> "$dir/environment"
  echo "XDG_RUNTIME_DIR=$dir/runtime" >> "$dir/environment"
  spawn "$dir" dbus dbus-daemon --config-file="$dir/bus.conf" --nofork --nopidfile \
    --address="unix:path=$dir/runtime/bus"
  wait_for "$dir" dbus "session bus" test -S "$dir/runtime/bus"

  RIG_EXTRA_ENV="WLR_BACKENDS=headless WLR_HEADLESS_OUTPUTS=2 WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman" \
    spawn "$dir" sway sway --config "$dir/sway.conf"
  wait_for "$dir" sway "Wayland socket" compgen -G "$dir/runtime/wayland-*[0-9]"
  wait_for "$dir" sway "IPC socket" compgen -G "$dir/runtime/sway-ipc.*.sock"
  socket=$(compgen -G "$dir/runtime/wayland-*[0-9]" | head -1)
  echo "WAYLAND_DISPLAY=${socket##*/}" >> "$dir/environment"
  echo "SWAYSOCK=$(compgen -G "$dir/runtime/sway-ipc.*.sock" | head -1)" >> "$dir/environment"
  wait_for "$dir" sway "outputs" swaymsg_rig "$dir" -t get_outputs

  spawn "$dir" pipewire pipewire
  wait_for "$dir" pipewire "socket" test -S "$dir/runtime/pipewire-0"
  spawn "$dir" wireplumber wireplumber
  wait_for "$dir" wireplumber "PipeWire client" pipewire_has_client "$dir" WirePlumber

  RIG_EXTRA_ENV="LD_PRELOAD=$dir/screencopy_shm_shim.so" \
    spawn "$dir" portal-wlr /usr/libexec/xdg-desktop-portal-wlr --loglevel=INFO \
      --config="$dir/config/xdg-desktop-portal-wlr/config"
  wait_for "$dir" portal-wlr "bus name" bus_has_name "$dir" org.freedesktop.impl.portal.desktop.wlr
  spawn "$dir" portal /usr/libexec/xdg-desktop-portal
  wait_for "$dir" portal "bus name" bus_has_name "$dir" org.freedesktop.portal.Desktop

  apply_layout "$dir" "$layout"
  trap - EXIT
  print_environment "$name"
}

run_as_rig_user() {  # name command...
  local dir
  dir=$(rig_dir "$1"); shift
  [ -f "$dir/environment" ] || die "no rig named $(basename "$dir") runs"
  set -a
  # shellcheck disable=SC1091
  . "$dir/environment"
  set +a
  exec setpriv --reuid="$rig_user" --regid="$rig_user" --clear-groups \
    env HOME="$dir/home" XDG_CONFIG_HOME="$dir/config" USER="$rig_user" LOGNAME="$rig_user" "$@"
}

print_environment() {  # name
  local dir
  dir=$(rig_dir "$1")
  [ -f "$dir/environment" ] || die "no rig named $1 runs"
  sed 's/^/export /' "$dir/environment"
}

stop() {  # name
  local dir pid process
  dir=$(rig_dir "$1")
  [ -d "$dir" ] || return 0
  # Reverse start order: the portal first, the bus last.
  for process in portal portal-wlr wireplumber pipewire sway dbus; do
    [ -f "$dir/$process.pid" ] || continue
    pid=$(cat "$dir/$process.pid")
    kill "$pid" 2>/dev/null || true
    for _ in $(seq 30); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill -9 "$pid" 2>/dev/null || true
  done
  rm -rf "$dir"
}

case "${1:-}" in
  start) [ $# -ge 2 ] && [ $# -le 3 ] || die "usage: $0 start NAME [LAYOUT]"; check_name "$2"; shift; start "$@" ;;
  env) [ $# -eq 2 ] || die "usage: $0 env NAME"; check_name "$2"; print_environment "$2" ;;
  layout) [ $# -eq 3 ] || die "usage: $0 layout NAME LAYOUT"; check_name "$2"
          [ -f "$(rig_dir "$2")/environment" ] || die "no rig named $2 runs"; apply_layout "$(rig_dir "$2")" "$3" ;;
  answer) [ $# -eq 3 ] || die "usage: $0 answer NAME share|refuse|OUTPUT"; check_name "$2"
          [ -f "$(rig_dir "$2")/environment" ] || die "no rig named $2 runs"
          case "$3" in share|refuse|HEADLESS-[0-9]) echo "$3" > "$(rig_dir "$2")/share-answer" ;;
                       *) die "the share dialog answers share, refuse or an output's name ('$3')" ;; esac ;;
  run) [ $# -ge 3 ] || die "usage: $0 run NAME COMMAND..."; check_name "$2"; shift; run_as_rig_user "$@" ;;
  stop) [ $# -eq 2 ] || die "usage: $0 stop NAME"; check_name "$2"; stop "$2" ;;
  *) die "usage: $0 start|env|layout|answer|run|stop NAME [LAYOUT | share|refuse|OUTPUT | COMMAND...]" ;;
esac
