#include "app/qt_panel_window.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QPalette>
#include <QScreen>
#include <QSurfaceFormat>
#include <cmath>

#include "app/app_state.h"
#include "app/panel_placement.h"
#include "app/qml_view_loading.h"
#include "output/x11/x11_window_hints.h"

namespace tarvelo {

namespace {

// A click on the tray icon first takes the focus from an open pop-up, which
// closes it, and only then reaches us as an activation; an activation this
// soon after such a close is that same click.
constexpr qint64 kSameClickMilliseconds = 400;

}  // namespace

QtPanelWindow::QtPanelWindow(QQmlEngine& engine, const QUrl& viewUrl, AppState& appState, Presentation presentation)
    : presentation_(presentation) {
  if (presentation_ == Presentation::popUp) {
    window_.setFlags(Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint);
    translucent_ = hasCompositingManager();
  } else {
    window_.setFlags(Qt::Window);
    window_.setTitle(QStringLiteral("Tarvelo"));
  }
  if (translucent_) {
    QSurfaceFormat format = window_.format();
    format.setAlphaBufferSize(8);
    window_.setFormat(format);
    window_.setColor(Qt::transparent);
  } else {
    window_.setColor(QGuiApplication::palette().color(QPalette::Window));
  }

  view_ = loadViewInto(window_, engine, viewUrl,
                       {{QStringLiteral("appState"), QVariant::fromValue<QObject*>(&appState)},
                        {QStringLiteral("translucentBackdrop"), translucent_}},
                       "panel view");
  if (view_ != nullptr) {
    view_->setWidth(kWidth);
    connect(view_, &QQuickItem::implicitHeightChanged, this, &QtPanelWindow::fitToContent);
    connect(view_, &QQuickItem::heightChanged, this, &QtPanelWindow::fitToContent);
    view_->forceActiveFocus();
  }
  fitToContent();

  window_.installEventFilter(this);
  connect(&window_, &QWindow::activeChanged, this, &QtPanelWindow::focusChanged);
}

QtPanelWindow::~QtPanelWindow() {
  // The view belongs to the window's content item; it goes before its engine.
  delete view_.data();
}

void QtPanelWindow::toggleNextTo(const QRect& anchor) {
  if (isShown()) {
    close();
    return;
  }
  if (sinceClosedByFocusLoss_.isValid() && sinceClosedByFocusLoss_.elapsed() < kSameClickMilliseconds) return;
  popUpNextTo(anchor);
}

void QtPanelWindow::popUpNextTo(const QRect& anchor) {
  if (view_ == nullptr) return;
  if (!isShown()) {
    QScreen* screen = QGuiApplication::screenAt(anchor.center());
    if (screen == nullptr) screen = QGuiApplication::primaryScreen();
    window_.setScreen(screen);
    window_.setPosition(panelPlacement(anchor, window_.size(), screen->availableGeometry()));
    window_.create();
    // Written before every mapping: window managers drop them on withdrawal.
    markAsOverlayWindow(window_);
  }
  bringToFront(window_);
}

void QtPanelWindow::bringForward() {
  if (view_ == nullptr) return;
  bringToFront(window_);
}

void QtPanelWindow::close() { window_.hide(); }

bool QtPanelWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched == &window_) {
    if (event->type() == QEvent::KeyPress && presentation_ == Presentation::popUp &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
      close();
      return true;
    }
    // Closing the window presentation hides it; it is shown again as it was.
    if (event->type() == QEvent::Close) {
      event->ignore();
      close();
      return true;
    }
  }
  return QObject::eventFilter(watched, event);
}

void QtPanelWindow::fitToContent() {
  double height = 1.0;
  if (view_ != nullptr) height = view_->implicitHeight() > 0.0 ? view_->implicitHeight() : view_->height();
  const QSize size(kWidth, std::max(1, static_cast<int>(std::ceil(height))));
  if (view_ != nullptr && view_->height() != size.height()) view_->setHeight(size.height());
  window_.setMinimumSize(size);
  window_.setMaximumSize(size);
  window_.resize(size);
}

void QtPanelWindow::focusChanged() {
  if (presentation_ != Presentation::popUp || window_.isActive() || !isShown()) return;
  close();
  sinceClosedByFocusLoss_.start();
}

}  // namespace tarvelo
