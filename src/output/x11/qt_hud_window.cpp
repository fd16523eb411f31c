#include "output/x11/qt_hud_window.h"

#include <QGuiApplication>
#include <QQmlEngine>
#include <QRect>
#include <QString>
#include <QVariantMap>
#include <cmath>
#include <string>
#include <utility>

#include "app/app_state.h"
#include "output/capsule_region.h"
#include "output/qt_geometry.h"
#include "output/x11/x11_window_hints.h"
#include "support/fatal_error.h"
#include "ui/ui_resources.h"

namespace tarvelo {

QtHudWindow::QtHudWindow(const DisplayRect& frame, AppState& appState, QQmlEngine& viewEngine,
                         std::function<void()> onDismiss)
    : onDismiss_(std::move(onDismiss)), view_(std::make_unique<QQuickView>(&viewEngine, nullptr)) {
  view_->setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                  Qt::NoDropShadowWindowHint);
  QSurfaceFormat format = view_->format();
  format.setAlphaBufferSize(8);
  view_->setFormat(format);
  view_->setColor(Qt::transparent);
  view_->setResizeMode(QQuickView::SizeRootObjectToView);

  const QRect geometry = pixelRect(frame);
  if (QScreen* screen = QGuiApplication::screenAt(geometry.center())) view_->setScreen(screen);
  view_->setGeometry(geometry);

  view_->setInitialProperties({{QStringLiteral("appState"), QVariant::fromValue<QObject*>(&appState)}});
  view_->setSource(ui::floatingHudViewUrl());
  hud_ = view_->rootObject();
  if (view_->status() != QQuickView::Ready || hud_ == nullptr) {
    QString reasons;
    for (const QQmlError& error : view_->errors()) reasons += QLatin1Char('\n') + error.toString();
    fatalError("The HUD view did not load:" + reasons.toStdString());
  }
  connect(hud_, SIGNAL(dismiss()), this, SLOT(dismissRequested()));

  fade_ = std::make_unique<QPropertyAnimation>(hud_.data(), "opacity");
  connect(fade_.get(), &QPropertyAnimation::finished, this, &QtHudWindow::fadeFinished);

  view_->create();
  composited_ = hasCompositingManager(*view_);
  capsule_ = hud_->findChild<QQuickItem*>(QStringLiteral("capsule"));
  // The capsule's place in the window follows its own size and its frame's
  // place and scale.
  for (QQuickItem* item : {capsule_.data(), hud_->findChild<QQuickItem*>(QStringLiteral("capsuleFrame"))}) {
    if (item == nullptr) continue;
    for (auto changed : {&QQuickItem::xChanged, &QQuickItem::yChanged, &QQuickItem::widthChanged,
                         &QQuickItem::heightChanged, &QQuickItem::scaleChanged}) {
      connect(item, changed, this, &QtHudWindow::scheduleShapeFit);
    }
  }
  reveal();
}

QtHudWindow::~QtHudWindow() = default;

void QtHudWindow::animateAlpha(double alpha, std::optional<double> durationSeconds) {
  fade_->stop();
  if (alpha > 0.0 && !view_->isVisible()) reveal();
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

double QtHudWindow::alpha() const { return hud_->opacity(); }

void QtHudWindow::orderOut() {
  fade_->stop();
  view_->hide();
}

void QtHudWindow::dismissRequested() {
  if (onDismiss_) onDismiss_();
}

// Window managers forget a withdrawn window's desktop and states, so they
// are written again before each mapping.
void QtHudWindow::reveal() {
  markAsOverlayWindow(*view_);
  view_->show();
  // Mapped after the light window, but a window manager may restack: the HUD
  // belongs above the light.
  view_->raise();
  fitShapeToCapsule();
}

void QtHudWindow::fadeFinished() {
  if (hud_->opacity() <= 0.0) view_->hide();
}

// Fits once the bindings a change set off have all settled.
void QtHudWindow::scheduleShapeFit() {
  if (shapeFitPending_) return;
  shapeFitPending_ = true;
  QMetaObject::invokeMethod(this, &QtHudWindow::fitShapeToCapsule, Qt::QueuedConnection);
}

void QtHudWindow::fitShapeToCapsule() {
  shapeFitPending_ = false;
  if (capsule_ == nullptr || !view_->handle()) return;
  const QRect capsule = capsule_->mapRectToScene(QRectF(0, 0, capsule_->width(), capsule_->height())).toAlignedRect();
  const std::vector<QRect> region = capsuleRegion(capsule);
  setWindowInputShape(*view_, region);
  // A compositor blends the translucent corners and the shadow with what lies
  // below; without one they would show as black, so the window is cut away there.
  if (!composited_) setWindowBoundingShape(*view_, region);
}

}  // namespace tarvelo
