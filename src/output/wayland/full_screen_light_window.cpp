#include "output/wayland/full_screen_light_window.h"

#include <QScreen>

#include "output/ambient_gradient_view.h"

namespace tarvelo {

FullScreenLightWindow::FullScreenLightWindow(QScreen& screen, std::int64_t maximumFramesPerSecond) {
  QQuickWindow& window = light_.window();
  window.setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
  window.setTitle(QStringLiteral("Tarvelo Light"));
  // The output Qt names in its full-screen request.
  window.setScreen(&screen);
  window.setGeometry(screen.geometry());
  light_.view().setMaximumFrameRate(maximumFramesPerSecond);
  window.showFullScreen();
}

FullScreenLightWindow::~FullScreenLightWindow() = default;

LightView* FullScreenLightWindow::view() { return &light_.view(); }

void FullScreenLightWindow::orderOut() { light_.window().hide(); }

}  // namespace tarvelo
