#include "pipeline/color_extractor.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>

#include "support/checked_arithmetic.h"
#include "support/fatal_error.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarvelo {
namespace {

// A row whose mean channel value reaches this is picture, not letterbox bar.
constexpr std::uint32_t kLetterboxBrightness = 8;

// Byte sums over one zone's sampled pixels. Sums of bytes are exact integers,
// so the sampler is free to add them in any order.
struct ChannelSums {
  std::uint64_t red = 0;
  std::uint64_t green = 0;
  std::uint64_t blue = 0;
  std::uint64_t count = 0;
};

inline const std::uint8_t* pixelAt(const std::uint8_t* base, std::int64_t bytesPerRow, std::int64_t row,
                                   std::int64_t column) {
  return base + row * bytesPerRow + column * 4;
}

// B + G + R of every fourth pixel of a row, and how many pixels that was.
struct RowBrightness {
  std::uint64_t sum = 0;
  std::uint64_t samples = 0;
};

#if defined(__SSE2__)
// Rows need not be 4-byte aligned (any stride is allowed), hence the memcpy.
inline __m128i loadPixel(const std::uint8_t* pixel) {
  std::int32_t value;
  std::memcpy(&value, pixel, sizeof value);
  return _mm_cvtsi32_si128(value);
}
#endif

RowBrightness sumEveryFourthPixel(const std::uint8_t* row, std::int64_t width) {
  RowBrightness result;
  std::int64_t column = 0;
#if defined(__SSE2__)
  // Four samples at a time: gather their 32-bit pixels, drop alpha, and let
  // SAD add the remaining bytes. Only the sampled pixels are read.
  const __m128i colourBytes = _mm_set1_epi32(0x00FFFFFF);
  __m128i sums = _mm_setzero_si128();
  for (; column + 12 < width; column += 16) {
    const std::uint8_t* p = row + column * 4;
    const __m128i a = loadPixel(p);
    const __m128i b = loadPixel(p + 16);
    const __m128i c = loadPixel(p + 32);
    const __m128i d = loadPixel(p + 48);
    const __m128i pixels = _mm_unpacklo_epi64(_mm_unpacklo_epi32(a, b), _mm_unpacklo_epi32(c, d));
    sums = _mm_add_epi64(sums, _mm_sad_epu8(_mm_and_si128(pixels, colourBytes), _mm_setzero_si128()));
    result.samples += 4;
  }
  result.sum = static_cast<std::uint64_t>(_mm_cvtsi128_si64(sums)) +
               static_cast<std::uint64_t>(_mm_cvtsi128_si64(_mm_unpackhi_epi64(sums, sums)));
#endif
  for (; column < width; column += 4) {
    const std::uint8_t* p = row + column * 4;
    result.sum += std::uint64_t{p[0]} + p[1] + p[2];
    ++result.samples;
  }
  return result;
}

// Every second pixel of every second row of the zone, clipped to the frame.
#if defined(__SSE2__)
// Four samples at a time: a group of eight whole pixels is loaded and the odd
// ones dropped by a shuffle. Bytes are widened into 16-bit lanes (B G R A
// B G R A; alpha is summed and never read) and moved into 64-bit totals
// before a lane can overflow. The plan for one row is the same for every row
// of the zone, so it is worked out once.
class ZoneSampler {
 public:
  ChannelSums sample(const Frame& frame, const ZoneRect& zone) {
    const std::int64_t rowEnd = std::min(checkedAdd(zone.y, zone.height), frame.height);
    const std::int64_t columnEnd = std::min(checkedAdd(zone.x, zone.width), frame.width);
    if (zone.y >= rowEnd || zone.x >= columnEnd) return sums_;

    const std::int64_t samplesPerRow = (columnEnd - zone.x + 1) / 2;
    // A group may only be read where its eighth pixel still lies in the frame.
    const std::int64_t readableGroups = (frame.width - zone.x) / 8;
    const std::int64_t wholeGroups = std::min(samplesPerRow / 4, readableGroups);
    const std::int64_t left = samplesPerRow - wholeGroups * 4;
    // The last one to three samples of a row as one more group, masked.
    const bool maskedGroup = left > 0 && left < 4 && wholeGroups < readableGroups;
    const __m128i mask = kLeadingSamples[maskedGroup ? left : 0];
    const std::int64_t groupsPerRow = wholeGroups + (maskedGroup ? 1 : 0);
    const std::int64_t scalarFrom = maskedGroup ? columnEnd : zone.x + wholeGroups * 8;

    for (std::int64_t row = zone.y; row < rowEnd; row += 2) {
      const std::uint8_t* rowStart = frame.bytes + row * frame.bytesPerRow;
      const std::uint8_t* p = rowStart + zone.x * 4;
      if (groupsInLanes_ + groupsPerRow > kGroupsPerFlush) flush();
      if (groupsPerRow <= kGroupsPerFlush) {
        for (const std::uint8_t* end = p + wholeGroups * 32; p != end; p += 32) add(loadGroup(p));
        groupsInLanes_ += groupsPerRow;
      } else {
        for (std::int64_t g = 0; g < wholeGroups; ++g, p += 32) {
          add(loadGroup(p));
          if (++groupsInLanes_ == kGroupsPerFlush) flush();
        }
      }
      if (maskedGroup) {
        add(_mm_and_si128(loadGroup(p), mask));
        if (groupsPerRow > kGroupsPerFlush && ++groupsInLanes_ == kGroupsPerFlush) flush();
      }
      for (std::int64_t column = scalarFrom; column < columnEnd; column += 2) {
        const std::uint8_t* pixel = rowStart + column * 4;
        sums_.blue += pixel[0];
        sums_.green += pixel[1];
        sums_.red += pixel[2];
      }
    }
    flush();
    sums_.count = static_cast<std::uint64_t>(samplesPerRow) * static_cast<std::uint64_t>((rowEnd - zone.y + 1) / 2);
    return sums_;
  }

