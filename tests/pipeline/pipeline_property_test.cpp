// Random frames of random size and stride against a plain, one-pixel-at-a-time
// rendering of the sampling rules. The sanitizer build also proves that no
// byte outside a frame is read: each test buffer ends at its last pixel.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>

#include <gtest/gtest.h>

#include "pipeline/color_extractor.h"
#include "pipeline/color_processing_engine.h"
#include "pipeline/test_frames.h"

namespace tarvelo {
namespace {

using testing::Bgr;
using testing::TestFrame;

// Rules written out the slow way: float sums in row-major order.
struct Reference {
  static std::int64_t effectiveBottom(const Frame& f) {
    for (std::int64_t row = f.height - 1; row >= f.height / 2; --row) {
      if (f.width < 1) continue;
      std::uint32_t sum = 0;
      std::uint32_t samples = 0;
      for (std::int64_t column = 0; column < f.width; column += 4) {
        const std::uint8_t* p = f.bytes + row * f.bytesPerRow + column * 4;
        sum += p[0] + p[1] + p[2];
        ++samples;
      }
      if (sum / (3 * samples) >= 8) return std::min(row + 1, f.height);
    }
    return f.height;
  }

  static std::vector<ZoneRect> zones(std::int64_t w, std::int64_t h, std::int64_t eb, double xStart, double xEnd) {
    const std::int64_t bandH = std::max<std::int64_t>(h / 5, 4);
    const std::int64_t sideW = std::max<std::int64_t>(w / 5, 4);
    const std::int64_t bb = eb - bandH;
    double xs = xStart < 1.0 ? xStart : 1.0;
    if (!(xs >= 0.0)) xs = 0.0;
    const double xe = std::max(std::min(xEnd, 1.0), xs + 0.1);
    const auto x0 = static_cast<std::int64_t>(xs * static_cast<double>(w));
    const auto x1 = static_cast<std::int64_t>(xe * static_cast<double>(w));
    const std::int64_t seg = (x1 - x0) > 9 ? (x1 - x0) / 9 : 1;
    std::vector<ZoneRect> result;
    for (std::int64_t i = 0; i < 9; ++i) {
      const std::int64_t zx = x0 + i * seg;
      const std::int64_t width = std::max<std::int64_t>(i < 8 ? seg : x1 - zx, 1);
      result.push_back({std::max<std::int64_t>(std::min(zx, w - 1), 0), std::max<std::int64_t>(bb, 0), width, bandH});
    }
    const std::int64_t upperH = bb > 1 ? std::max<std::int64_t>(bb / 2, 1) : 1;
    const std::int64_t lowerH = std::max<std::int64_t>(bb, 1) - upperH;
    const std::int64_t rightX = std::max<std::int64_t>(w - sideW, 0);
    result.push_back({0, 0, sideW, upperH});
    result.push_back({0, upperH, sideW, lowerH});
    result.push_back({rightX, 0, sideW, upperH});
    result.push_back({rightX, upperH, sideW, lowerH});
    const std::int64_t third = std::max<std::int64_t>(w / 3, 1);
    result.push_back({0, 0, third, bandH});
    result.push_back({third, 0, third, bandH});
    result.push_back({2 * third, 0, w - 2 * third, bandH});
    return result;
  }

  static ZoneColor boost(float r, float g, float b, float vibrancy) {
    const float mx = std::max(std::max(r, g), b);
    const float mn = std::min(std::min(r, g), b);
    if (mx < 0.02F) return kOpaqueBlack;
    const float delta = mx - mn;
    const float s = std::min(delta / mx * vibrancy, 1.0F);
    const float v = std::pow(mx, 0.65F);
    float h = 0.0F;
    if (delta > 0.0001F) {
      if (mx == r) {
        h = (g - b) / delta + (g < b ? 6.0F : 0.0F);
      } else if (mx == g) {
        h = (b - r) / delta + 2.0F;
      } else {
        h = (r - g) / delta + 4.0F;
      }
      h /= 6.0F;
    }
    if (s <= 0.0001F) return {v, v, v, 1.0F};
    const float hh = h * 6.0F;
    const auto i = static_cast<std::int64_t>(hh);
    const float f = hh - static_cast<float>(i);
    const float p = (1.0F - s) * v;
    const float q = (1.0F - f * s) * v;
    const float t = (1.0F - (1.0F - f) * s) * v;
    switch (i % 6) {
      case 0: return {v, t, p, 1.0F};
      case 1: return {q, v, p, 1.0F};
      case 2: return {p, v, t, 1.0F};
      case 3: return {p, q, v, 1.0F};
      case 4: return {t, p, v, 1.0F};
      default: return {v, p, q, 1.0F};
    }
  }

