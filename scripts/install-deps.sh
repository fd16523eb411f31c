#!/usr/bin/env bash
# Installs every Debian 12 package that building and testing Tarvelo needs.
# Quiet and quick when everything is already there, so the make targets can call it every time.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev
  qt6-svg-dev  # the project's SVG icons: QSvgRenderer, and the svg image and icon plugins
  qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtquick-controls
  qml6-module-qtquick-layouts qml6-module-qtquick-templates qml6-module-qtqml-workerscript
  libxcb1-dev libxcb-randr0-dev libxcb-shm0-dev libxcb-render0-dev libxcb-damage0-dev
  libxcb-xfixes0-dev libxcb-xinput-dev libxcb-shape0-dev
  libgtest-dev libgmock-dev libbenchmark-dev
  valgrind
  # the virtual two-display rig the X11 tests and the demo run on
  xserver-xorg-core xserver-xorg-video-dummy x11-xserver-utils xdotool libgl1-mesa-dri
  # the libFuzzer target of the colour pipeline: clang, and its fuzzer and sanitizer runtimes
  clang-14 libclang-rt-14-dev
  # a desktop on the rig for the tests of the tray icon, the panel and the Settings window:
  # a window manager, tray hosts of both protocols (trayer: XEmbed; xfce4-panel on a
  # private session bus: StatusNotifierItem), a compositor, and the X inspection tools
  openbox trayer xfce4-panel dbus-daemon xcompmgr x11-utils
  # the Debian package and the checks of what an install puts in place
  dpkg-dev desktop-file-utils appstream lintian
  # Wayland: the screen-cast portal capture (PipeWire client library), and the headless
  # two-output Wayland rig its tests run on (scripts/virtual-wayland.sh): sway on the headless
  # backend, a private session bus, PipeWire with its session manager, the portal and its
  # wlroots backend, grim for screenshots, swaybg to paint known colours, waybar as tray host,
  # weston nested in the rig as a compositor without layer shell (as GNOME's), and its demo
  # client weston-flower as a small window whose damage the capture reads
  libpipewire-0.3-dev
  sway swaybg grim waybar weston qt6-wayland dbus
  pipewire pipewire-bin wireplumber xdg-desktop-portal xdg-desktop-portal-wlr
  # Wayland: the light as a layer surface of our own (libwayland-client, wayland-scanner
  # for the protocols' glue, and xdg-shell, viewporter and xdg-output from wayland-protocols)
  libwayland-dev libwayland-bin wayland-protocols
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  echo "install-deps: missing packages (${missing[*]}); run this script as root" >&2
  exit 1
fi
echo "install-deps: installing ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}"
