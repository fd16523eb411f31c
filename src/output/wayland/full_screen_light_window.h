#pragma once

#include <QQuickWindow>
#include <cstdint>
#include <memory>

#include "output/output_platform.h"

class QScreen;

namespace tarvelo {

class AmbientGradientView;

// The light where the compositor offers no layer shell (GNOME): a frameless
// toplevel that Qt asks the compositor to show full screen on the light
// screen's output, drawing the same Qt Quick light as on X11. Wayland lets no
// client place a toplevel or keep it above others, so full screen is the one
// way to cover exactly that output. It never asks for the keyboard; its input
// region is the whole surface, as the layer light's is. Shown when constructed.
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

  QQuickWindow& window() { return *window_; }
  AmbientGradientView& gradientView() { return *view_; }

 private:
  std::unique_ptr<QQuickWindow> window_;
  // Declared after the window: the item leaves its window's scene first.
  std::unique_ptr<AmbientGradientView> view_;
};

}  // namespace tarvelo
