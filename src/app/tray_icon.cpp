#include "app/tray_icon.h"

#include <QApplication>
#include <QCursor>
#include <QIcon>
#include <utility>

#include "app/app_state.h"
#include "output/x11/x11_window_hints.h"
#include "ui/ui_resources.h"

namespace tarvelo {

namespace {

QIcon bulbIcon(bool lit) {
  return QIcon(ui::iconPath(lit ? QStringLiteral("lightbulb-lit") : QStringLiteral("lightbulb")));
}

}  // namespace

TrayIcon::TrayIcon(AppState& appState, std::function<void(const QRect& anchor)> onClicked, QObject* parent)
    : QObject(parent), appState_(appState), onClicked_(std::move(onClicked)), toggleAction_(menu_.addAction(QString())) {
  connect(toggleAction_, &QAction::triggered, &appState_, &AppState::toggleLights);
  connect(menu_.addAction(QStringLiteral("Settings\u2026")), &QAction::triggered, &appState_,
          &AppState::openSettingsWindow);
  menu_.addSeparator();
  connect(menu_.addAction(QStringLiteral("Quit")), &QAction::triggered, this, &TrayIcon::quit);
  // Under XEmbed a click that follows the last one quickly arrives as a double
  // click instead of a trigger; to the person it is simply the next click.
  connect(&icon_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
    const bool click = reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick;
    if (click && onClicked_) onClicked_(anchor());
  });
  connect(&appState_, &AppState::isRunningChanged, this, &TrayIcon::showState);
  icon_.setContextMenu(&menu_);
  icon_.setToolTip(QStringLiteral("Tarvelo"));
  showState();
  icon_.show();
}

bool TrayIcon::isAvailable() { return QSystemTrayIcon::isSystemTrayAvailable(); }

QRect TrayIcon::anchor() const {
  QRect anchor = icon_.geometry();
  if (!anchor.isValid() || anchor.isEmpty()) anchor = QRect(QCursor::pos(), QSize(1, 1));
  // The panel goes past the tray bar the icon sits in, not over its edge.
  if (const std::optional<Dock> dock = dockAt(anchor.center())) {
    const QRect& bar = dock->geometry;
    if (dock->orientation == Qt::Horizontal) return {anchor.left(), bar.top(), anchor.width(), bar.height()};
    return {bar.left(), anchor.top(), bar.width(), anchor.height()};
  }
  return anchor;
}

void TrayIcon::showState() {
  const bool running = appState_.isRunning();
  icon_.setIcon(bulbIcon(running));
  toggleAction_->setText(running ? QStringLiteral("Stop Lights") : QStringLiteral("Start Lights"));
}

// The light window must come down before the process goes.
void TrayIcon::quit() {
  appState_.stop();
  QApplication::quit();
}

}  // namespace tarvelo
