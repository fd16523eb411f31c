#include "app/presets.h"

#include "app/app_state.h"

namespace tarvelo {

void applyPreset(AppState& appState, const AtmospherePreset& preset) {
  appState.setBrightness(preset.brightness);
  appState.setVibrancy(preset.vibrancy);
  appState.setSpread(preset.spread);
  appState.setBlurRadius(preset.blurRadius);
  appState.setSmoothing(preset.smoothing);
}

}  // namespace tarvelo
