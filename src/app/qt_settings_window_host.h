#pragma once

#include <QUrl>
#include <memory>
#include <string>

#include "app/app_platform.h"

class QQmlEngine;

namespace tarvelo {

// Settings windows as Qt Quick windows hosting the Settings view, which finds
// `appState` in its context. The view keeps its own fixed size of 500 × 600
// and sits centred in the window.
class QtSettingsWindowHost final : public SettingsWindowHost {
 public:
  static constexpr int kFormWidth = 500;
  static constexpr int kFormHeight = 600;

  // The views are made by `engine`, which must outlive every window.
  QtSettingsWindowHost(QQmlEngine& engine, QUrl viewUrl);

  // Nullptr, after one line on standard error, when the view does not load.
  std::unique_ptr<SettingsWindow> createSettingsWindow(AppState& appState, const std::string& title, int width,
                                                       int height) override;
  // X11 has no application to activate, only windows: the Settings window
  // activates itself when it is brought to the front.
  void activateApplication() override {}

 private:
  QQmlEngine& engine_;
  QUrl viewUrl_;
};

}  // namespace tarvelo
