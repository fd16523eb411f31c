#pragma once

#include <QObject>
#include <QPropertyAnimation>
#include <QQuickItem>
#include <functional>
#include <memory>
#include <optional>

class QQmlEngine;

namespace tarvelo {

// The floating HUD's QML view (FloatingHUDView.qml), made by the program's
// one engine and bound to the application state, with the fade its hosts
// give it: its alpha is the opacity of the view's root item. Its hosts are
// the HUD window on X11 and, on a Wayland session, the light itself: the
// layer light's overlay, or the full-screen light's own scene.
class HudView final : public QObject {
  Q_OBJECT

 public:
  static constexpr double kDefaultFadeSeconds = 0.25;

  // `engine` must outlive the view; `appState` is the AppState the view binds
  // to; the view's hide button calls `onDismiss`.
  HudView(QQmlEngine& engine, QObject& appState, std::function<void()> onDismiss);
  ~HudView() override;

  HudView(const HudView&) = delete;
  HudView& operator=(const HudView&) = delete;

  QQuickItem& item() { return *item_; }

  // Fades to `alpha` over `durationSeconds` (kDefaultFadeSeconds without
  // one; at once for zero or less).
  void animateAlpha(double alpha, std::optional<double> durationSeconds);
  double alpha() const { return item_->opacity(); }
  void stopFading() { fade_->stop(); }
  int fadeDurationMilliseconds() const { return fade_->duration(); }

  // Called whenever a fade, or an instant change, leaves the view at alpha zero.
  std::function<void()> onFadedOut;

 private slots:
  void dismissRequested();

 private:
  void fadeFinished();

  std::function<void()> onDismiss_;
  std::unique_ptr<QQuickItem> item_;
  std::unique_ptr<QPropertyAnimation> fade_;
};

}  // namespace tarvelo
