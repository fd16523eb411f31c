#include "output/wayland/wayland_hud_window.h"

#include <linux/input-event-codes.h>

#include <QCoreApplication>
#include <QMouseEvent>
#include <QQmlComponent>
#include <QQmlEngine>
#include <QString>
#include <QVariantMap>
#include <cmath>
#include <utility>

#include "app/app_state.h"
#include "support/fatal_error.h"
#include "ui/ui_resources.h"

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
      onDismiss_(std::move(onDismiss)),
      renderControl_(std::make_unique<QQuickRenderControl>()),
      window_(std::make_unique<QQuickWindow>(renderControl_.get())) {
  window_->setColor(Qt::transparent);
  window_->setGeometry(QRect(QPoint(0, 0), frame.size()));
  window_->contentItem()->setSize(frame.size());

  QQmlComponent component(&viewEngine, ui::floatingHudViewUrl());
  QObject* made =
      component.createWithInitialProperties({{QStringLiteral("appState"), QVariant::fromValue<QObject*>(&appState)}});
  hud_.reset(qobject_cast<QQuickItem*>(made));
  if (!hud_) {
    delete made;
    QString reasons;
    for (const QQmlError& error : component.errors()) reasons += QLatin1Char('\n') + error.toString();
    fatalError("The HUD view did not load:" + reasons.toStdString());
  }
  QQmlEngine::setObjectOwnership(hud_.get(), QQmlEngine::CppOwnership);
  hud_->setParentItem(window_->contentItem());
  hud_->setSize(frame.size());
  connect(hud_.get(), SIGNAL(dismiss()), this, SLOT(dismissRequested()));

  fade_ = std::make_unique<QPropertyAnimation>(hud_.get(), "opacity");
  connect(fade_.get(), &QPropertyAnimation::finished, this, &WaylandHudWindow::fadeFinished);

  // Any change of the scene, a value shown or a step of a fade, is drawn once
  // the change has settled.
  connect(renderControl_.get(), &QQuickRenderControl::sceneChanged, this, &WaylandHudWindow::scheduleRender);
  connect(renderControl_.get(), &QQuickRenderControl::renderRequested, this, &WaylandHudWindow::scheduleRender);
  render();
}

WaylandHudWindow::~WaylandHudWindow() {
  fade_.reset();
  if (light_ != nullptr) light_->hideOverlay();
  hud_.reset();
  // The render control frees the scene graph, which the window still refers to.
  renderControl_.reset();
  window_.reset();
}

void WaylandHudWindow::animateAlpha(double alpha, std::optional<double> durationSeconds) {
  fade_->stop();
  if (alpha > 0.0 && !shown_) {
    shown_ = true;
    scheduleRender();
  }
  const double seconds = durationSeconds.value_or(kDefaultFadeSeconds);
  if (!(seconds > 0.0)) {
    hud_->setOpacity(alpha);
    fadeFinished();
    return;
  }
  fade_->setStartValue(hud_->opacity());
  fade_->setEndValue(alpha);
  fade_->setDuration(static_cast<int>(std::lround(seconds * 1000.0)));
  fade_->start();
}

double WaylandHudWindow::alpha() const { return hud_->opacity(); }

void WaylandHudWindow::orderOut() {
  fade_->stop();
  shown_ = false;
  if (light_ != nullptr) light_->hideOverlay();
}

void WaylandHudWindow::forgetLight() { light_ = nullptr; }

void WaylandHudWindow::dismissRequested() {
  if (onDismiss_) onDismiss_();
}

// A HUD faded to nothing takes no clicks: its overlay is empty and the light
// beneath ignores them.
void WaylandHudWindow::fadeFinished() {
  if (hud_->opacity() > 0.0) return;
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
                      frame_.x(), frame_.y());
  ++renderCount_;
}

void WaylandHudWindow::handlePointer(const WaylandLayerLight::PointerEvent& event) {
  using Kind = WaylandLayerLight::PointerEvent::Kind;
  const QPointF position(event.x - frame_.x(), event.y - frame_.y());
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
