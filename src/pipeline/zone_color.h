#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarvelo {

// One sampled colour, components nominally 0…1; alpha is always 1.
struct ZoneColor {
  float red = 0.0F;
  float green = 0.0F;
  float blue = 0.0F;
  float alpha = 1.0F;

  friend bool operator==(const ZoneColor&, const ZoneColor&) = default;
};

inline constexpr ZoneColor kOpaqueBlack{0.0F, 0.0F, 0.0F, 1.0F};

// A sampling zone in pixel coordinates of the frame. It may reach past the
// frame's right or bottom edge; the sampler clips it.
struct ZoneRect {
  std::int64_t x = 0;
  std::int64_t y = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;

  friend bool operator==(const ZoneRect&, const ZoneRect&) = default;
};

// The sixteen zones, in the order every consumer relies on.
inline constexpr std::size_t kZoneCount = 16;
inline constexpr std::size_t kBottomZoneCount = 9;   // 0…8: bottom band, left to right across the overlap
inline constexpr std::size_t kLeftUpperZone = 9;
inline constexpr std::size_t kLeftLowerZone = 10;
inline constexpr std::size_t kRightUpperZone = 11;
inline constexpr std::size_t kRightLowerZone = 12;
inline constexpr std::size_t kTopFirstZone = 13;     // 13…15: top band in thirds, left to right

// Normally exactly kZoneCount entries; consumers check the count before use.
using ZoneColorList = std::vector<ZoneColor>;

}  // namespace tarvelo
