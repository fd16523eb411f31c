#pragma once

#include <cstdint>

namespace tarvelo {

// The user's defaults: eleven keys, each "tarvelo." plus the property name.
// The login-item state is deliberately not among them: it lives in the
// platform's login-item registry.
namespace settings_keys {
inline constexpr char kBrightness[] = "tarvelo.brightness";
inline constexpr char kVibrancy[] = "tarvelo.vibrancy";
inline constexpr char kSpread[] = "tarvelo.spread";
inline constexpr char kBlurRadius[] = "tarvelo.blurRadius";
inline constexpr char kSmoothing[] = "tarvelo.smoothing";
inline constexpr char kCaptureRate[] = "tarvelo.captureRate";
inline constexpr char kAutoStartOnLaunch[] = "tarvelo.autoStartOnLaunch";
inline constexpr char kShowFloatingHUD[] = "tarvelo.showFloatingHUD";
inline constexpr char kAutoDetectArrangement[] = "tarvelo.autoDetectArrangement";
inline constexpr char kSourceDisplayID[] = "tarvelo.sourceDisplayID";
inline constexpr char kTargetDisplayID[] = "tarvelo.targetDisplayID";
}  // namespace settings_keys

// What a setting holds when its key is absent, and what the Settings window's
// reset puts back. The "Cinema" preset is close to these but deliberately not
// the same.
namespace setting_defaults {
inline constexpr double kBrightness = 1.4;
inline constexpr double kVibrancy = 1.7;
inline constexpr double kSpread = 0.85;
inline constexpr double kBlurRadius = 60.0;
inline constexpr double kSmoothing = 0.3;
inline constexpr std::int64_t kCaptureRate = 30;
inline constexpr bool kAutoStartOnLaunch = false;
inline constexpr bool kShowFloatingHUD = true;
inline constexpr bool kAutoDetectArrangement = true;
}  // namespace setting_defaults

}  // namespace tarvelo
