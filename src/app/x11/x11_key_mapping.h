#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "app/app_platform.h"

namespace tarvelo {

// Bits of the X core protocol's key-and-button state word.
namespace x11_state {
inline constexpr std::uint16_t kShift = 0x01;
inline constexpr std::uint16_t kLock = 0x02;
inline constexpr std::uint16_t kControl = 0x04;
inline constexpr std::uint16_t kMod1 = 0x08;  // Alt
inline constexpr std::uint16_t kMod2 = 0x10;  // NumLock
inline constexpr std::uint16_t kMod3 = 0x20;
inline constexpr std::uint16_t kMod4 = 0x40;  // Super
inline constexpr std::uint16_t kMod5 = 0x80;  // AltGr (ISO_Level3_Shift)
}  // namespace x11_state

// The ANSI-position virtual key code of the key at an X keycode. X keycodes
// are evdev codes + 8, i.e. positions on the keyboard whatever the layout, so
// the key where a US layout types "1" is 18 on every layout. Absent for keys
// outside the table (modifiers, keypad, function keys, ...).
std::optional<std::uint16_t> virtualKeyCodeFromX11Keycode(std::uint32_t keycode);

// The reverse of virtualKeyCodeFromX11Keycode.
std::optional<std::uint8_t> x11KeycodeFromVirtualKeyCode(std::uint16_t virtualKeyCode);

// The modifier-flag word for an X state: Shift, Lock (Caps Lock), Control,
// Mod1 (Alt → Option), Mod4 (Super → Command) and Mod5 (AltGr → Option, the
// key that sits where the right Option key does). NumLock (Mod2) is a lock
// the user does not hold, and Mod3 carries no key in the standard keymaps:
// both are left out, as are the pointer-button and keyboard-group bits.
std::uint64_t modifierFlagsFromX11State(std::uint32_t state);

// The X modifier mask that produces exactly `modifierFlags` (Command, Shift,
// Control, Option, Caps Lock); absent when the word has a flag X cannot press.
std::optional<std::uint16_t> x11StateFromModifierFlags(std::uint64_t modifierFlags);

// The key-down event for an X key press; absent for keys outside the table.
// Only held modifiers and Caps Lock make flags: the arrows do not carry the
// numeric-pad and function flags the original platform adds to them, so
// Super+Shift+arrows match the key handler's exact Command-Shift test and
// step brightness and spread here, as the Settings window's list promises.
std::optional<KeyEvent> keyEventFromX11(std::uint32_t keycode, std::uint32_t state);

struct X11KeyGrab {
  std::uint8_t keycode = 0;
  std::uint16_t modifiers = 0;

  friend bool operator==(const X11KeyGrab&, const X11KeyGrab&) = default;
};

// The passive grabs that catch the application's shortcuts from every
// window: Super+Shift with 1, 2, 3, L and the four arrows, and Super+comma,
// each with NumLock off and on. Exactly the presses the key handler acts on:
// with Caps Lock on a combination is no shortcut, so it is left to the
// focused window instead of being taken and dropped.
std::vector<X11KeyGrab> shortcutKeyGrabs();

}  // namespace tarvelo
