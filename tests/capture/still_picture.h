#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "pipeline/frame.h"

namespace tarvelo::testing {

// A picture held in memory: BGRA bytes, 4 × width bytes per row, row 0 at the top.
struct StillPicture {
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::vector<std::uint8_t> bgra;

  Frame view() const { return Frame{bgra.data(), width, height, width * 4}; }
};

// A film still made up for testing scalers: letterbox bars, a sky gradient with
// a sun, hills with a wavy skyline, a strip of hard-edged colour bands, a patch
// of one-pixel fabric weave, thin wires, and film grain everywhere. Every
// feature sits at its own place for any size, and the same size always gives
// the same bytes.
StillPicture makeFilmStill(std::int64_t width, std::int64_t height);

// The exact area average of `picture` over a width x height grid: each output
// pixel is the mean of the source area it covers, partly covered pixels
// weighted by the part covered. Blue, green, red per pixel, 0 to 255.
std::vector<std::array<double, 3>> boxDownscale(const StillPicture& picture, std::int64_t width,
                                                std::int64_t height);

// Mean absolute difference per channel (blue, green, red) between a frame and
// an expected picture of the same size, in 0 to 255 units.
std::array<double, 3> meanAbsoluteDifference(const Frame& frame, const std::vector<std::array<double, 3>>& expected);

}  // namespace tarvelo::testing
