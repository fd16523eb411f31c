#include "app/tarvelo_app.h"

#include <iostream>

namespace tarvelo {

TarveloApp::TarveloApp() : appState_(platform_.services()) {
  if (TrayIcon::isAvailable()) {
    trayIcon_ = std::make_unique<TrayIcon>(appState_);
  } else {
    std::cerr << "tarvelo: no system tray is running; use the keyboard shortcuts (Super+Shift+L toggles the lights)"
              << std::endl;
  }
}

}  // namespace tarvelo
