#pragma once

#include <QPointF>
#include <cstdint>
#include <functional>
#include <memory>

#include "output/output_platform.h"
#include "output/quick_light_window.h"

class QScreen;

namespace tarvelo {

// The light where the compositor offers no layer shell (GNOME): a frameless
// toplevel that Qt asks the compositor to show full screen on the light
// screen's output, drawing the same Qt Quick light as on X11. Wayland lets no
// client place a toplevel or keep it above others, so full screen is the one
// way to cover exactly that output. It never asks for the keyboard; its input
// region is the whole surface, as the layer light's is, so it hears the
// pointer move over it. Shown when constructed.
class FullScreenLightWindow final : public QuickLightWindow {
 public:
  // On `screen`; the light is redrawn at most `maximumFramesPerSecond` times
  // a second (zero or less: no limit).
  FullScreenLightWindow(QScreen& screen, std::int64_t maximumFramesPerSecond);
  ~FullScreenLightWindow() override;

  // Each move of the pointer over the light, in the window's coordinates.
  std::function<void(QPointF position)> onPointerMoved;

 private:
  class PointerWatch;

  std::unique_ptr<PointerWatch> pointerWatch_;
};

}  // namespace tarvelo
