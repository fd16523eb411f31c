#include "output/wayland/wayland_output_platform.h"

#include <QCursor>
#include <QGuiApplication>
#include <QPoint>
#include <QScreen>
#include <QSocketNotifier>

#include <iostream>
#include <utility>

#include "output/wayland/full_screen_light_window.h"
#include "output/wayland/wayland_layer_light.h"
#include "output/wayland/wayland_light_view.h"

namespace tarvelo {

namespace {

// The layer light with its view, kept going by the application's event loop:
// whatever the compositor sends (buffers given back, the surface's end) is
// handled as it arrives.
class WaylandLightWindow final : public LightWindow {
 public:
  WaylandLightWindow(std::unique_ptr<WaylandLayerLight> light, std::int64_t maximumFramesPerSecond)
      : light_(std::move(light)),
        view_(std::make_unique<WaylandLightView>(*light_)),
        input_(std::make_unique<QSocketNotifier>(light_->fileDescriptor(), QSocketNotifier::Read)) {
    view_->setMaximumFrameRate(maximumFramesPerSecond);
    light_->onLost = [](const std::string& reason) {
      std::cout << "[Tarvelo] The light screen's surface is gone: " << reason << std::endl;
    };
    QObject::connect(input_.get(), &QSocketNotifier::activated, [this] {
      // Once the light is lost its connection says nothing more worth reading.
      if (!light_->dispatch() && input_) input_->setEnabled(false);
    });
  }

  LightView* view() override { return view_.get(); }

  void orderOut() override {
    input_.reset();
    view_.reset();
    light_.reset();
  }

 private:
  std::unique_ptr<WaylandLayerLight> light_;
  std::unique_ptr<WaylandLightView> view_;
  std::unique_ptr<QSocketNotifier> input_;
};

// Qt's screen for a Wayland output: Qt names its screens after the outputs.
QScreen* qtScreenNamed(const std::string& outputName) {
  if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) return nullptr;
  for (QScreen* screen : QGuiApplication::screens()) {
    if (screen->name().toStdString() == outputName) return screen;
  }
  return nullptr;
}

}  // namespace

WaylandOutputPlatform::WaylandOutputPlatform(OutputNameForScreen outputNameForScreen, std::string displayName)
    : outputNameForScreen_(std::move(outputNameForScreen)), displayName_(std::move(displayName)) {}

std::unique_ptr<LightWindow> WaylandOutputPlatform::createLightWindow(const Screen& screen,
                                                                      std::int64_t maximumFramesPerSecond) {
  const std::string outputName = outputNameForScreen_ ? outputNameForScreen_(screen) : std::string();
  if (outputName.empty()) {
    std::cout << "[Tarvelo] No Wayland output shows " << screen.localizedName << "; the light stays off." << std::endl;
    return nullptr;
  }
  WaylandLayerLight::OpenResult opened = WaylandLayerLight::open(outputName, displayName_);
  if (!opened.light && opened.failure == WaylandLayerLight::Failure::noLayerShell) {
    if (QScreen* output = qtScreenNamed(outputName)) {
      return std::make_unique<FullScreenLightWindow>(*output, maximumFramesPerSecond);
    }
  }
  if (!opened.light) {
    std::cout << "[Tarvelo] The light cannot be shown on " << outputName << ": " << opened.error << std::endl;
    return nullptr;
  }
  return std::make_unique<WaylandLightWindow>(std::move(opened.light), maximumFramesPerSecond);
}

std::unique_ptr<HudWindow> WaylandOutputPlatform::createHudWindow(const DisplayRect& /*frame*/,
                                                                  AppState& /*appState*/,
                                                                  std::function<void()> /*onDismiss*/) {
  return nullptr;
}

std::optional<MonitorToken> WaylandOutputPlatform::addGlobalMouseMovedMonitor(std::function<void()> /*handler*/) {
  return std::nullopt;
}

void WaylandOutputPlatform::removeMonitor(MonitorToken /*token*/) {}

Point WaylandOutputPlatform::mouseLocation() {
  const QPoint position = QCursor::pos();
  return Point{static_cast<double>(position.x()), static_cast<double>(position.y())};
}

}  // namespace tarvelo
