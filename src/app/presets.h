#pragma once

#include <array>
#include <string_view>

namespace tarvelo {

class AppState;

// A named set of the five lighting values. Applying one touches nothing else:
// the frame rate, the routing and the switches stay as they are, and nothing
// remembers which preset was applied last.
struct AtmospherePreset {
  std::string_view name;
  // The platform symbol name; each user interface maps it to its own icon.
  std::string_view iconName;
  double brightness;
  double vibrancy;
  double spread;
  double blurRadius;
  double smoothing;
};

inline constexpr AtmospherePreset kCinemaPreset{"Cinema", "popcorn.fill", 1.4, 1.7, 0.8, 55.0, 0.3};
inline constexpr AtmospherePreset kFloodPreset{"Flood", "rays", 2.5, 2.1, 1.0, 80.0, 0.25};
inline constexpr AtmospherePreset kSubtlePreset{"Subtle", "moon.fill", 0.7, 1.2, 0.5, 40.0, 0.4};

// In the order of their shortcuts (Command-Shift-1, 2, 3) and of their buttons.
inline constexpr std::array<AtmospherePreset, 3> kAtmospherePresets{kCinemaPreset, kFloodPreset, kSubtlePreset};

// The one way every shortcut, button and pill applies a preset: the five
// values through their setters (each stores), always in this order.
void applyPreset(AppState& appState, const AtmospherePreset& preset);

}  // namespace tarvelo
