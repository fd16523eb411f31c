#include "app/tray_icon.h"

#include <QApplication>
#include <QIcon>

#include "app/app_state.h"
#include "ui/ui_resources.h"

namespace tarvelo {

namespace {

QIcon bulbIcon(bool lit) {
  return QIcon(ui::iconPath(lit ? QStringLiteral("lightbulb-lit") : QStringLiteral("lightbulb")));
}

}  // namespace

TrayIcon::TrayIcon(AppState& appState, QObject* parent)
    : QObject(parent), appState_(appState), toggleAction_(menu_.addAction(QString())) {
  menu_.addSeparator();
  connect(menu_.addAction(QStringLiteral("Quit")), &QAction::triggered, this, &TrayIcon::quit);
  connect(toggleAction_, &QAction::triggered, &appState_, &AppState::toggleLights);
  connect(&icon_, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
    if (reason == QSystemTrayIcon::Trigger) appState_.toggleLights();
  });
  connect(&appState_, &AppState::isRunningChanged, this, &TrayIcon::showState);
  icon_.setContextMenu(&menu_);
  icon_.setToolTip(QStringLiteral("Tarvelo"));
  showState();
  icon_.show();
}

bool TrayIcon::isAvailable() { return QSystemTrayIcon::isSystemTrayAvailable(); }

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
