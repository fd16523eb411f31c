#include "output/x11/qt_hud_window.h"

#include <QGuiApplication>
#include <QRect>
#include <QScreen>
#include <QString>
#include <QSurfaceFormat>
#include <utility>

#include "app/app_state.h"
#include "output/capsule_region.h"
#include "output/qt_geometry.h"
#include "output/x11/x11_window_hints.h"

namespace tarvelo {

QtHudWindow::QtHudWindow(const DisplayRect& frame, AppState& appState, QQmlEngine& viewEngine,
                         std::function<void()> onDismiss)
    : window_(std::make_unique<QQuickWindow>()),
      hud_(std::make_unique<HudView>(viewEngine, appState, std::move(onDismiss))) {
  window_->setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                    Qt::NoDropShadowWindowHint);
  QSurfaceFormat format = window_->format();
  format.setAlphaBufferSize(8);
  window_->setFormat(format);
  window_->setColor(Qt::transparent);

  const QRect geometry = pixelRect(frame);
  if (QScreen* screen = QGuiApplication::screenAt(geometry.center())) window_->setScreen(screen);
  window_->setGeometry(geometry);

  // The view fills its window, whatever size the window ends up.
  QQuickItem& hud = hud_->item();
  hud.setParentItem(window_->contentItem());
  hud.setSize(window_->size());
  connect(window_.get(), &QWindow::widthChanged, &hud, [&hud](int width) { hud.setWidth(width); });
  connect(window_.get(), &QWindow::heightChanged, &hud, [&hud](int height) { hud.setHeight(height); });
  // Only transparent: the same window fades in again on the next move.
  hud_->onFadedOut = [this] { window_->hide(); };

  window_->create();
  composited_ = hasCompositingManager(*window_);
  capsule_ = hud.findChild<QQuickItem*>(QStringLiteral("capsule"));
  // The capsule's place in the window follows its own size and its frame's
  // place and scale.
  for (QQuickItem* item : {capsule_.data(), hud.findChild<QQuickItem*>(QStringLiteral("capsuleFrame"))}) {
    if (item == nullptr) continue;
    for (auto changed : {&QQuickItem::xChanged, &QQuickItem::yChanged, &QQuickItem::widthChanged,
                         &QQuickItem::heightChanged, &QQuickItem::scaleChanged}) {
      connect(item, changed, this, &QtHudWindow::scheduleShapeFit);
    }
  }
  reveal();
}

QtHudWindow::~QtHudWindow() { hud_->stopFading(); }

void QtHudWindow::animateAlpha(double alpha, std::optional<double> durationSeconds) {
  hud_->stopFading();
  if (alpha > 0.0 && !window_->isVisible()) reveal();
  hud_->animateAlpha(alpha, durationSeconds);
}

double QtHudWindow::alpha() const { return hud_->alpha(); }

void QtHudWindow::orderOut() {
  hud_->stopFading();
  window_->hide();
}

// Window managers forget a withdrawn window's desktop and states, so they
// are written again before each mapping.
void QtHudWindow::reveal() {
  markAsOverlayWindow(*window_);
  window_->show();
  // Mapped after the light window, but a window manager may restack: the HUD
  // belongs above the light.
  window_->raise();
  fitShapeToCapsule();
}

// Fits once the bindings a change set off have all settled.
void QtHudWindow::scheduleShapeFit() {
  if (shapeFitPending_) return;
  shapeFitPending_ = true;
  QMetaObject::invokeMethod(this, &QtHudWindow::fitShapeToCapsule, Qt::QueuedConnection);
}

void QtHudWindow::fitShapeToCapsule() {
  shapeFitPending_ = false;
  if (capsule_ == nullptr || !window_->handle()) return;
  const QRect capsule = capsule_->mapRectToScene(QRectF(0, 0, capsule_->width(), capsule_->height())).toAlignedRect();
  const std::vector<QRect> region = capsuleRegion(capsule);
  setWindowInputShape(*window_, region);
  // A compositor blends the translucent corners and the shadow with what lies
  // below; without one they would show as black, so the window is cut away there.
  if (!composited_) setWindowBoundingShape(*window_, region);
}

}  // namespace tarvelo
