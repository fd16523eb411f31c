#pragma once

#include "output/output_platform.h"
#include "output/quick_light_window.h"

class QScreen;
class QWindow;

namespace tarvelo {

// Makes `window` the light's window, ready to show: frameless, above normal
// and floating windows, on every desktop, out of taskbars and pagers, never
// focused, and transparent to the pointer (an empty input shape), so clicks
// and moves reach whatever lies below; covering `frame` (global
// coordinates) on `screen`, when there is one; named "light". Creates the
// native window.
void prepareLightWindow(QWindow& window, const DisplayRect& frame, QScreen* screen);

// The full-screen light as a Qt Quick window (prepared as above), opaque
// black, drawn by Qt Quick: by the GPU where there is one. Shown when constructed.
class QtLightWindow final : public QuickLightWindow {
 public:
  QtLightWindow(const DisplayRect& frame, QScreen* screen);
};

}  // namespace tarvelo
