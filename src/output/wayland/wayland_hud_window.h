#pragma once

#include <QObject>
#include <QQuickItem>
#include <QQuickRenderControl>
#include <QQuickWindow>
#include <QRect>
#include <functional>
#include <memory>
#include <optional>

#include "output/output_platform.h"
#include "output/hud_view.h"
#include "output/wayland/wayland_layer_light.h"

class QQmlEngine;

namespace tarvelo {

class AppState;

// The HUD on a Wayland compositor, drawn inside the layer light: a client can
// neither place a window of its own nor see the pointer outside its surfaces,
// so FloatingHUDView.qml is rendered offscreen (Qt Quick's software renderer,
// through a render control) into the light's overlay, and the pointer's news
// over the light is handed to the view here. Only what lands on the HUD's
// frame reaches it: clicks elsewhere on the light do nothing. A HUD faded to
// nothing leaves the overlay empty until it fades in again. Shown at alpha 1
// when constructed.
class WaylandHudWindow final : public QObject, public HudWindow {
  Q_OBJECT

 public:
  // Drawn into `light`'s overlay at `frame`, in the light's surface
  // coordinates. The view is made by `viewEngine`, which must outlive this.
  WaylandHudWindow(WaylandLayerLight& light, const QRect& frame, AppState& appState, QQmlEngine& viewEngine,
                   std::function<void()> onDismiss);
  ~WaylandHudWindow() override;

  WaylandHudWindow(const WaylandHudWindow&) = delete;
  WaylandHudWindow& operator=(const WaylandHudWindow&) = delete;

  void animateAlpha(double alpha, std::optional<double> durationSeconds) override;
  double alpha() const override;
  void orderOut() override;

  // The pointer over the light, in the light's surface coordinates.
  void handlePointer(const WaylandLayerLight::PointerEvent& event);
  // The light went first: nothing is drawn from now on.
  void forgetLight();

  QQuickItem& hudView() { return hud_->item(); }
  QQuickWindow& window() { return *window_; }
  const QRect& frame() const { return frame_; }
  // The output's scale the HUD is drawn at: its picture is the frame's size times this.
  int scale() const { return scale_; }
  // How many pictures of the HUD went to the light's overlay.
  int renderCount() const { return renderCount_; }

 private:
  void scheduleRender();
  void render();
  void fadedOut();
  void send(QEvent::Type type, QPointF position, Qt::MouseButton button);

  WaylandLayerLight* light_;
  QRect frame_;
  int scale_;
  std::unique_ptr<QQuickRenderControl> renderControl_;
  std::unique_ptr<QQuickWindow> window_;
  std::unique_ptr<HudView> hud_;
  // False while faded out (or ordered out): nothing is drawn then.
  bool shown_ = true;
  bool renderPending_ = false;
  bool pointerOver_ = false;
  Qt::MouseButtons buttons_;
  int renderCount_ = 0;
};

}  // namespace tarvelo
