#include "app/x11/x11_key_mapping.h"

#include <array>

#include "app/global_shortcuts.h"
#include "support/fatal_error.h"

namespace tarvelo {

namespace {

struct KeyPosition {
  std::uint8_t x11Keycode;
  std::uint16_t virtualKeyCode;
};

// The main block of an ANSI keyboard and the arrows: X keycode (evdev + 8)
// against the virtual key code of the same position.
constexpr std::array kKeyPositions{
    KeyPosition{9, 53},    // Escape
    KeyPosition{10, 18},   // 1
    KeyPosition{11, 19},   // 2
    KeyPosition{12, 20},   // 3
    KeyPosition{13, 21},   // 4
    KeyPosition{14, 23},   // 5
    KeyPosition{15, 22},   // 6
    KeyPosition{16, 26},   // 7
    KeyPosition{17, 28},   // 8
    KeyPosition{18, 25},   // 9
    KeyPosition{19, 29},   // 0
    KeyPosition{20, 27},   // minus
    KeyPosition{21, 24},   // equal
    KeyPosition{22, 51},   // backspace (Delete on the original keyboard)
    KeyPosition{23, 48},   // Tab
    KeyPosition{24, 12},   // Q
    KeyPosition{25, 13},   // W
    KeyPosition{26, 14},   // E
    KeyPosition{27, 15},   // R
    KeyPosition{28, 17},   // T
    KeyPosition{29, 16},   // Y
    KeyPosition{30, 32},   // U
    KeyPosition{31, 34},   // I
    KeyPosition{32, 31},   // O
    KeyPosition{33, 35},   // P
    KeyPosition{34, 33},   // left bracket
    KeyPosition{35, 30},   // right bracket
    KeyPosition{36, 36},   // Return
    KeyPosition{38, 0},    // A
    KeyPosition{39, 1},    // S
    KeyPosition{40, 2},    // D
    KeyPosition{41, 3},    // F
    KeyPosition{42, 5},    // G
    KeyPosition{43, 4},    // H
    KeyPosition{44, 38},   // J
    KeyPosition{45, 40},   // K
    KeyPosition{46, 37},   // L
    KeyPosition{47, 41},   // semicolon
    KeyPosition{48, 39},   // quote
    KeyPosition{49, 50},   // grave
    KeyPosition{51, 42},   // backslash
    KeyPosition{52, 6},    // Z
    KeyPosition{53, 7},    // X
    KeyPosition{54, 8},    // C
    KeyPosition{55, 9},    // V
    KeyPosition{56, 11},   // B
    KeyPosition{57, 45},   // N
    KeyPosition{58, 46},   // M
    KeyPosition{59, 43},   // comma
    KeyPosition{60, 47},   // period
    KeyPosition{61, 44},   // slash
    KeyPosition{65, 49},   // space
    KeyPosition{111, 126}, // up arrow
    KeyPosition{113, 123}, // left arrow
    KeyPosition{114, 124}, // right arrow
    KeyPosition{116, 125}, // down arrow
};

struct ModifierBit {
  std::uint16_t x11Bit;
  std::uint64_t flag;
};

constexpr std::uint64_t kCapsLockFlag = 0x10000;
constexpr std::uint64_t kShiftFlag = 0x20000;
constexpr std::uint64_t kControlFlag = 0x40000;
constexpr std::uint64_t kOptionFlag = 0x80000;
constexpr std::uint64_t kCommandFlag = 0x100000;

constexpr std::array kModifierBits{
    ModifierBit{x11_state::kShift, kShiftFlag},     ModifierBit{x11_state::kLock, kCapsLockFlag},
    ModifierBit{x11_state::kControl, kControlFlag}, ModifierBit{x11_state::kMod1, kOptionFlag},
    ModifierBit{x11_state::kMod4, kCommandFlag},    ModifierBit{x11_state::kMod5, kOptionFlag},
};

// Num Lock is a lock the user does not hold and the key handler never sees,
// so a shortcut acts whether it is on or off. Caps Lock does reach the key
// handler, which then rejects the combination: grabbing it would only take the
// key away from the focused window and drop it.
constexpr std::array<std::uint16_t, 2> kLockVariants{0, x11_state::kMod2};

}  // namespace

std::optional<std::uint16_t> virtualKeyCodeFromX11Keycode(std::uint32_t keycode) {
  for (const KeyPosition& position : kKeyPositions) {
    if (position.x11Keycode == keycode) return position.virtualKeyCode;
  }
  return std::nullopt;
}

std::optional<std::uint8_t> x11KeycodeFromVirtualKeyCode(std::uint16_t virtualKeyCode) {
  for (const KeyPosition& position : kKeyPositions) {
    if (position.virtualKeyCode == virtualKeyCode) return position.x11Keycode;
  }
  return std::nullopt;
}

std::uint64_t modifierFlagsFromX11State(std::uint32_t state) {
  std::uint64_t flags = 0;
  for (const ModifierBit& bit : kModifierBits) {
    if ((state & bit.x11Bit) != 0) flags |= bit.flag;
  }
  return flags;
}

std::optional<std::uint16_t> x11StateFromModifierFlags(std::uint64_t modifierFlags) {
  std::uint16_t state = 0;
  std::uint64_t covered = 0;
  for (const ModifierBit& bit : kModifierBits) {
    // Option has two X bits; Alt (Mod1) is the one every keyboard has.
    if ((modifierFlags & bit.flag) != 0 && (covered & bit.flag) == 0) {
      state |= bit.x11Bit;
      covered |= bit.flag;
    }
  }
  if (covered != modifierFlags) return std::nullopt;
  return state;
}

std::optional<KeyEvent> keyEventFromX11(std::uint32_t keycode, std::uint32_t state) {
  const std::optional<std::uint16_t> virtualKeyCode = virtualKeyCodeFromX11Keycode(keycode);
  if (!virtualKeyCode) return std::nullopt;
  return KeyEvent{modifierFlagsFromX11State(state), *virtualKeyCode};
}

std::vector<X11KeyGrab> shortcutKeyGrabs() {
  std::vector<X11KeyGrab> grabs;
  grabs.reserve(globalShortcuts().size() * kLockVariants.size());
  for (const GlobalShortcut& shortcut : globalShortcuts()) {
    const std::optional<std::uint8_t> keycode = x11KeycodeFromVirtualKeyCode(shortcut.event.keyCode);
    const std::optional<std::uint16_t> modifiers = x11StateFromModifierFlags(shortcut.event.modifierFlags);
    if (!keycode || !modifiers) fatalError("a shortcut key or modifier is missing from the X11 key tables");
    for (const std::uint16_t locks : kLockVariants) {
      grabs.push_back(X11KeyGrab{*keycode, static_cast<std::uint16_t>(*modifiers | locks)});
    }
  }
  return grabs;
}

}  // namespace tarvelo
