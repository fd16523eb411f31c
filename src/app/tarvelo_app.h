#pragma once

#include <memory>

#include "app/app_state.h"
#include "app/linux_platform.h"
#include "app/tray_icon.h"

namespace tarvelo {

// The application: the platform, the one AppState that lives as long as the
// process, and the tray icon that is its face.
class TarveloApp {
 public:
  TarveloApp();

  AppState& appState() { return appState_; }

 private:
  LinuxPlatform platform_;
  AppState appState_;
  std::unique_ptr<TrayIcon> trayIcon_;
};

}  // namespace tarvelo
