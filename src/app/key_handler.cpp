#include "app/key_handler.h"

#include <cmath>
#include <cstdint>

#include "app/app_state.h"
#include "app/presets.h"

namespace tarvelo {

namespace {

constexpr std::uint32_t kModifierMask = 0xFFFF0000U;
constexpr std::uint32_t kCommandShift = 0x120000U;
constexpr std::uint32_t kCommandOnly = 0x100000U;

constexpr std::uint16_t kDigit1 = 18;
constexpr std::uint16_t kDigit2 = 19;
constexpr std::uint16_t kDigit3 = 20;
constexpr std::uint16_t kLetterL = 37;
constexpr std::uint16_t kComma = 43;
constexpr std::uint16_t kLeftArrow = 123;
constexpr std::uint16_t kRightArrow = 124;
constexpr std::uint16_t kDownArrow = 125;
constexpr std::uint16_t kUpArrow = 126;

constexpr double kSpreadStep = 0.1;
constexpr double kSpreadMin = 0.3;
constexpr double kSpreadMax = 1.0;
constexpr double kBrightnessStep = 0.15;
constexpr double kBrightnessMin = 0.2;
constexpr double kBrightnessMax = 3.0;

// Each step clamps only on the side it moves towards, and a value that is not
// a number becomes that bound (fmin/fmax ignore a NaN operand).
void handleCommandShift(AppState& appState, std::uint16_t keyCode) {
  switch (keyCode) {
    case kDigit1:
      applyPreset(appState, kCinemaPreset);
      break;
    case kDigit2:
      applyPreset(appState, kFloodPreset);
      break;
    case kDigit3:
      applyPreset(appState, kSubtlePreset);
      break;
    case kLetterL:
      appState.toggleLights();
      break;
    case kRightArrow:
      appState.setSpread(std::fmin(appState.spread() + kSpreadStep, kSpreadMax));
      break;
    case kLeftArrow:
      appState.setSpread(std::fmax(appState.spread() - kSpreadStep, kSpreadMin));
      break;
    case kUpArrow:
      appState.setBrightness(std::fmin(appState.brightness() + kBrightnessStep, kBrightnessMax));
      break;
    case kDownArrow:
      appState.setBrightness(std::fmax(appState.brightness() - kBrightnessStep, kBrightnessMin));
      break;
    default:
      break;
  }
}

}  // namespace

void handleShortcutKey(AppState& appState, const KeyEvent& event) {
  const auto modifiers = static_cast<std::uint32_t>(event.modifierFlags) & kModifierMask;
  if (modifiers == kCommandShift) {
    handleCommandShift(appState, event.keyCode);
  } else if (modifiers == kCommandOnly && event.keyCode == kComma) {
    appState.openSettingsWindow();
  }
}

}  // namespace tarvelo
