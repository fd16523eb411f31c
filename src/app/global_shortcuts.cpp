#include "app/global_shortcuts.h"

#include <array>
#include <cstdint>

namespace tarvelo {

namespace {

constexpr std::uint64_t kCommandShift = 0x120000;
constexpr std::uint64_t kCommand = 0x100000;

constexpr std::array kShortcuts{
    GlobalShortcut{"toggle-lights", "Toggle Tarvelo On/Off", "LOGO+SHIFT+l", {kCommandShift, 37}},
    GlobalShortcut{"brightness-up", "Brightness Up", "LOGO+SHIFT+Up", {kCommandShift, 126}},
    GlobalShortcut{"brightness-down", "Brightness Down", "LOGO+SHIFT+Down", {kCommandShift, 125}},
    GlobalShortcut{"room-flood-up", "Room Flood Up", "LOGO+SHIFT+Right", {kCommandShift, 124}},
    GlobalShortcut{"room-flood-down", "Room Flood Down", "LOGO+SHIFT+Left", {kCommandShift, 123}},
    GlobalShortcut{"preset-cinema", "Cinema Preset", "LOGO+SHIFT+1", {kCommandShift, 18}},
    GlobalShortcut{"preset-flood", "Flood Preset", "LOGO+SHIFT+2", {kCommandShift, 19}},
    GlobalShortcut{"preset-subtle", "Subtle Preset", "LOGO+SHIFT+3", {kCommandShift, 20}},
    GlobalShortcut{"open-settings", "Open Settings", "LOGO+comma", {kCommand, 43}},
};

}  // namespace

std::span<const GlobalShortcut> globalShortcuts() { return kShortcuts; }

const GlobalShortcut& toggleLightsShortcut() { return kShortcuts.front(); }

}  // namespace tarvelo
