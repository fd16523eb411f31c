#include "app/tarvelo_app.h"

namespace tarvelo {

TarveloApp::TarveloApp(const QUrl& panelViewUrl, const QUrl& settingsViewUrl, bool verbose)
    : platform_(settingsViewUrl), appState_(platform_.services()) {
  if (verbose) verboseReporter_ = std::make_unique<VerboseReporter>(appState_);
  if (TrayIcon::isAvailable()) {
    panel_ = std::make_unique<QtPanelWindow>(platform_.viewEngine(), panelViewUrl, appState_,
                                             QtPanelWindow::Presentation::popUp);
    trayIcon_ = std::make_unique<TrayIcon>(appState_, [this](const QRect& anchor) { panel_->toggleNextTo(anchor); });
  } else {
    panel_ = std::make_unique<QtPanelWindow>(platform_.viewEngine(), panelViewUrl, appState_,
                                             QtPanelWindow::Presentation::window);
    panel_->bringForward();
  }
}

void TarveloApp::showControls() {
  if (trayIcon_) {
    panel_->popUpNextTo(trayIcon_->anchor());
  } else {
    panel_->bringForward();
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

}  // namespace tarvelo
