#include "app/qt_settings_window_host.h"

#include <utility>

#include "app/qt_settings_window.h"

namespace tarvelo {

QtSettingsWindowHost::QtSettingsWindowHost(QQmlEngine& engine, QUrl viewUrl)
    : engine_(engine), viewUrl_(std::move(viewUrl)) {}

std::unique_ptr<SettingsWindow> QtSettingsWindowHost::createSettingsWindow(AppState& appState,
                                                                           const std::string& title, int width,
                                                                           int height) {
  auto window = std::make_unique<QtSettingsWindow>(title, width, height, kFormWidth, kFormHeight);
  if (!window->loadView(engine_, viewUrl_, appState)) return nullptr;
  return window;
}

}  // namespace tarvelo
