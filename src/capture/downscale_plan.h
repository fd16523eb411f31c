#pragma once

#include <cstdint>
#include <vector>

#include "capture/pixel_rect.h"

namespace tarvelo {

// One resampling pass. Destination pixel (u, v) takes one bilinear sample of the
// pass's source at
//   x = offsetX + scaleX * (u + 0.5),  y = offsetY + scaleY * (v + 0.5)
// in the source's pixel coordinates (pixel centres at whole numbers plus 0.5).
// A sample that lands on a whole number averages the two pixels either side of
// it equally, which is what makes bilinear passes usable as box filters.
struct ScalePass {
  std::int64_t width = 0;  // destination size of the pass
  std::int64_t height = 0;
  double scaleX = 1.0;
  double scaleY = 1.0;
  double offsetX = 0.0;
  double offsetY = 0.0;

  friend bool operator==(const ScalePass&, const ScalePass&) = default;
};

// The passes that turn a rectangle of the screen into a width x height picture
// whose every pixel is the mean of a grid of 2 x 2 box samples spread evenly
// over the area that pixel covers.
//
// The first pass takes up to samplesX x samplesY such samples per output pixel
// (each a whole power of two, fewer when the source is too small to hold that
// many disjoint 2 x 2 blocks); every later pass halves one or both axes with
// samples on pixel corners, so it averages exact 2 x 2 (or 2 x 1) blocks.
struct DownscalePlan {
  std::vector<ScalePass> passes;
  std::int64_t samplesX = 1;  // box samples per output pixel actually taken, per axis
  std::int64_t samplesY = 1;

  friend bool operator==(const DownscalePlan&, const DownscalePlan&) = default;
};

// `source` must not be empty; width and height must be positive; the sample
// counts are rounded down to powers of two (at least 1).
DownscalePlan planBoxDownscale(const PixelRect& source, std::int64_t width, std::int64_t height,
                               std::int64_t samplesX, std::int64_t samplesY);

}  // namespace tarvelo
