#pragma once

#include <memory>

#include "app/app_state.h"
#include "app/instance_command.h"
#include "app/linux_platform.h"
#include "app/tray_icon.h"
#include "app/verbose_reporter.h"

namespace tarvelo {

// The application: the platform, the one AppState that lives as long as the
// process, and the tray icon that is its face.
class TarveloApp {
 public:
  // `verbose`: print the capture and light figures every 10 seconds.
  explicit TarveloApp(bool verbose = false);

  AppState& appState() { return appState_; }

  // Carries out what a launch asked for: this one's own option, or a later
  // launch's command handed over the instance channel.
  void perform(InstanceCommand command);
  // Brings the program's controls forward. Until the tray panel exists, that
  // is the Settings window.
  void showControls();

 private:
  LinuxPlatform platform_;
  AppState appState_;
  std::unique_ptr<TrayIcon> trayIcon_;
  std::unique_ptr<VerboseReporter> verboseReporter_;
};

}  // namespace tarvelo