 private:
  // Each group adds at most 2 × 255 to a lane; the masked one counts as a group.
  static constexpr std::int64_t kGroupsPerFlush = 128;

  inline static const __m128i kLeadingSamples[4] = {
      _mm_setzero_si128(),
      _mm_set_epi32(0, 0, 0, -1),
      _mm_set_epi32(0, 0, -1, -1),
      _mm_set_epi32(0, -1, -1, -1),
  };

  static __m128i loadGroup(const std::uint8_t* p) {
    const __m128 low = _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)));
    const __m128 high = _mm_castsi128_ps(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16)));
    return _mm_castps_si128(_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)));
  }

  void add(__m128i samples) {
    lanes_ = _mm_add_epi16(lanes_, _mm_unpacklo_epi8(samples, _mm_setzero_si128()));
    lanes_ = _mm_add_epi16(lanes_, _mm_unpackhi_epi8(samples, _mm_setzero_si128()));
  }

  void flush() {
    alignas(16) std::uint16_t lane[8];
    _mm_store_si128(reinterpret_cast<__m128i*>(lane), lanes_);
    sums_.blue += std::uint64_t{lane[0]} + lane[4];
    sums_.green += std::uint64_t{lane[1]} + lane[5];
    sums_.red += std::uint64_t{lane[2]} + lane[6];
    lanes_ = _mm_setzero_si128();
    groupsInLanes_ = 0;
  }

  __m128i lanes_ = _mm_setzero_si128();
  std::int64_t groupsInLanes_ = 0;
  ChannelSums sums_;
};
#else
class ZoneSampler {
 public:
  ChannelSums sample(const Frame& frame, const ZoneRect& zone) {
    const std::int64_t rowEnd = std::min(checkedAdd(zone.y, zone.height), frame.height);
    const std::int64_t columnEnd = std::min(checkedAdd(zone.x, zone.width), frame.width);
    ChannelSums sums;
    for (std::int64_t row = zone.y; row < rowEnd; row += 2) {
      for (std::int64_t column = zone.x; column < columnEnd; column += 2) {
        const std::uint8_t* pixel = pixelAt(frame.bytes, frame.bytesPerRow, row, column);
        sums.blue += pixel[0];
        sums.green += pixel[1];
        sums.red += pixel[2];
        ++sums.count;
      }
    }
    return sums;
  }
};
#endif

