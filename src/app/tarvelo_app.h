#pragma once

#include <QUrl>
#include <memory>

#include "app/app_state.h"
#include "app/instance_command.h"
#include "app/linux_platform.h"
#include "app/qt_panel_window.h"
#include "app/tray_icon.h"
#include "app/verbose_reporter.h"

namespace tarvelo {

// The application: the platform, the one AppState that lives as long as the
// process, and its face: the tray icon with the panel that drops from it, or,
// where no tray host runs, the panel in a window of its own, opened at once.
class TarveloApp {
 public:
  // `verbose`: print the capture and light figures every 10 seconds.
  TarveloApp(const QUrl& panelViewUrl, const QUrl& settingsViewUrl, bool verbose = false);

  AppState& appState() { return appState_; }

  // Carries out what a launch asked for: this one's own option, or a later
  // launch's command handed over the instance channel.
  void perform(InstanceCommand command);
  // Brings the controls forward: the panel at the tray icon, or its window.
  void showControls();

 private:
  LinuxPlatform platform_;
  AppState appState_;
  std::unique_ptr<QtPanelWindow> panel_;
  std::unique_ptr<TrayIcon> trayIcon_;
  std::unique_ptr<VerboseReporter> verboseReporter_;
};

}  // namespace tarvelo
