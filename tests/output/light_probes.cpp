#include "light_probes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tarvelo::testing {

int channel(const QImage& image, int x, int y, std::size_t c) {
  const QRgb pixel = image.pixel(x, y);
  return c == 0 ? qRed(pixel) : c == 1 ? qGreen(pixel) : qBlue(pixel);
}

int toStep(double value) { return static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * 255.0)); }

int differenceAt(const QImage& image, int x, int y, const Rgb& expected) {
  int worst = 0;
  for (std::size_t c = 0; c < 3; ++c) worst = std::max(worst, std::abs(channel(image, x, y, c) - toStep(expected[c])));
  return worst;
}

std::string describe(const QImage& image, int x, int y, const Rgb& expected) {
  return "at (" + std::to_string(x) + ", " + std::to_string(y) + "): rendered " +
         std::to_string(channel(image, x, y, 0)) + " " + std::to_string(channel(image, x, y, 1)) + " " +
         std::to_string(channel(image, x, y, 2)) + ", exact " + std::to_string(expected[0] * 255) + " " +
         std::to_string(expected[1] * 255) + " " + std::to_string(expected[2] * 255);
}

std::vector<Probe> probesFor(const AmbientGradientModel& model, int width, int height) {
  std::vector<Probe> probes;
  const double pad = model.containerMargin();
  const double slot = model.lightContainer().width / AmbientGradientModel::kStripCount;
  for (std::size_t i = 0; i < AmbientGradientModel::kStripCount; ++i) {
    // The middle of what shows of strip i: each strip reaches 0.275 of a slot
    // left of its slot and the next one, drawn over it, starts that far left of the next slot.
    const int x = static_cast<int>(slot * (static_cast<double>(i) + 0.5 - 0.275) - pad);
    if (x >= 0 && x < width) probes.push_back({"top edge under a strip", x, 0});
  }
  probes.push_back({"left glow", 0, height / 2});
  probes.push_back({"right glow", width - 1, height / 2});
  probes.push_back({"bottom glow", width / 2, height - 1});
  probes.push_back({"middle", width / 2, height / 2});
  probes.push_back({"lower middle", width / 2, height * 3 / 4});
  probes.push_back({"top-left corner", 0, 0});
  probes.push_back({"bottom-right corner", width - 1, height - 1});
  return probes;
}

void expectMatchesExactLight(const QImage& image, const AmbientGradientModel& model, int tolerance) {
  const ExactLight exact(model);
  for (const Probe& probe : probesFor(model, image.width(), image.height())) {
    const Rgb expected = exact.pixel(probe.x, probe.y);
    EXPECT_LE(differenceAt(image, probe.x, probe.y, expected), tolerance)
        << probe.what << " " << describe(image, probe.x, probe.y, expected);
  }
}

std::vector<ProbeRange> exactRangesNear(const AmbientGradientModel& model, int width, int height, double reach) {
  const ExactLight exact(model);
  const double sigma = model.currentBlurRadius();
  std::vector<ProbeRange> ranges;
  for (const Probe& probe : probesFor(model, width, height)) {
    ProbeRange range{probe, {1.0, 1.0, 1.0}, {0.0, 0.0, 0.0}};
    // A 5 × 5 grid over the square around the pixel's centre (clipped to the
    // view): the light has no detail finer than its blur, so it finds the extremes.
    for (int i = -2; i <= 2; ++i) {
      for (int j = -2; j <= 2; ++j) {
        const double x = std::clamp(probe.x + 0.5 + reach * i / 2.0, 0.0, static_cast<double>(width));
        const double y = std::clamp(probe.y + 0.5 + reach * j / 2.0, 0.0, static_cast<double>(height));
        const Rgb value = exact.blurredAt(x, y, sigma);
        for (std::size_t c = 0; c < 3; ++c) {
          range.lowest[c] = std::min(range.lowest[c], value[c]);
          range.highest[c] = std::max(range.highest[c], value[c]);
        }
      }
    }
    ranges.push_back(range);
  }
  return ranges;
}

bool isWithin(const QImage& image, const ProbeRange& range, int tolerance) {
  for (std::size_t c = 0; c < 3; ++c) {
    const int shown = channel(image, range.probe.x, range.probe.y, c);
    if (shown < toStep(range.lowest[c]) - tolerance || shown > toStep(range.highest[c]) + tolerance) return false;
  }
  return true;
}

std::string describe(const QImage& image, const ProbeRange& range) {
  const int x = range.probe.x;
  const int y = range.probe.y;
  return std::string(range.probe.what) + " at (" + std::to_string(x) + ", " + std::to_string(y) + "): shown " +
         std::to_string(channel(image, x, y, 0)) + " " + std::to_string(channel(image, x, y, 1)) + " " +
         std::to_string(channel(image, x, y, 2)) + ", exact light near it from " +
         std::to_string(toStep(range.lowest[0])) + " " + std::to_string(toStep(range.lowest[1])) + " " +
         std::to_string(toStep(range.lowest[2])) + " to " + std::to_string(toStep(range.highest[0])) + " " +
         std::to_string(toStep(range.highest[1])) + " " + std::to_string(toStep(range.highest[2]));
}

void expectWithinRanges(const QImage& image, const std::vector<ProbeRange>& ranges, int tolerance) {
  for (const ProbeRange& range : ranges) EXPECT_TRUE(isWithin(image, range, tolerance)) << describe(image, range);
}

}  // namespace tarvelo::testing
