#pragma once

#include "pipeline/zone_color.h"

namespace tarvelo {

// What run control needs of the view that paints the light: one call per frame,
// on the main thread.
class LightView {
 public:
  virtual ~LightView() = default;
  virtual void updateColors(const ZoneColorList& colors, double brightness, double blurRadius, double spread) = 0;
};

}  // namespace tarvelo
