#include "output/x11/x11_output_platform.h"

#include <QCursor>
#include <QGuiApplication>
#include <QPoint>
#include <QQuickWindow>
#include <QRect>
#include <QScreen>
#include <stdexcept>
#include <utility>

#include "output/ambient_gradient_view.h"
#include "output/picture_light_view.h"
#include "output/x11/qt_hud_window.h"
#include "output/x11/qt_light_window.h"
#include "output/x11/x11_light_window.h"
#include "output/x11/x11_mouse_monitor.h"

namespace tarvelo {

namespace {

bool sameFrame(const QRect& geometry, const DisplayRect& frame) {
  return DisplayRect{static_cast<double>(geometry.x()), static_cast<double>(geometry.y()),
                     static_cast<double>(geometry.width()), static_cast<double>(geometry.height())} == frame;
}

}  // namespace

X11OutputPlatform::X11OutputPlatform(QQmlEngine& viewEngine, OutputIdForName outputIdForName,
                                     std::optional<std::string> displayName)
    : viewEngine_(viewEngine), outputIdForName_(std::move(outputIdForName)), displayName_(std::move(displayName)) {}

X11OutputPlatform::~X11OutputPlatform() = default;

QScreen* X11OutputPlatform::qtScreenFor(const Screen& screen) const {
  const QList<QScreen*> screens = QGuiApplication::screens();
  if (screen.displayNumber && outputIdForName_) {
    // On X11 a QScreen is named after the RandR output that shows it.
    for (QScreen* candidate : screens) {
      if (outputIdForName_(candidate->name().toStdString()) == screen.displayNumber) return candidate;
    }
  }
  for (QScreen* candidate : screens) {
    if (sameFrame(candidate->geometry(), screen.frame)) return candidate;
  }
  return nullptr;
}

// Without a GPU the light is stretched straight into memory the server
// copies to the screen; Qt Quick's software renderer would add its scene
// graph, its backing store and a round trip per frame to the same work. With
// a GPU, Qt Quick has the GPU stretch it. A server without MIT-SHM gets Qt
// Quick either way.
std::unique_ptr<LightWindow> X11OutputPlatform::createLightWindow(const Screen& screen,
                                                                  std::int64_t maximumFramesPerSecond) {
  QScreen* qtScreen = qtScreenFor(screen);
  if (QQuickWindow::sceneGraphBackend() == QLatin1String("software")) {
    try {
      auto window = std::make_unique<X11LightWindow>(screen.frame, qtScreen, displayName_);
      window->pictureView().setMaximumFrameRate(maximumFramesPerSecond);
      return window;
    } catch (const std::runtime_error&) {
      // Qt Quick draws it below, on any server.
    }
  }
  auto window = std::make_unique<QtLightWindow>(screen.frame, qtScreen);
  window->gradientView().setMaximumFrameRate(maximumFramesPerSecond);
  return window;
}

std::unique_ptr<HudWindow> X11OutputPlatform::createHudWindow(const DisplayRect& frame, AppState& appState,
                                                              std::function<void()> onDismiss) {
  return std::make_unique<QtHudWindow>(frame, appState, viewEngine_, std::move(onDismiss));
}

std::optional<MonitorToken> X11OutputPlatform::addGlobalMouseMovedMonitor(std::function<void()> handler) {
  std::unique_ptr<X11MouseMonitor> monitor = X11MouseMonitor::start(displayName_, std::move(handler));
  if (!monitor) return std::nullopt;
  const MonitorToken token = nextToken_++;
  monitors_.emplace(token, std::move(monitor));
  return token;
}

void X11OutputPlatform::removeMonitor(MonitorToken token) { monitors_.erase(token); }

Point X11OutputPlatform::mouseLocation() {
  const QPoint position = QCursor::pos();
  return Point{static_cast<double>(position.x()), static_cast<double>(position.y())};
}

}  // namespace tarvelo