ChannelSums sampleZone(const Frame& frame, const ZoneRect& zone) {
  assert(zone.x >= 0 && zone.y >= 0);
  return ZoneSampler().sample(frame, zone);
}

}  // namespace

ZoneColorList ColorExtractor::extractColors(const Frame& frame, float vibrancy, double xStartFraction,
                                            double xEndFraction) const {
  ZoneColorList colors;
  colors.reserve(kZoneCount);
  if (frame.bytes == nullptr) {
    colors.assign(kZoneCount, kOpaqueBlack);
    return colors;
  }

  const std::int64_t effectiveBottom = findEffectiveBottom(frame.bytes, frame.width, frame.height, frame.bytesPerRow);
  for (const ZoneRect& zone : computeZones(frame.width, frame.height, effectiveBottom, xStartFraction, xEndFraction)) {
    const ChannelSums sums = sampleZone(frame, zone);
    if (sums.count == 0) {
      colors.push_back(kOpaqueBlack);
      continue;
    }
    const float scale = static_cast<float>(sums.count) * 255.0F;
    colors.push_back(boostColor(static_cast<float>(sums.red) / scale, static_cast<float>(sums.green) / scale,
                                static_cast<float>(sums.blue) / scale, vibrancy));
  }
  return colors;
}

std::int64_t ColorExtractor::findEffectiveBottom(const std::uint8_t* ptr, std::int64_t w, std::int64_t h,
                                                 std::int64_t bytesPerRow) {
  // Only the lower half is scanned: a black lower half means "no bar", and a
  // bar at the top is never looked for.
  for (std::int64_t row = h - 1; row >= h / 2; --row) {
    if (w < 1) continue;
    const RowBrightness brightness = sumEveryFourthPixel(pixelAt(ptr, bytesPerRow, row, 0), w);
    if (brightness.sum > std::numeric_limits<std::uint32_t>::max()) fatalError("letterbox row sum overflows");
    if (brightness.sum / (3 * brightness.samples) >= kLetterboxBrightness) return std::min(row + 1, h);
  }
  return h;
}

ColorExtractor::ZoneLayout ColorExtractor::computeZones(std::int64_t frameWidth, std::int64_t frameHeight,
                                                        std::int64_t effectiveBottom, double xStartFraction,
                                                        double xEndFraction) {
  const std::int64_t w = frameWidth;
  const std::int64_t h = frameHeight;
  const std::int64_t bandH = std::max<std::int64_t>(h / 5, 4);
  const std::int64_t sideW = std::max<std::int64_t>(w / 5, 4);
  const std::int64_t bb = checkedSub(effectiveBottom, bandH);

  // A NaN start fails "below 1" and so counts as 1; the span is never
  // narrower than a tenth of the frame, even past its right edge.
  const double xs = orderedMax(0.0, orderedMin(1.0, xStartFraction));
  const double xe = orderedMax(orderedMin(xEndFraction, 1.0), xs + 0.1);
  const std::int64_t x0 = truncateToInt64(xs * static_cast<double>(w));
  const std::int64_t x1 = truncateToInt64(xe * static_cast<double>(w));
  const std::int64_t span = checkedSub(x1, x0);
  const std::int64_t seg = span > 9 ? span / 9 : 1;

  ZoneLayout zones;
  for (std::int64_t i = 0; i < static_cast<std::int64_t>(kBottomZoneCount); ++i) {
    const std::int64_t zx = checkedAdd(x0, checkedMul(i, seg));
    const std::int64_t width = i < 8 ? seg : checkedSub(x1, zx);
    zones[static_cast<std::size_t>(i)] = ZoneRect{
        std::max<std::int64_t>(std::min(zx, checkedSub(w, 1)), 0),
        std::max<std::int64_t>(bb, 0),
        std::max<std::int64_t>(width, 1),
        bandH,
    };
  }

  // The sides cover the picture above the bottom band.
  const std::int64_t upperH = bb > 1 ? std::max<std::int64_t>(bb / 2, 1) : 1;
  const std::int64_t lowerH = checkedSub(std::max<std::int64_t>(bb, 1), upperH);
  const std::int64_t rightX = std::max<std::int64_t>(checkedSub(w, sideW), 0);
  zones[kLeftUpperZone] = ZoneRect{0, 0, sideW, upperH};
  zones[kLeftLowerZone] = ZoneRect{0, upperH, sideW, lowerH};
  zones[kRightUpperZone] = ZoneRect{rightX, 0, sideW, upperH};
  zones[kRightLowerZone] = ZoneRect{rightX, upperH, sideW, lowerH};

  const std::int64_t third = std::max<std::int64_t>(w / 3, 1);
  const std::int64_t twoThirds = checkedMul(2, third);
  zones[kTopFirstZone] = ZoneRect{0, 0, third, bandH};
  zones[kTopFirstZone + 1] = ZoneRect{third, 0, third, bandH};
  zones[kTopFirstZone + 2] = ZoneRect{twoThirds, 0, checkedSub(w, twoThirds), bandH};
  return zones;
}

