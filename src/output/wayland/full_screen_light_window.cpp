#include "output/wayland/full_screen_light_window.h"

#include <QQuickItem>
#include <QScreen>

#include "output/ambient_gradient_view.h"

namespace tarvelo {

FullScreenLightWindow::FullScreenLightWindow(QScreen& screen, std::int64_t maximumFramesPerSecond)
    : window_(std::make_unique<QQuickWindow>()), view_(std::make_unique<AmbientGradientView>()) {
  window_->setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus);
  window_->setColor(Qt::black);
  window_->setTitle(QStringLiteral("Tarvelo Light"));
  // How --verbose finds the light among the program's windows to count its frames.
  window_->setObjectName(QStringLiteral("tarvelo-light"));
  // The output Qt names in its full-screen request.
  window_->setScreen(&screen);
  window_->setGeometry(screen.geometry());

  view_->setMaximumFrameRate(maximumFramesPerSecond);
  view_->setParentItem(window_->contentItem());
  view_->setSize(window_->size());
  QObject::connect(window_.get(), &QWindow::widthChanged, view_.get(), [this](int width) { view_->setWidth(width); });
  QObject::connect(window_.get(), &QWindow::heightChanged, view_.get(),
                   [this](int height) { view_->setHeight(height); });
  window_->showFullScreen();
}

FullScreenLightWindow::~FullScreenLightWindow() = default;

LightView* FullScreenLightWindow::view() { return view_.get(); }

void FullScreenLightWindow::orderOut() { window_->hide(); }

}  // namespace tarvelo
