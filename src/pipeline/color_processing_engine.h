#pragma once

#include "pipeline/color_extractor.h"
#include "pipeline/frame.h"
#include "pipeline/zone_color.h"

namespace tarvelo {

// The per-frame entry of the colour pipeline: extract, then blend with the
// previous frame's colours so the light does not flicker with every cut.
// Used from one thread at a time (the capture worker while capture runs).
class ColorProcessingEngine {
 public:
  // The colours to show for this frame; they also become previousColors().
  ZoneColorList process(const Frame& pixelBuffer, float smoothing, float vibrancy, double xStart, double xEnd);

  const ZoneColorList& previousColors() const { return previousColors_; }
  // Makes the next frame show unblended, as the first frame of a run must.
  void clearPreviousColors() { previousColors_.clear(); }

 private:
  ColorExtractor extractor_;
  ZoneColorList previousColors_;
};

}  // namespace tarvelo
