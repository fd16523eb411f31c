#pragma once

#include <QImage>

#include <string>
#include <vector>

#include "exact_light.h"
#include "output/ambient_gradient_model.h"

namespace tarvelo::testing {

// Channel c (0 red, 1 green, 2 blue) of a pixel, 0 … 255.
int channel(const QImage& image, int x, int y, std::size_t c);

// A light value 0 … 1 in 8-bit steps.
int toStep(double value);

// The largest difference over the three channels, in 8-bit steps.
int differenceAt(const QImage& image, int x, int y, const Rgb& expected);

std::string describe(const QImage& image, int x, int y, const Rgb& expected);

struct Probe {
  const char* what;
  int x;
  int y;
};

// The places that show each part of the light: the top edge under every
// strip, the two side glows, the bottom glow, the wash in the middle, the corners.
std::vector<Probe> probesFor(const AmbientGradientModel& model, int width, int height);

// Every probe of `image` (the whole light, at the view's size) is within
// `tolerance` 8-bit steps of the exact light the model describes.
void expectMatchesExactLight(const QImage& image, const AmbientGradientModel& model, int tolerance);

// For a picture stretched by a filter of its own (a compositor's, nearest or
// linear): at each probe, the range each channel of the exact light spans
// within `reach` view units of it. Worked out once, held to many screenshots.
struct ProbeRange {
  Probe probe;
  Rgb lowest;
  Rgb highest;
};
std::vector<ProbeRange> exactRangesNear(const AmbientGradientModel& model, int width, int height, double reach);

// Whether the probe shows a colour within its range, widened by `tolerance` steps.
bool isWithin(const QImage& image, const ProbeRange& range, int tolerance);
std::string describe(const QImage& image, const ProbeRange& range);

// Every probe within its range (failures name the probe).
void expectWithinRanges(const QImage& image, const std::vector<ProbeRange>& ranges, int tolerance);

}  // namespace tarvelo::testing
