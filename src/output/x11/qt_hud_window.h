#pragma once

#include <QObject>
#include <QPointer>
#include <QQuickItem>
#include <QQuickWindow>
#include <functional>
#include <memory>
#include <optional>

#include "output/hud_view.h"
#include "output/output_platform.h"

namespace tarvelo {

class AppState;

// The HUD as a Qt Quick window: frameless, translucent, floating above the
// light, on every desktop, out of taskbars, hosting FloatingHUDView.qml
// bound to the application state (HudView). A HUD faded to nothing is unmapped until it fades in again: an
// invisible window must not catch clicks, and without a compositor its
// transparent pixels would show as black. Pointer input is taken only inside
// the capsule; without a compositor the window is also cut to the capsule's
// shape. Shown at alpha 1 when constructed.
class QtHudWindow final : public QObject, public HudWindow {
  Q_OBJECT

 public:
  // The view is made by `viewEngine`, which must outlive this window.
  QtHudWindow(const DisplayRect& frame, AppState& appState, QQmlEngine& viewEngine, std::function<void()> onDismiss);
  ~QtHudWindow() override;

  void animateAlpha(double alpha, std::optional<double> durationSeconds) override;
  double alpha() const override;
  void orderOut() override;

  QQuickWindow& window() { return *window_; }
  // The root item of FloatingHUDView.
  QQuickItem& hudView() { return hud_->item(); }
  // How long the latest fade takes (or took).
  int fadeDurationMilliseconds() const { return hud_->fadeDurationMilliseconds(); }

 private:
  void reveal();
  void scheduleShapeFit();
  void fitShapeToCapsule();

  std::unique_ptr<QQuickWindow> window_;
  // Declared after the window: the item leaves its window's scene first.
  std::unique_ptr<HudView> hud_;
  QPointer<QQuickItem> capsule_;
  bool composited_ = false;
  bool shapeFitPending_ = false;
};

}  // namespace tarvelo
