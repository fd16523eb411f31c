#pragma once

#include "app/app_platform.h"

namespace tarvelo {

class AppState;

// Acts on one key-down event, on the main thread. Command-Shift with 1, 2, 3
// applies a preset, with L toggles the lights, with the arrows steps spread
// (right/left) or brightness (up/down); Command-comma opens the Settings
// window. The modifier comparison is exact: any other modifier bit (Option,
// Caps Lock, even the numeric-pad and function bits some keys carry) makes the
// event match nothing. Keys are matched by position, not by character.
void handleShortcutKey(AppState& appState, const KeyEvent& event);

}  // namespace tarvelo
