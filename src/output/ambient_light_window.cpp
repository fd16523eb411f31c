#include "output/ambient_light_window.h"

#include <utility>

#include "app/app_state.h"

namespace tarvelo {

namespace {

constexpr double kHudWidth = 520.0;
constexpr double kHudHeight = 50.0;
constexpr double kHudBottomMargin = 28.0;

// Long enough to be noticed when the lights come on.
constexpr std::chrono::milliseconds kHudInitialDelay{4500};
constexpr std::chrono::milliseconds kHudAfterMoveDelay{3500};

constexpr double kShowDurationSeconds = 0.25;
constexpr double kHideDurationSeconds = 0.5;

// Centred horizontally, 28 points above the screen's bottom edge.
DisplayRect hudFrame(const DisplayRect& screen) {
  return DisplayRect{screen.midX() - kHudWidth / 2.0, screen.y + screen.height - kHudBottomMargin - kHudHeight,
                     kHudWidth, kHudHeight};
}

bool contains(const DisplayRect& rect, const Point& point) {
  return point.x >= rect.x && point.x < rect.x + rect.width && point.y >= rect.y && point.y < rect.y + rect.height;
}

}  // namespace

AmbientLightWindow::AmbientLightWindow(OutputPlatform& platform, MainQueue& mainQueue)
    : platform_(platform), mainQueue_(mainQueue), liveness_(std::make_shared<AmbientLightWindow*>(this)) {}

AmbientLightWindow::~AmbientLightWindow() {
  if (mouseMonitor_) platform_.removeMonitor(*mouseMonitor_);
}

void AmbientLightWindow::setup(const Screen& screen, AppState& appState) {
  targetScreen_ = screen;
  appState_ = &appState;
  // The light never has newer colours than the capture delivers, so it is
  // not redrawn more often either.
  window_ = platform_.createLightWindow(screen, appState.captureRate());
  ambientView_ = window_ ? window_->view() : nullptr;
  if (appState.showFloatingHUD()) setupHUDWindow(screen, appState);
}

void AmbientLightWindow::setupHUDWindow(const Screen& screen, AppState& appState) {
  std::weak_ptr<AmbientLightWindow*> weak = liveness_;
  hudWindow_ = platform_.createHudWindow(hudFrame(screen.frame), appState, [weak] {
    if (const std::shared_ptr<AmbientLightWindow*> self = weak.lock()) (*self)->dismissHUD();
  });
  resetHUDHideTimer(kHudInitialDelay);
  MainQueue& mainQueue = mainQueue_;
  mouseMonitor_ = platform_.addGlobalMouseMovedMonitor([weak, &mainQueue] {
    mainQueue.post([weak] {
      if (const std::shared_ptr<AmbientLightWindow*> self = weak.lock()) (*self)->handleUserMouseMovement();
    });
  });
}

void AmbientLightWindow::resetHUDHideTimer(std::chrono::milliseconds delay) {
  if (hudHideTimer_) hudHideTimer_->invalidate();
  std::weak_ptr<AmbientLightWindow*> weak = liveness_;
  MainQueue& mainQueue = mainQueue_;
  hudHideTimer_ = mainQueue_.scheduleTimer(delay, [weak, &mainQueue] {
    mainQueue.post([weak] {
      const std::shared_ptr<AmbientLightWindow*> self = weak.lock();
      if (self && (*self)->hudWindow_) (*self)->hideHUD();
    });
  });
}

// The setting is read on every move, so turning the HUD off stops it from
// coming back at once, while a HUD already up still fades at its timer.
void AmbientLightWindow::handleUserMouseMovement() {
  if (!appState_ || !appState_->showFloatingHUD()) return;
  if (!targetScreen_) return;
  if (!contains(targetScreen_->frame, platform_.mouseLocation())) return;
  if (hudWindow_) showHUD();
  resetHUDHideTimer(kHudAfterMoveDelay);
}

// The HUD's own hide button. The timer is stopped but kept, and the window
// stays ordered in, so the next move on the light display brings it back.
void AmbientLightWindow::dismissHUD() {
  if (hudHideTimer_) hudHideTimer_->invalidate();
  if (hudWindow_) hudWindow_->animateAlpha(0.0, std::nullopt);
}

void AmbientLightWindow::showHUD() { hudWindow_->animateAlpha(1.0, kShowDurationSeconds); }

// Only transparent: the same window fades in again on the next move.
void AmbientLightWindow::hideHUD() { hudWindow_->animateAlpha(0.0, kHideDurationSeconds); }

void AmbientLightWindow::close() {
  if (mouseMonitor_) {
    platform_.removeMonitor(*mouseMonitor_);
    mouseMonitor_.reset();
  }
  if (hudHideTimer_) {
    hudHideTimer_->invalidate();
    hudHideTimer_.reset();
  }
  if (hudWindow_) {
    hudWindow_->orderOut();
    hudWindow_.reset();
  }
  if (window_) {
    window_->orderOut();
    window_.reset();
  }
  ambientView_ = nullptr;
  targetScreen_.reset();
}

}  // namespace tarvelo
