#include "pipeline/color_processing_engine.h"

#include "support/checked_arithmetic.h"

namespace tarvelo {

ZoneColorList ColorProcessingEngine::process(const Frame& pixelBuffer, float smoothing, float vibrancy, double xStart,
                                             double xEnd) {
  ZoneColorList colors = extractor_.extractColors(pixelBuffer, vibrancy, xStart, xEnd);
  if (!previousColors_.empty() && previousColors_.size() == colors.size()) {
    // The newest frame always keeps at least 5 % weight, so even the
    // strongest smoothing follows the picture.
    const float factor = orderedMax(1.0F - smoothing, 0.05F);
    for (std::size_t i = 0; i < colors.size(); ++i) {
      colors[i] = ColorExtractor::smooth(colors[i], previousColors_[i], factor);
    }
  }
  previousColors_.assign(colors.begin(), colors.end());  // reuses its storage after the first frame
  return colors;
}

}  // namespace tarvelo
