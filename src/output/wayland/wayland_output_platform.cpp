#include "output/wayland/wayland_output_platform.h"

#include <QCursor>
#include <QGuiApplication>
#include <QPoint>
#include <QPointer>
#include <QRect>
#include <QScreen>
#include <QSocketNotifier>

#include <cmath>
#include <iostream>
#include <utility>

#include "output/wayland/full_screen_light_window.h"
#include "output/wayland/wayland_hud_window.h"
#include "output/wayland/wayland_layer_light.h"
#include "output/wayland/wayland_light_view.h"

namespace tarvelo {

// The layer light with its view, kept going by the application's event loop:
// whatever the compositor sends (buffers given back, the surface's end, the
// pointer) is handled as it arrives. The pointer's news is passed on from the
// event loop, never from inside the light's dispatch: the HUD's run toggle can
// close the very light that reported the click.
class WaylandLayerLightWindow final : public LightWindow {
 public:
  WaylandLayerLightWindow(WaylandOutputPlatform& platform, const Screen& screen,
                          std::unique_ptr<WaylandLayerLight> light, std::int64_t maximumFramesPerSecond)
      : platform_(platform),
        origin_{screen.frame.x, screen.frame.y},
        light_(std::move(light)),
        view_(std::make_unique<WaylandLightView>(*light_)),
        input_(std::make_unique<QSocketNotifier>(light_->fileDescriptor(), QSocketNotifier::Read)) {
    view_->setMaximumFrameRate(maximumFramesPerSecond);
    light_->onLost = [](const std::string& reason) {
      std::cout << "[Tarvelo] The light screen's surface is gone: " << reason << std::endl;
    };
    light_->onPointer = [this](const WaylandLayerLight::PointerEvent& event) {
      QMetaObject::invokeMethod(&events_, [this, event] { deliver(event); }, Qt::QueuedConnection);
    };
    QObject::connect(input_.get(), &QSocketNotifier::activated, [this] {
      // Once the light is lost its connection says nothing more worth reading.
      if (!light_->dispatch() && input_) input_->setEnabled(false);
    });
  }

  ~WaylandLayerLightWindow() override {
    orderOut();
    platform_.lightClosed(this);
  }

  LightView* view() override { return view_.get(); }

  void orderOut() override {
    if (hud_) hud_->forgetLight();
    input_.reset();
    view_.reset();
    light_.reset();
  }

  // Null once ordered out.
  WaylandLayerLight* layerLight() { return light_.get(); }
  Point origin() const { return origin_; }
  void setHud(WaylandHudWindow* hud) { hud_ = hud; }

 private:
  void deliver(const WaylandLayerLight::PointerEvent& event) {
    if (!light_) return;
    if (event.kind == WaylandLayerLight::PointerEvent::Kind::motion) {
      platform_.pointerMoved(Point{origin_.x + event.x, origin_.y + event.y});
    }
    if (hud_) hud_->handlePointer(event);
  }

  WaylandOutputPlatform& platform_;
  Point origin_;
  std::unique_ptr<WaylandLayerLight> light_;
  std::unique_ptr<WaylandLightView> view_;
  std::unique_ptr<QSocketNotifier> input_;
  QPointer<WaylandHudWindow> hud_;
  // Queued pointer news dies with the window.
  QObject events_;
};

namespace {

// Qt's screen for a Wayland output: Qt names its screens after the outputs.
QScreen* qtScreenNamed(const std::string& outputName) {
  if (qobject_cast<QGuiApplication*>(QCoreApplication::instance()) == nullptr) return nullptr;
  for (QScreen* screen : QGuiApplication::screens()) {
    if (screen->name().toStdString() == outputName) return screen;
  }
  return nullptr;
}

}  // namespace

WaylandOutputPlatform::WaylandOutputPlatform(QQmlEngine& viewEngine, OutputNameForScreen outputNameForScreen,
                                             std::string displayName)
    : viewEngine_(viewEngine),
      outputNameForScreen_(std::move(outputNameForScreen)),
      displayName_(std::move(displayName)) {}

WaylandOutputPlatform::~WaylandOutputPlatform() = default;

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
  auto window =
      std::make_unique<WaylandLayerLightWindow>(*this, screen, std::move(opened.light), maximumFramesPerSecond);
  layerLight_ = window.get();
  pointerOverLight_.reset();
  return window;
}

std::unique_ptr<HudWindow> WaylandOutputPlatform::createHudWindow(const DisplayRect& frame, AppState& appState,
                                                                  std::function<void()> onDismiss) {
  if (layerLight_ == nullptr || layerLight_->layerLight() == nullptr) return nullptr;
  const Point origin = layerLight_->origin();
  const QRect inLight(static_cast<int>(std::lround(frame.x - origin.x)), static_cast<int>(std::lround(frame.y - origin.y)),
                      static_cast<int>(std::lround(frame.width)), static_cast<int>(std::lround(frame.height)));
  auto hud = std::make_unique<WaylandHudWindow>(*layerLight_->layerLight(), inLight, appState, viewEngine_,
                                                std::move(onDismiss));
  layerLight_->setHud(hud.get());
  return hud;
}

std::optional<MonitorToken> WaylandOutputPlatform::addGlobalMouseMovedMonitor(std::function<void()> handler) {
  const MonitorToken token = nextMonitorToken_++;
  mouseMonitors_.emplace(token, std::move(handler));
  return token;
}

void WaylandOutputPlatform::removeMonitor(MonitorToken token) { mouseMonitors_.erase(token); }

Point WaylandOutputPlatform::mouseLocation() {
  if (pointerOverLight_) return *pointerOverLight_;
  const QPoint position = QCursor::pos();
  return Point{static_cast<double>(position.x()), static_cast<double>(position.y())};
}

void WaylandOutputPlatform::pointerMoved(Point location) {
  pointerOverLight_ = location;
  // A handler may remove its own monitor.
  const std::map<MonitorToken, std::function<void()>> monitors = mouseMonitors_;
  for (const auto& [token, handler] : monitors) {
    if (handler) handler();
  }
}

void WaylandOutputPlatform::lightClosed(WaylandLayerLightWindow* window) {
  if (layerLight_ != window) return;
  layerLight_ = nullptr;
  pointerOverLight_.reset();
}

}  // namespace tarvelo
