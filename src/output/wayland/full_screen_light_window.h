#pragma once

#include <QObject>
#include <QPointF>
#include <QQuickWindow>
#include <cstdint>
#include <functional>
#include <memory>

#include "output/output_platform.h"
#include "output/quick_light_window.h"

class QScreen;

namespace tarvelo {

class AmbientGradientView;

// The light where the compositor offers no layer shell (GNOME): a frameless
// toplevel that Qt asks the compositor to show full screen on the light
// screen's output, drawing the same Qt Quick light as on X11. Wayland lets no
// client place a toplevel or keep it above others, so full screen is the one
// way to cover exactly that output. It never asks for the keyboard; its input
// region is the whole surface, as the layer light's is, so it hears the
// pointer move over it. Shown when constructed.
class FullScreenLightWindow final : public LightWindow {
 public:
  // On `screen`; the light is redrawn at most `maximumFramesPerSecond` times
  // a second (zero or less: no limit).
  FullScreenLightWindow(QScreen& screen, std::int64_t maximumFramesPerSecond);
  ~FullScreenLightWindow() override;

  FullScreenLightWindow(const FullScreenLightWindow&) = delete;
  FullScreenLightWindow& operator=(const FullScreenLightWindow&) = delete;

  LightView* view() override;
  void orderOut() override;

  QQuickWindow& window() { return light_.window(); }
  AmbientGradientView& gradientView() { return light_.view(); }

  // Each move of the pointer over the light, in the window's coordinates.
  std::function<void(QPointF position)> onPointerMoved;

 private:
  class PointerWatch;

  QuickLightWindow light_;
  std::unique_ptr<PointerWatch> pointerWatch_;
};

}  // namespace tarvelo
