#include "output/x11/qt_light_window.h"

#include <QRect>
#include <QWindow>

#include "output/qt_geometry.h"
#include "output/x11/x11_window_hints.h"

namespace tarvelo {

void prepareLightWindow(QWindow& window, const DisplayRect& frame, QScreen* screen) {
  // For whoever looks for it among the program's windows (tests, inspectors).
  window.setObjectName(QStringLiteral("light"));
  // Stays on top: _NET_WM_STATE_ABOVE, under which window managers keep
  // docks and panels above it. Not accepting focus: it never takes the
  // keyboard from the application the user is in.
  window.setFlags(Qt::Window | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus |
                  Qt::WindowTransparentForInput | Qt::NoDropShadowWindowHint);
  if (screen != nullptr) window.setScreen(screen);
  window.setGeometry(pixelRect(frame));

  window.create();
  markAsOverlayWindow(window);
  // Qt makes a window transparent for input through XFIXES only; an empty
  // input shape does the same where the server lacks XFIXES.
  setWindowInputShape(window, {});
}

QtLightWindow::QtLightWindow(const DisplayRect& frame, QScreen* screen) {
  prepareLightWindow(window(), frame, screen);
  window().show();
}

}  // namespace tarvelo
