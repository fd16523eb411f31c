#!/bin/sh
# The program on a Wayland session, from outside: on the headless two-output
# rig it captures the upper output through the screen-cast portal and lights
# the lower one (a first start, with no grant kept: it asks the desktop and
# goes on once sharing is allowed), follows a new picture, lets the HUD inside
# the light fade and wakes it when the pointer moves over the light, keeps the
# desktop's grant in an owner-only file, takes the light away when a second
# launch stops it, and, started again later, shares the screen on that grant
# without asking.
#
#   wayland_end_to_end.sh TARVELO_BINARY RIG_SCRIPT RIG_NAME RIG_POINTER_BINARY
set -eu
tarvelo=$1 rig=$2 name=$3 pointer=$4
in_rig() { "$rig" run "$name" "$@"; }
fail() { echo "FAIL: $*" >&2; exit 1; }

log=$(mktemp)
# Nothing of the program may outlive the test: the rig's next tests capture
# HEADLESS-1, where a window left behind would show. (A launch to stop it would
# itself become the running program when none runs.)
cleanup() {
  if [ -n "${program:-}" ]; then kill "$program" 2> /dev/null || true; wait "$program" 2> /dev/null || true; fi
  rm -f "$log"
}
trap cleanup EXIT

# The red, green and blue of one pixel of the light screen: HEADLESS-2 lies at
# 960,2160 in the layout; the probe is in the middle of its top edge, where the
# light's strips are opaque.
probe() {
  in_rig sh -c "grim -g '1920,2164 1x1' -t ppm - | tail -c 3 | od -An -tu1"
}
# Waits until the probe satisfies the awk condition on r, g and b.
wait_for_light() {  # condition what
  tries=0
  while [ $tries -lt 60 ]; do
    if probe | awk "{ r = \$1; g = \$2; b = \$3; exit !($1) }"; then return 0; fi
    tries=$((tries + 1)); sleep 0.25
  done
  fail "the light screen never showed $2 (last probe: $(probe))"
}

# How many pixels of the HUD's middle row (centred on HEADLESS-2, 28 + 25
# above its bottom) are dark: the capsule is, the red light under it is not.
hud_dark_pixels() {
  in_rig sh -c "grim -g '1660,3187 520x1' -t ppm - | tail -c 1560 | od -An -v -tu1" |
    awk '{ for (i = 1; i <= NF; i++) v[n++] = $i } END { for (i = 0; i + 2 < n; i += 3) if (v[i] < 100 && v[i + 1] < 100 && v[i + 2] < 100) dark++; print dark + 0 }'
}
wait_for_hud() {  # shown|hidden
  tries=0
  while [ $tries -lt 60 ]; do
    dark=$(hud_dark_pixels)
    if [ "$1" = shown ] && [ "$dark" -gt 100 ]; then return 0; fi
    if [ "$1" = hidden ] && [ "$dark" -eq 0 ]; then return 0; fi
    tries=$((tries + 1)); sleep 0.25
  done
  fail "the HUD was never $1 (dark pixels on its row: $dark)"
}

# The pointer waits on the movie screen, off the light.
in_rig "$pointer" 3840x3240 move 100 100
in_rig swaymsg "output HEADLESS-2 bg #000000 solid_color" > /dev/null
in_rig swaymsg "output HEADLESS-1 bg #c04020 solid_color" > /dev/null
wait_for_light "r < 10 && g < 10 && b < 10" "black before the lights"

token=$(in_rig sh -c 'echo "$XDG_CONFIG_HOME/Tarvelo/screen-cast-restore-token"')
in_rig rm -f "$token"

# Not through in_rig: run as the rig's user, the script execs the program, so
# $! is the program itself.
"$rig" run "$name" "$tarvelo" --start > "$log" 2>&1 &
program=$!

wait_for_light "r > g + 80 && r > b + 80" "the movie screen's red"
# The HUD, shown at launch, fades after a few quiet seconds and comes back
# when the pointer moves over the light.
wait_for_hud hidden
in_rig "$pointer" 3840x3240 move 1200 2500
wait_for_hud shown
in_rig swaymsg "output HEADLESS-1 bg #2050d0 solid_color" > /dev/null
wait_for_light "b > r + 80 && b > g + 40" "the movie screen's new blue"

mode=$(in_rig stat -c %a "$token") || fail "no screen-sharing grant was kept at $token"
[ "$mode" = 600 ] || fail "the screen-sharing grant is readable by others (mode $mode)"

# A second launch hands its command to the running one and ends at once.
in_rig "$tarvelo" --stop || fail "the second launch did not end with status 0"
wait_for_light "r < 10 && g < 10 && b < 10" "black after the lights stopped"
kill "$program" 2> /dev/null || true
wait "$program" 2> /dev/null || true
program=
if grep -q "Failed to start capture" "$log"; then fail "$(cat "$log")"; fi

# Started again, the program shares the screen on the grant it kept: the rig's
# portal backend logs each share asked for, and notes those it restores from a
# grant; every other one would have shown the desktop's dialog.
portal_log_count() {  # line
  in_rig sh -c "grep -c '$1' \"\$XDG_RUNTIME_DIR/../portal-wlr.log\" || true"
}
restored_shares() { portal_log_count "restore data available"; }
asked_shares() { echo $(($(portal_log_count "select sources method invoked") - $(restored_shares))); }
restored_before=$(restored_shares)
asked_before=$(asked_shares)
in_rig swaymsg "output HEADLESS-1 bg #20b040 solid_color" > /dev/null
"$rig" run "$name" "$tarvelo" --start > "$log" 2>&1 &
program=$!
wait_for_light "g > r + 80 && g > b + 40" "the movie screen's green after a restart"
[ "$(asked_shares)" -eq "$asked_before" ] ||
  fail "the restarted program asked the desktop again ($asked_before shares asked for before, $(asked_shares) after)"
[ "$(restored_shares)" -gt "$restored_before" ] || fail "the restarted program shared nothing on its kept grant"
kill "$program" 2> /dev/null || true
wait "$program" 2> /dev/null || true
program=

if in_rig sh -c 'pgrep -u "$(id -u)" -x tarvelo' > /dev/null; then fail "a Tarvelo process outlived the test"; fi
if grep -q "Failed to start capture" "$log"; then fail "$(cat "$log")"; fi
echo "the light followed the movie screen on Wayland, went when stopped, and came back on the kept grant"
