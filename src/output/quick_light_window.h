#pragma once

#include <QQuickWindow>
#include <memory>

#include "output/output_platform.h"

namespace tarvelo {

class AmbientGradientView;

// The Qt Quick light in a window of its own: an opaque black window and the
// light view that fills it, following its size. The platforms' light windows
// (QtLightWindow on X11, FullScreenLightWindow on a Wayland compositor
// without a layer shell) give it their flags and place it.
class QuickLightWindow : public LightWindow {
 public:
  QuickLightWindow();
  ~QuickLightWindow() override;

  QuickLightWindow(const QuickLightWindow&) = delete;
  QuickLightWindow& operator=(const QuickLightWindow&) = delete;

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
