#pragma once

#include <QPointer>

#include <chrono>
#include <memory>
#include <optional>

#include "output/light_view.h"
#include "output/output_platform.h"
#include "support/main_queue.h"

namespace tarvelo {

class AppState;

// What the program shows on the light display while the lights run: the
// full-screen light window and, when the settings ask for it, the floating
// HUD near its bottom edge, which fades in while the pointer moves on the
// light display and fades out after a quiet spell. One controller per run;
// everything happens on the main thread, and every callback handed to the
// platform holds the controller weakly, so a late event after close() or
// after the controller is gone does nothing.
class AmbientLightWindow {
 public:
  AmbientLightWindow(OutputPlatform& platform, MainQueue& mainQueue);
  // Removes the mouse monitor if close() has not; windows go with their owners.
  ~AmbientLightWindow();

  AmbientLightWindow(const AmbientLightWindow&) = delete;
  AmbientLightWindow& operator=(const AmbientLightWindow&) = delete;

  // Shows the light window on `screen`; the HUD only if appState's
  // showFloatingHUD is on now (turning it on later waits for the next run).
  void setup(const Screen& screen, AppState& appState);
  // Tears everything down; harmless before setup() and when called again.
  void close();

  // The view that paints the light; null before setup() and after close().
  LightView* ambientView() const { return ambientView_; }

 private:
  void setupHUDWindow(const Screen& screen, AppState& appState);
  void resetHUDHideTimer(std::chrono::milliseconds delay);
  void handleUserMouseMovement();
  void dismissHUD();
  void showHUD();
  void hideHUD();

  OutputPlatform& platform_;
  MainQueue& mainQueue_;

  std::unique_ptr<LightWindow> window_;
  LightView* ambientView_ = nullptr;
  std::unique_ptr<HudWindow> hudWindow_;
  std::optional<MonitorToken> mouseMonitor_;
  std::unique_ptr<OneShotTimer> hudHideTimer_;
  std::optional<Screen> targetScreen_;
  QPointer<AppState> appState_;

  // Callbacks reach the controller only through a weak reference to this.
  std::shared_ptr<AmbientLightWindow*> liveness_;
};

}  // namespace tarvelo
