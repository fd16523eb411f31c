#pragma once

#include <QObject>
#include <QPointer>
#include <QPropertyAnimation>
#include <QQuickItem>
#include <QQuickView>
#include <functional>
#include <memory>
#include <optional>

#include "output/output_platform.h"

namespace tarvelo {

class AppState;

// The HUD as a Qt Quick window: frameless, translucent, floating above the
// light, on every desktop, out of taskbars, hosting FloatingHUDView.qml
// bound to the application state. Its alpha is the opacity of the HUD's root
// item. A HUD faded to nothing is unmapped until it fades in again: an
// invisible window must not catch clicks, and without a compositor its
// transparent pixels would show as black. Pointer input is taken only inside
// the capsule; without a compositor the window is also cut to the capsule's
// shape. Shown at alpha 1 when constructed.
class QtHudWindow final : public QObject, public HudWindow {
  Q_OBJECT

 public:
  static constexpr double kDefaultFadeSeconds = 0.25;

  // The view is made by `viewEngine`, which must outlive this window.
  QtHudWindow(const DisplayRect& frame, AppState& appState, QQmlEngine& viewEngine, std::function<void()> onDismiss);
  ~QtHudWindow() override;

  void animateAlpha(double alpha, std::optional<double> durationSeconds) override;
  double alpha() const override;
  void orderOut() override;

  QQuickView& window() { return *view_; }
  // The root item of FloatingHUDView.
  QQuickItem& hudView() { return *hud_; }
  // How long the latest fade takes (or took).
  int fadeDurationMilliseconds() const { return fade_->duration(); }

 private slots:
  void dismissRequested();

 private:
  void reveal();
  void fadeFinished();
  void scheduleShapeFit();
  void fitShapeToCapsule();

  std::function<void()> onDismiss_;
  std::unique_ptr<QQuickView> view_;
  QPointer<QQuickItem> hud_;
  QPointer<QQuickItem> capsule_;
  bool composited_ = false;
  bool shapeFitPending_ = false;
  // Declared after the view: it animates the view's item.
  std::unique_ptr<QPropertyAnimation> fade_;
};

}  // namespace tarvelo
