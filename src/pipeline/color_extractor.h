#pragma once

#include <array>
#include <cstdint>

#include "pipeline/frame.h"
#include "pipeline/zone_color.h"

namespace tarvelo {

// Turns one captured frame into the sixteen zone colours: finds where the
// picture really ends (skipping a black letterbox bar at the bottom), lays out
// the zones, averages each on a sparse grid and boosts it in HSV. Stateless.
class ColorExtractor {
 public:
  using ZoneLayout = std::array<ZoneRect, kZoneCount>;

  // Always exactly kZoneCount colours. The fractions bound the bottom band
  // horizontally: the part of the movie screen's width over the light screen.
  ZoneColorList extractColors(const Frame& frame, float vibrancy, double xStartFraction, double xEndFraction) const;

  // Pairwise blend: previous + (current − previous) × factor, on all four
  // components. Pairs up as many entries as both lists have.
  static ZoneColorList smooth(const ZoneColorList& current, const ZoneColorList& previous, float factor);
  static ZoneColor smooth(const ZoneColor& current, const ZoneColor& previous, float factor);

 private:
  friend struct ColorExtractorInternals;  // lets the tests reach the steps one by one

  struct Rgb {
    float red;
    float green;
    float blue;
  };

  static std::int64_t findEffectiveBottom(const std::uint8_t* ptr, std::int64_t w, std::int64_t h,
                                          std::int64_t bytesPerRow);
  static ZoneLayout computeZones(std::int64_t frameWidth, std::int64_t frameHeight, std::int64_t effectiveBottom,
                                 double xStartFraction, double xEndFraction);
  static ZoneColor boostColor(float r, float g, float b, float vibrancy);
  static Rgb hsvToRgb(float h, float s, float v);
};

}  // namespace tarvelo
