#include "capture/downscale_plan.h"

#include <cmath>
#include <string>

#include "support/checked_arithmetic.h"
#include "support/fatal_error.h"

namespace tarvelo {

namespace {

std::int64_t largestPowerOfTwoAtMost(std::int64_t value) {
  std::int64_t power = 1;
  while (power <= value / 2) power *= 2;
  return power;
}

// Sub-samples per output pixel along one axis: as many as asked for, but only
// while each still has a 2-pixel block of its own, since overlapping samples
// cost time without adding information.
std::int64_t samplesAlong(std::int64_t sourceLength, std::int64_t outputLength, std::int64_t wanted) {
  std::int64_t samples = largestPowerOfTwoAtMost(orderedMax<std::int64_t>(wanted, 1));
  while (samples > 1 && sourceLength < checkedMul(checkedMul(outputLength, samples), 2)) samples /= 2;
  return samples;
}

// Where along one axis the first pass samples. A whole-numbered step lets
// every sample sit on a pixel boundary (an exact 2-pixel average): an even step
// puts the cell's centre there already, an odd one is nudged by half a pixel.
// Other steps keep the centres, where bilinear weights are merely uneven.
double firstPassOffset(std::int64_t origin, double step) {
  const double whole = std::floor(step);
  const bool isOddWholeStep = whole == step && std::fmod(whole, 2.0) == 1.0;
  return static_cast<double>(origin) + (isOddWholeStep ? 0.5 : 0.0);
}

}  // namespace

DownscalePlan planBoxDownscale(const PixelRect& source, std::int64_t width, std::int64_t height,
                               std::int64_t samplesX, std::int64_t samplesY) {
  if (source.isEmpty() || width <= 0 || height <= 0) {
    fatalError("a downscale needs a non-empty source and a positive size, got " + std::to_string(source.width) +
               "x" + std::to_string(source.height) + " to " + std::to_string(width) + "x" +
               std::to_string(height));
  }
  DownscalePlan plan;
  plan.samplesX = samplesAlong(source.width, width, samplesX);
  plan.samplesY = samplesAlong(source.height, height, samplesY);

  ScalePass first;
  first.width = checkedMul(width, plan.samplesX);
  first.height = checkedMul(height, plan.samplesY);
  first.scaleX = static_cast<double>(source.width) / static_cast<double>(first.width);
  first.scaleY = static_cast<double>(source.height) / static_cast<double>(first.height);
  first.offsetX = firstPassOffset(source.x, first.scaleX);
  first.offsetY = firstPassOffset(source.y, first.scaleY);
  plan.passes.push_back(first);

  // Halving on pixel corners: destination u samples x = 2u + 1, the boundary
  // between source pixels 2u and 2u + 1.
  std::int64_t remainingX = plan.samplesX;
  std::int64_t remainingY = plan.samplesY;
  while (remainingX > 1 || remainingY > 1) {
    ScalePass halving;
    halving.scaleX = remainingX > 1 ? 2.0 : 1.0;
    halving.scaleY = remainingY > 1 ? 2.0 : 1.0;
    if (remainingX > 1) remainingX /= 2;
    if (remainingY > 1) remainingY /= 2;
    halving.width = checkedMul(width, remainingX);
    halving.height = checkedMul(height, remainingY);
    plan.passes.push_back(halving);
  }
  return plan;
}

}  // namespace tarvelo
