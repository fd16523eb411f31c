#include "output/x11/qt_light_window.h"

#include <QQuickItem>
#include <QRect>
#include <cmath>

#include "output/ambient_gradient_view.h"
#include "output/qt_geometry.h"
#include "output/x11/x11_window_hints.h"

namespace tarvelo {

QtLightWindow::QtLightWindow(const DisplayRect& frame, QScreen* screen)
    : window_(std::make_unique<QQuickWindow>()), view_(std::make_unique<AmbientGradientView>()) {
  // Stays on top: _NET_WM_STATE_ABOVE, under which window managers keep
  // docks and panels above it. Not accepting focus: it never takes the
  // keyboard from the application the user is in.
  window_->setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                    Qt::WindowTransparentForInput | Qt::NoDropShadowWindowHint);
  window_->setColor(Qt::black);
  // How --verbose finds the light among the program's windows to count its frames.
  window_->setObjectName(QStringLiteral("tarvelo-light"));
  if (screen != nullptr) window_->setScreen(screen);
  window_->setGeometry(pixelRect(frame));

  view_->setParentItem(window_->contentItem());
  view_->setSize(window_->size());
  QObject::connect(window_.get(), &QWindow::widthChanged, view_.get(), [this](int width) { view_->setWidth(width); });
  QObject::connect(window_.get(), &QWindow::heightChanged, view_.get(),
                   [this](int height) { view_->setHeight(height); });

  window_->create();
  markAsOverlayWindow(*window_);
  // Qt makes a window transparent for input through XFIXES only; an empty
  // input shape does the same where the server lacks XFIXES.
  setWindowInputShape(*window_, {});
  window_->show();
}

QtLightWindow::~QtLightWindow() = default;

LightView* QtLightWindow::view() { return view_.get(); }

void QtLightWindow::orderOut() { window_->hide(); }

}  // namespace tarvelo
