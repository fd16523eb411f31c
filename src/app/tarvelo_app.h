#pragma once

#include <QUrl>
#include <memory>

#include "app/app_state.h"
#include "app/linux_platform.h"
#include "app/qt_panel_window.h"
#include "app/tray_icon.h"

namespace tarvelo {

// The application: the platform, the one AppState that lives as long as the
// process, and its face: the tray icon with the panel that drops from it, or,
// where no tray host runs, the panel in a window of its own, opened at once.
class TarveloApp {
 public:
  TarveloApp(const QUrl& panelViewUrl, const QUrl& settingsViewUrl);

  AppState& appState() { return appState_; }

  // Brings the controls forward: the panel at the tray icon, or its window.
  void showControls();

 private:
  LinuxPlatform platform_;
  AppState appState_;
  std::unique_ptr<QtPanelWindow> panel_;
  std::unique_ptr<TrayIcon> trayIcon_;
};

}  // namespace tarvelo
