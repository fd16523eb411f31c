#pragma once

#include <QImage>
#include <QSize>

#include <chrono>
#include <memory>

#include "output/light_picture.h"
#include "pipeline/zone_color.h"

namespace tarvelo {

class AmbientGradientView;

// Renders the ambient light offscreen with the very view the light window
// shows, for tools and tests. It draws through OpenGL when the platform
// offers it (a display is present) and through Qt Quick's software renderer
// otherwise (QT_QPA_PLATFORM=offscreen), so it works without a display.
//
// Time is driven by rendering, not by the clock: the light's glide runs on a
// clock of the renderer's own, which each renderFrame() moves by the step it
// is given. A QGuiApplication must exist for the renderer's whole life.
class OffscreenLightRenderer {
 public:
  // Throws std::runtime_error for an empty size or when the platform cannot
  // render at all.
  explicit OffscreenLightRenderer(QSize size, LightResolution resolution = LightResolution::reduced);
  ~OffscreenLightRenderer();

  OffscreenLightRenderer(const OffscreenLightRenderer&) = delete;
  OffscreenLightRenderer& operator=(const OffscreenLightRenderer&) = delete;

  AmbientGradientView& view();
  bool usesOpenGL() const;

  // Moves the glide's clock on by `step`, then renders one frame: an
  // opaque image of the given size, top row first.
  QImage renderFrame(std::chrono::milliseconds step = std::chrono::milliseconds(0));
  // Renders once any colour change in flight has finished.
  QImage renderSettled();

  // The light for one frame's zone colours with these settings, after its
  // colour change has finished.
  static QImage render(QSize size, const ZoneColorList& colors, double brightness, double spread, double blurRadius,
                       LightResolution resolution = LightResolution::reduced);

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tarvelo
