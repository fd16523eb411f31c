#include "output/x11/x11_light_window.h"

#include "output/picture_light_view.h"
#include "output/qt_geometry.h"
#include "output/x11/qt_light_window.h"
#include "output/x11/x11_light_surface.h"

namespace tarvelo {

X11LightWindow::X11LightWindow(const DisplayRect& frame, QScreen* screen,
                               const std::optional<std::string>& displayName) {
  prepareLightWindow(window_, frame, screen);
  const QRect units = pixelRect(frame);
  surface_ = std::make_unique<X11LightSurface>(displayName, static_cast<xcb_window_t>(window_.winId()),
                                               units.width(), units.height());
  view_ = std::make_unique<PictureLightView>(*surface_);
  window_.show();
}

X11LightWindow::~X11LightWindow() = default;

LightView* X11LightWindow::view() { return view_.get(); }

void X11LightWindow::orderOut() { window_.hide(); }

void X11LightWindow::ExposedWindow::exposeEvent(QExposeEvent*) {
  if (isExposed() && owner_.surface_) owner_.surface_->redraw();
}

}  // namespace tarvelo
