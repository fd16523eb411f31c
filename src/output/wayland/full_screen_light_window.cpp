#include "output/wayland/full_screen_light_window.h"

#include <QMouseEvent>
#include <QObject>
#include <QScreen>

#include "output/ambient_gradient_view.h"

namespace tarvelo {

// Sees the window's pointer moves before its scene does, and lets them on.
class FullScreenLightWindow::PointerWatch final : public QObject {
 public:
  explicit PointerWatch(FullScreenLightWindow& light) : light_(light) {}

  // The pointer arriving over the light is a move too: a jump onto it comes
  // as an enter alone.
  bool eventFilter(QObject* /*watched*/, QEvent* event) override {
    if (!light_.onPointerMoved) return false;
    if (event->type() == QEvent::MouseMove) light_.onPointerMoved(static_cast<QMouseEvent*>(event)->position());
    if (event->type() == QEvent::Enter) light_.onPointerMoved(static_cast<QEnterEvent*>(event)->position());
    return false;
  }

 private:
  FullScreenLightWindow& light_;
};

FullScreenLightWindow::FullScreenLightWindow(QScreen& screen, std::int64_t maximumFramesPerSecond)
    : pointerWatch_(std::make_unique<PointerWatch>(*this)) {
  QQuickWindow& window = this->window();
  window.installEventFilter(pointerWatch_.get());
  window.setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
  window.setTitle(QStringLiteral("Tarvelo Light"));
  // The output Qt names in its full-screen request.
  window.setScreen(&screen);
  window.setGeometry(screen.geometry());
  gradientView().setMaximumFrameRate(maximumFramesPerSecond);
  window.showFullScreen();
}

FullScreenLightWindow::~FullScreenLightWindow() = default;

}  // namespace tarvelo
