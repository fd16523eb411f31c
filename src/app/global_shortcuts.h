#pragma once

#include <span>

#include "app/app_platform.h"

namespace tarvelo {

// One of the shortcuts that work from every application: the key-down event
// the key handler acts on, and how a desktop that binds shortcuts itself (the
// GlobalShortcuts portal) names, describes and should preferably trigger it.
struct GlobalShortcut {
  const char* id;
  const char* description;
  // In the XDG shortcuts notation (modifiers, then an XKB key name).
  const char* preferredTrigger;
  KeyEvent event;
};

// Super+Shift with L, the arrows, 1, 2 and 3, and Super+comma: every shortcut
// the key handler acts on.
std::span<const GlobalShortcut> globalShortcuts();
// The one that toggles the lights, which the panel names.
const GlobalShortcut& toggleLightsShortcut();

}  // namespace tarvelo