ZoneColor ColorExtractor::boostColor(float r, float g, float b, float vibrancy) {
  const float maxValue = orderedMax(orderedMax(r, g), b);
  const float minValue = orderedMin(orderedMin(r, g), b);
  // Very dark zones are crushed to black so that noise in dark scenes does
  // not light the room.
  if (maxValue < 0.02F) return kOpaqueBlack;

  const float delta = maxValue - minValue;
  const float saturation = delta / maxValue;
  const float value = std::pow(maxValue, 0.65F);  // lifts the mid-tones

  float hue = 0.0F;
  if (delta > 0.0001F) {
    if (maxValue == r) {
      hue = (g - b) / delta + (g < b ? 6.0F : 0.0F);
    } else if (maxValue == g) {
      hue = (b - r) / delta + 2.0F;
    } else {
      hue = (r - g) / delta + 4.0F;
    }
    hue /= 6.0F;
  }

  const float boostedSaturation = orderedMin(saturation * vibrancy, 1.0F);
  const Rgb rgb = hsvToRgb(hue, boostedSaturation, value);
  return ZoneColor{rgb.red, rgb.green, rgb.blue, 1.0F};
}

ColorExtractor::Rgb ColorExtractor::hsvToRgb(float h, float s, float v) {
  if (s <= 0.0001F) return Rgb{v, v, v};

  const float hh = h * 6.0F;
  const std::int64_t i = truncateToInt64(hh);
  const float f = hh - static_cast<float>(i);
  const float p = (1.0F - s) * v;
  const float q = (1.0F - f * s) * v;
  const float t = (1.0F - (1.0F - f) * s) * v;
  switch (i % 6) {  // a hue of exactly 1 wraps to the first sector
    case 0: return Rgb{v, t, p};
    case 1: return Rgb{q, v, p};
    case 2: return Rgb{p, v, t};
    case 3: return Rgb{p, q, v};
    case 4: return Rgb{t, p, v};
    default: return Rgb{v, p, q};
  }
}

ZoneColor ColorExtractor::smooth(const ZoneColor& current, const ZoneColor& previous, float factor) {
  return ZoneColor{
      previous.red + (current.red - previous.red) * factor,
      previous.green + (current.green - previous.green) * factor,
      previous.blue + (current.blue - previous.blue) * factor,
      previous.alpha + (current.alpha - previous.alpha) * factor,
  };
}

ZoneColorList ColorExtractor::smooth(const ZoneColorList& current, const ZoneColorList& previous, float factor) {
  const std::size_t count = std::min(current.size(), previous.size());
  ZoneColorList blended;
  blended.reserve(count);
  for (std::size_t i = 0; i < count; ++i) blended.push_back(smooth(current[i], previous[i], factor));
  return blended;
}

}  // namespace tarvelo
