#include "app/tarvelo_app.h"

#include <iostream>

namespace tarvelo {

TarveloApp::TarveloApp(bool verbose) : appState_(platform_.services()) {
  if (verbose) verboseReporter_ = std::make_unique<VerboseReporter>(appState_);
  if (TrayIcon::isAvailable()) {
    trayIcon_ = std::make_unique<TrayIcon>(appState_);
  } else {
    std::cerr << "tarvelo: no system tray is running; use the keyboard shortcuts (Super+Shift+L toggles the lights)"
              << std::endl;
  }
}

void TarveloApp::perform(InstanceCommand command) {
  switch (command) {
    case InstanceCommand::ShowControls:
      showControls();
      break;
    case InstanceCommand::OpenSettings:
      appState_.openSettingsWindow();
      break;
    case InstanceCommand::ToggleLights:
      appState_.toggleLights();
      break;
    case InstanceCommand::StartLights:
      appState_.start();
      break;
    case InstanceCommand::StopLights:
      appState_.stop();
      break;
  }
}

void TarveloApp::showControls() { appState_.openSettingsWindow(); }

}  // namespace tarvelo
