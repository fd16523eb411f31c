#include "app/qt_settings_window.h"

#include <QGuiApplication>
#include <QPalette>
#include <QScreen>

#include "app/app_state.h"
#include "app/qml_view_loading.h"
#include "output/x11/x11_window_hints.h"

namespace tarvelo {

QtSettingsWindow::QtSettingsWindow(const std::string& title, int width, int height, int formWidth, int formHeight)
    : formWidth_(formWidth), formHeight_(formHeight) {
  // Keep-above is what window managers honour for a floating window; a
  // window of one fixed size (minimum = maximum) is not resizable to them.
  window_.setFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                   Qt::WindowMinimizeButtonHint | Qt::WindowCloseButtonHint | Qt::WindowStaysOnTopHint);
  window_.setTitle(QString::fromStdString(title));
  const QSize size(width, height);
  window_.setMinimumSize(size);
  window_.setMaximumSize(size);
  window_.resize(size);
  window_.setColor(QGuiApplication::palette().color(QPalette::Window));
  window_.installEventFilter(this);
}

QtSettingsWindow::~QtSettingsWindow() {
  // The view belongs to the window's content item; it goes before its engine.
  delete view_.data();
}

bool QtSettingsWindow::loadView(QQmlEngine& engine, const QUrl& viewUrl, AppState& appState) {
  view_ = loadViewInto(window_, engine, viewUrl, {{QStringLiteral("appState"), QVariant::fromValue<QObject*>(&appState)}},
                       "Settings view");
  if (view_ == nullptr) return false;
  view_->setSize(QSizeF(formWidth_, formHeight_));
  view_->setPosition(QPointF((window_.width() - formWidth_) / 2.0, (window_.height() - formHeight_) / 2.0));
  view_->forceActiveFocus();
  return true;
}

void QtSettingsWindow::makeKeyAndOrderFront() {
  if (!window_.isVisible()) {
    if (lastFramePosition_) {
      window_.setFramePosition(*lastFramePosition_);
    } else {
      QScreen* screen = QGuiApplication::primaryScreen();
      QRect centred(QPoint(), window_.size());
      centred.moveCenter(screen->availableGeometry().center());
      window_.setScreen(screen);
      window_.setPosition(centred.topLeft());
    }
  }
  bringToFront(window_);
}

// Closing hides the window instead of letting Qt tear its surface down, so
// the same window, at the same place, comes back.
bool QtSettingsWindow::eventFilter(QObject* watched, QEvent* event) {
  if (watched == &window_ && event->type() == QEvent::Close) {
    event->ignore();
    lastFramePosition_ = window_.framePosition();
    window_.hide();
    return true;
  }
  return QObject::eventFilter(watched, event);
}

}  // namespace tarvelo
