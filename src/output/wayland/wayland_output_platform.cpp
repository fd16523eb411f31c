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
#include "output/wayland/light_scene_hud.h"
#include "output/wayland/wayland_hud_window.h"
#include "output/wayland/wayland_layer_light.h"
#include "output/picture_light_view.h"

namespace tarvelo {

// A light the HUD lives in. The light is the one place where a Wayland client
// hears the pointer, so it tells the platform of each move over it, in the
// global display space.
class HudHostingLight : public LightWindow {
 public:
  HudHostingLight(WaylandOutputPlatform& platform, const Screen& screen)
      : platform_(platform), origin_{screen.frame.x, screen.frame.y} {}
  ~HudHostingLight() override { platform_.lightClosed(this); }

  HudHostingLight(const HudHostingLight&) = delete;
  HudHostingLight& operator=(const HudHostingLight&) = delete;

  // Null where the light can hold none: a layer light once ordered out.
  virtual std::unique_ptr<HudWindow> makeHud(const QRect& frameInLight, AppState& appState, QQmlEngine& viewEngine,
                                             std::function<void()> onDismiss) = 0;
  Point origin() const { return origin_; }

 protected:
  void pointerMovedTo(double x, double y) { platform_.pointerMoved(Point{origin_.x + x, origin_.y + y}); }

 private:
  WaylandOutputPlatform& platform_;
  Point origin_;
};

namespace {

// The layer light with its view, kept going by the application's event loop:
// whatever the compositor sends (buffers given back, the surface's end, the
// pointer) is handled as it arrives. The pointer's news is passed on from the
// event loop, never from inside the light's dispatch: the HUD's run toggle can
// close the very light that reported the click.
class WaylandLayerLightWindow final : public HudHostingLight {
 public:
  WaylandLayerLightWindow(WaylandOutputPlatform& platform, const Screen& screen,
                          std::unique_ptr<WaylandLayerLight> light, std::int64_t maximumFramesPerSecond)
      : HudHostingLight(platform, screen),
        light_(std::move(light)),
        view_(std::make_unique<PictureLightView>(*light_)),
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

  ~WaylandLayerLightWindow() override { orderOut(); }

  LightView* view() override { return view_.get(); }

  void orderOut() override {
    if (hud_) hud_->forgetLight();
    input_.reset();
    view_.reset();
    light_.reset();
  }

  std::unique_ptr<HudWindow> makeHud(const QRect& frameInLight, AppState& appState, QQmlEngine& viewEngine,
                                     std::function<void()> onDismiss) override {
    if (!light_) return nullptr;
    auto hud = std::make_unique<WaylandHudWindow>(*light_, frameInLight, appState, viewEngine, std::move(onDismiss));
    hud_ = hud.get();
    return hud;
  }

 private:
  void deliver(const WaylandLayerLight::PointerEvent& event) {
    if (!light_) return;
    if (event.kind == WaylandLayerLight::PointerEvent::Kind::motion) pointerMovedTo(event.x, event.y);
    if (hud_) hud_->handlePointer(event);
  }

  std::unique_ptr<WaylandLayerLight> light_;
  std::unique_ptr<PictureLightView> view_;
  std::unique_ptr<QSocketNotifier> input_;
  QPointer<WaylandHudWindow> hud_;
  // Queued pointer news dies with the window.
  QObject events_;
};

// The full-screen light, where the compositor has no layer shell: the HUD is
// an item of its scene, and Qt tells of the pointer's moves over it.
class FullScreenLight final : public HudHostingLight {
 public:
  FullScreenLight(WaylandOutputPlatform& platform, const Screen& screen, QScreen& output,
                  std::int64_t maximumFramesPerSecond)
      : HudHostingLight(platform, screen), light_(output, maximumFramesPerSecond) {
    light_.onPointerMoved = [this](QPointF position) { pointerMovedTo(position.x(), position.y()); };
  }

  LightView* view() override { return light_.view(); }
  void orderOut() override { light_.orderOut(); }

  std::unique_ptr<HudWindow> makeHud(const QRect& frameInLight, AppState& appState, QQmlEngine& viewEngine,
                                     std::function<void()> onDismiss) override {
    return std::make_unique<LightSceneHud>(*light_.window().contentItem(), frameInLight, appState, viewEngine,
                                           std::move(onDismiss));
  }

 private:
  FullScreenLightWindow light_;
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
      auto window = std::make_unique<FullScreenLight>(*this, screen, *output, maximumFramesPerSecond);
      light_ = window.get();
      pointerOverLight_.reset();
      return window;
    }
  }
  if (!opened.light) {
    std::cout << "[Tarvelo] The light cannot be shown on " << outputName << ": " << opened.error << std::endl;
    return nullptr;
  }
  auto window =
      std::make_unique<WaylandLayerLightWindow>(*this, screen, std::move(opened.light), maximumFramesPerSecond);
  light_ = window.get();
  pointerOverLight_.reset();
  return window;
}

std::unique_ptr<HudWindow> WaylandOutputPlatform::createHudWindow(const DisplayRect& frame, AppState& appState,
                                                                  std::function<void()> onDismiss) {
  if (light_ == nullptr) return nullptr;
  const Point origin = light_->origin();
  const QRect inLight(static_cast<int>(std::lround(frame.x - origin.x)), static_cast<int>(std::lround(frame.y - origin.y)),
                      static_cast<int>(std::lround(frame.width)), static_cast<int>(std::lround(frame.height)));
  return light_->makeHud(inLight, appState, viewEngine_, std::move(onDismiss));
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

void WaylandOutputPlatform::lightClosed(HudHostingLight* light) {
  if (light_ != light) return;
  light_ = nullptr;
  pointerOverLight_.reset();
}

}  // namespace tarvelo
