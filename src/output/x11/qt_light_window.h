#pragma once

#include "output/output_platform.h"
#include "output/quick_light_window.h"

class QScreen;

namespace tarvelo {

// The full-screen light as a Qt Quick window: frameless, opaque black, above
// normal and floating windows, on every desktop, out of taskbars and pagers,
// never focused, and transparent to the pointer (an empty input shape), so
// clicks and moves reach whatever lies below. Shown when constructed.
class QtLightWindow final : public QuickLightWindow {
 public:
  // Covers `frame` (global coordinates) on `screen`, when there is one.
  QtLightWindow(const DisplayRect& frame, QScreen* screen);
};

}  // namespace tarvelo