  static ZoneColorList extract(const Frame& f, float vibrancy, double xs, double xe) {
    ZoneColorList colors;
    for (const ZoneRect& z : zones(f.width, f.height, effectiveBottom(f), xs, xe)) {
      const std::int64_t rowEnd = std::min(z.y + z.height, f.height);
      const std::int64_t columnEnd = std::min(z.x + z.width, f.width);
      float red = 0.0F;
      float green = 0.0F;
      float blue = 0.0F;
      float count = 0.0F;
      for (std::int64_t row = z.y; row < rowEnd; row += 2) {
        for (std::int64_t column = z.x; column < columnEnd; column += 2) {
          const std::uint8_t* p = f.bytes + row * f.bytesPerRow + column * 4;
          blue += p[0];
          green += p[1];
          red += p[2];
          count += 1.0F;
        }
      }
      colors.push_back(count > 0 ? boost(red / (count * 255), green / (count * 255), blue / (count * 255), vibrancy)
                                 : kOpaqueBlack);
    }
    return colors;
  }
};

struct RandomFrame {
  TestFrame picture;
  float vibrancy;
  double xStart;
  double xEnd;
};

RandomFrame makeRandomFrame(std::mt19937& random) {
  std::uniform_int_distribution<std::int64_t> width(1, 333);
  std::uniform_int_distribution<std::int64_t> height(1, 211);
  std::uniform_int_distribution<std::int64_t> padding(0, 37);  // odd strides too: rows need not be aligned
  std::uniform_int_distribution<int> byte(0, 255);
  std::uniform_int_distribution<int> style(0, 3);
  std::uniform_real_distribution<double> fraction(-0.2, 1.2);
  std::uniform_real_distribution<float> vibrancy(0.0F, 3.0F);

  const std::int64_t w = width(random);
  const std::int64_t h = height(random);
  RandomFrame result{TestFrame(w, h, w * 4 + padding(random)), vibrancy(random), fraction(random), fraction(random)};
  const int kind = style(random);
  const std::int64_t bar = kind == 1 ? h * std::uniform_int_distribution<int>(0, 60)(random) / 100 : 0;
  for (std::int64_t y = 0; y < h; ++y) {
    for (std::int64_t x = 0; x < w; ++x) {
      if (y >= h - bar) continue;  // letterbox: left black
      if (kind == 2) {            // smooth gradient
        result.picture.set(x, y, Bgr{static_cast<std::uint8_t>(x * 255 / w), static_cast<std::uint8_t>(y * 255 / h), 128});
      } else if (kind == 3) {     // near-black noise, around the letterbox threshold
        result.picture.set(x, y, Bgr{static_cast<std::uint8_t>(byte(random) % 16), static_cast<std::uint8_t>(byte(random) % 16),
                                     static_cast<std::uint8_t>(byte(random) % 16)});
      } else {
        result.picture.set(x, y, Bgr{static_cast<std::uint8_t>(byte(random)), static_cast<std::uint8_t>(byte(random)),
                                     static_cast<std::uint8_t>(byte(random))},
                           static_cast<std::uint8_t>(byte(random)));
      }
    }
  }
  return result;
}

TEST(PipelineProperty, RandomFramesMatchThePlainRulesExactly) {
  std::mt19937 random(20261122);
  ColorExtractor extractor;
  for (int round = 0; round < 400; ++round) {
    const RandomFrame sample = makeRandomFrame(random);
    const Frame frame = sample.picture.frame();
    const ZoneColorList colors = extractor.extractColors(frame, sample.vibrancy, sample.xStart, sample.xEnd);
    ASSERT_EQ(colors, Reference::extract(frame, sample.vibrancy, sample.xStart, sample.xEnd))
        << "frame " << frame.width << "x" << frame.height << " stride " << frame.bytesPerRow << " overlap "
        << sample.xStart << ".." << sample.xEnd << " vibrancy " << sample.vibrancy;
  }
}

TEST(PipelineProperty, EveryFrameGivesSixteenOpaqueColorsInRange) {
  std::mt19937 random(7);
  ColorProcessingEngine engine;
  for (int round = 0; round < 300; ++round) {
    const RandomFrame sample = makeRandomFrame(random);
    const ZoneColorList colors =
        engine.process(sample.picture.frame(), 0.3F, sample.vibrancy, sample.xStart, sample.xEnd);
    ASSERT_EQ(colors.size(), kZoneCount);
    for (const ZoneColor& color : colors) {
      EXPECT_EQ(color.alpha, 1.0F);
      for (const float component : {color.red, color.green, color.blue}) {
        EXPECT_GE(component, 0.0F);
        EXPECT_LE(component, 1.0F);
      }
    }
  }
}

TEST(PipelineProperty, WideFramesSumExactlyBeyondSixteenBitLanes) {
  // Rows long enough that the vector lanes must be widened mid-zone.
  TestFrame picture(4000, 40, 4000 * 4 + 3);
  for (std::int64_t y = 0; y < 40; ++y) {
    for (std::int64_t x = 0; x < 4000; ++x) picture.set(x, y, Bgr{255, 254, 253});
  }
  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), 1.7F, 0.0, 1.0);
  EXPECT_EQ(colors, Reference::extract(picture.frame(), 1.7F, 0.0, 1.0));
}

}  // namespace
}  // namespace tarvelo
