#include "output/wayland/wayland_hud_window.h"

#include <linux/input-event-codes.h>

#include <QCoreApplication>
#include <QImage>
#include <QMouseEvent>
#include <utility>

#include "app/app_state.h"

namespace tarvelo {

namespace {

Qt::MouseButton qtButton(std::uint32_t linuxButton) {
  switch (linuxButton) {
    case BTN_LEFT:
      return Qt::LeftButton;
    case BTN_RIGHT:
      return Qt::RightButton;
    case BTN_MIDDLE:
      return Qt::MiddleButton;
    default:
      return Qt::NoButton;
  }
}

}  // namespace

WaylandHudWindow::WaylandHudWindow(WaylandLayerLight& light, const QRect& frame, AppState& appState,
                                   QQmlEngine& viewEngine, std::function<void()> onDismiss)
    : light_(&light),
      frame_(frame),
      scale_(light.outputScale()),
      renderControl_(std::make_unique<QQuickRenderControl>()),
      window_(std::make_unique<QQuickWindow>(renderControl_.get())),
      hud_(std::make_unique<HudView>(viewEngine, appState, std::move(onDismiss))) {
  // On a scaled output the view is laid out at the frame's size and drawn
  // magnified, so that its text and edges are as sharp as the output's pixels.
  window_->setColor(Qt::transparent);
  window_->setGeometry(QRect(QPoint(0, 0), frame.size() * scale_));
  window_->contentItem()->setSize(frame.size() * scale_);
  hud_->item().setParentItem(window_->contentItem());
  hud_->item().setSize(frame.size());
  hud_->item().setTransformOrigin(QQuickItem::TopLeft);
  hud_->item().setScale(scale_);
  hud_->onFadedOut = [this] { fadedOut(); };

  // Any change of the scene, a value shown or a step of a fade, is drawn once
  // the change has settled.
  connect(renderControl_.get(), &QQuickRenderControl::sceneChanged, this, &WaylandHudWindow::scheduleRender);
  connect(renderControl_.get(), &QQuickRenderControl::renderRequested, this, &WaylandHudWindow::scheduleRender);
  render();
}

WaylandHudWindow::~WaylandHudWindow() {
  hud_->stopFading();
  if (light_ != nullptr) light_->hideOverlay();
  hud_.reset();
  // The render control frees the scene graph, which the window still refers to.
  renderControl_.reset();
  window_.reset();
}

void WaylandHudWindow::animateAlpha(double alpha, std::optional<double> durationSeconds) {
  if (alpha > 0.0 && !shown_) {
    shown_ = true;
    scheduleRender();
  }
  hud_->animateAlpha(alpha, durationSeconds);
}

double WaylandHudWindow::alpha() const { return hud_->alpha(); }

void WaylandHudWindow::orderOut() {
  hud_->stopFading();
  shown_ = false;
  if (light_ != nullptr) light_->hideOverlay();
}

void WaylandHudWindow::forgetLight() { light_ = nullptr; }

// A HUD faded to nothing takes no clicks: its overlay is empty and the light
// beneath ignores them.
void WaylandHudWindow::fadedOut() {
  shown_ = false;
  if (light_ != nullptr) light_->hideOverlay();
  if (pointerOver_) {
    pointerOver_ = false;
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(window_.get(), &leave);
  }
}

void WaylandHudWindow::scheduleRender() {
  if (renderPending_) return;
  renderPending_ = true;
  QMetaObject::invokeMethod(this, &WaylandHudWindow::render, Qt::QueuedConnection);
}

void WaylandHudWindow::render() {
  renderPending_ = false;
  if (!shown_ || light_ == nullptr) return;
  // The software renderer polishes, synchronises and draws in one go.
  const QImage picture = window_->grabWindow().convertToFormat(QImage::Format_ARGB32_Premultiplied);
  if (picture.isNull()) return;
  // Premultiplied ARGB32 is, byte by byte on a little-endian machine, the
  // compositor's ARGB8888: blue, green, red, alpha.
  light_->showOverlay(BgraPictureView{picture.constBits(), picture.width(), picture.height(), picture.bytesPerLine()},
                      frame_.x(), frame_.y(), scale_);
  ++renderCount_;
}

void WaylandHudWindow::handlePointer(const WaylandLayerLight::PointerEvent& event) {
  using Kind = WaylandLayerLight::PointerEvent::Kind;
  const QPointF position((event.x - frame_.x()) * scale_, (event.y - frame_.y()) * scale_);
  const bool over = shown_ && event.kind != Kind::leave && frame_.contains(QPoint(static_cast<int>(event.x),
                                                                                    static_cast<int>(event.y)));
  const Qt::MouseButton button = qtButton(event.button);
  switch (event.kind) {
    case Kind::motion:
      // A button held since a press on the HUD keeps its moves there, as a grab would.
      if (over || buttons_ != Qt::NoButton) send(QEvent::MouseMove, position, Qt::NoButton);
      break;
    case Kind::press:
      if (over && button != Qt::NoButton) {
        buttons_ |= button;
        send(QEvent::MouseButtonPress, position, button);
      }
      break;
    case Kind::release:
      if (buttons_.testFlag(button)) {
        buttons_ &= ~Qt::MouseButtons(button);
        send(QEvent::MouseButtonRelease, position, button);
      }
      break;
    case Kind::leave:
      buttons_ = Qt::NoButton;
      break;
  }
  if (pointerOver_ && !over && buttons_ == Qt::NoButton) {
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(window_.get(), &leave);
  }
  pointerOver_ = over;
}

void WaylandHudWindow::send(QEvent::Type type, QPointF position, Qt::MouseButton button) {
  QMouseEvent mouse(type, position, position, button, buttons_, Qt::NoModifier);
  QCoreApplication::sendEvent(window_.get(), &mouse);
}

}  // namespace tarvelo
