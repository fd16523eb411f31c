#include "pipeline/color_extractor.h"

#include <cmath>
#include <cstdint>
#include <limits>

#include <gtest/gtest.h>

#include "pipeline/test_frames.h"

namespace tarvelo {

// The extractor's private steps, reached one by one.
struct ColorExtractorInternals {
  static std::int64_t findEffectiveBottom(const Frame& frame) {
    return ColorExtractor::findEffectiveBottom(frame.bytes, frame.width, frame.height, frame.bytesPerRow);
  }
  static ColorExtractor::ZoneLayout computeZones(std::int64_t w, std::int64_t h, std::int64_t eb, double xs,
                                                 double xe) {
    return ColorExtractor::computeZones(w, h, eb, xs, xe);
  }
  static ZoneColor boostColor(float r, float g, float b, float vibrancy) {
    return ColorExtractor::boostColor(r, g, b, vibrancy);
  }
  static ZoneColor hsvToRgb(float h, float s, float v) {
    const auto rgb = ColorExtractor::hsvToRgb(h, s, v);
    return ZoneColor{rgb.red, rgb.green, rgb.blue, 1.0F};
  }
};

namespace {

using Internals = ColorExtractorInternals;
using testing::Bgr;
using testing::TestFrame;

constexpr Bgr kBright{50, 100, 200};

void expectColor(const ZoneColor& actual, float red, float green, float blue) {
  EXPECT_FLOAT_EQ(actual.red, red);
  EXPECT_FLOAT_EQ(actual.green, green);
  EXPECT_FLOAT_EQ(actual.blue, blue);
  EXPECT_EQ(actual.alpha, 1.0F);
}

TEST(ColorExtractor, LetterboxBarAtTheBottomIsSkipped) {
  TestFrame picture(160, 100);
  picture.fillRows(0, 90, kBright);  // the bottom 10 % is black
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 90);

  const auto zones = Internals::computeZones(160, 100, 90, 0.0, 1.0);
  for (std::size_t i = 0; i < kBottomZoneCount; ++i) {
    EXPECT_EQ(zones[i].y, 70) << "zone " << i;
    EXPECT_EQ(zones[i].y + zones[i].height, 90) << "the band sits directly above the bar";
  }

  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), 1.7F, 0.0, 1.0);
  const ZoneColor bright = Internals::boostColor(200 / 255.0F, 100 / 255.0F, 50 / 255.0F, 1.7F);
  for (std::size_t i = 0; i < kBottomZoneCount; ++i) EXPECT_EQ(colors[i], bright) << "zone " << i;
}

TEST(ColorExtractor, DimRowsBelowTheThresholdCountAsBar) {
  TestFrame picture(160, 100);
  picture.fillRows(0, 60, kBright);
  picture.fillRows(60, 100, Bgr{7, 7, 7});  // brightness 7: still bar
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 60);
  picture.fillRows(60, 100, Bgr{8, 8, 8});  // brightness 8: picture
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 100);
}

TEST(ColorExtractor, LetterboxTestSamplesEveryFourthColumnOnly) {
  TestFrame picture(160, 100);
  for (std::int64_t y = 0; y < 100; ++y) {
    for (std::int64_t x = 0; x < 160; ++x) {
      if (x % 4 != 0) picture.set(x, y, Bgr{255, 255, 255});  // invisible to the letterbox test
    }
  }
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 100);
  picture.set(156, 99, Bgr{255, 255, 255});  // sampled: 765 / (3 × 40) = 6, still dark
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 100);
  picture.set(152, 80, Bgr{255, 255, 255});
  picture.set(156, 80, Bgr{255, 255, 255});  // 1530 / 120 = 12: picture ends at row 80
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 81);
}

TEST(ColorExtractor, FullyBlackFrameGivesBlackZonesAndNoLetterbox) {
  TestFrame picture(160, 100);
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 100);
  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), 1.7F, 0.0, 1.0);
  ASSERT_EQ(colors.size(), kZoneCount);
  for (const ZoneColor& color : colors) EXPECT_EQ(color, kOpaqueBlack);
}

TEST(ColorExtractor, TopHalfIsNeverExamined) {
  TestFrame picture(160, 100);
  picture.fillRows(0, 50, kBright);  // only the top half is bright
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 100);
  picture.fillRows(50, 51, kBright);  // row 50 is the last one scanned
  EXPECT_EQ(Internals::findEffectiveBottom(picture.frame()), 51);
}

TEST(ColorExtractor, PureGreyKeepsNoHueAndLiftsTheValue) {
  const ZoneColor grey = Internals::boostColor(0.5F, 0.5F, 0.5F, 1.7F);
  const float v = std::pow(0.5F, 0.65F);
  EXPECT_NEAR(v, 0.637F, 0.0005F);
  expectColor(grey, v, v, v);
}

TEST(ColorExtractor, PureRedSaturationIsClampedToOne) {
  expectColor(Internals::boostColor(1.0F, 0.0F, 0.0F, 1.5F), 1.0F, 0.0F, 0.0F);
}

TEST(ColorExtractor, VeryDarkZonesAreCrushedToBlack) {
  EXPECT_EQ(Internals::boostColor(0.0199F, 0.01F, 0.0F, 1.7F), kOpaqueBlack);
  EXPECT_NE(Internals::boostColor(0.02F, 0.01F, 0.0F, 1.7F), kOpaqueBlack);
}

TEST(ColorExtractor, BoostRaisesSaturationByTheVibrancy) {
  // (0.8, 0.4, 0.2): hue (0.4 − 0.2) / 0.6 / 6 = 1/18, saturation 0.75.
  const float value = std::pow(0.8F, 0.65F);
  const ZoneColor boosted = Internals::boostColor(0.8F, 0.4F, 0.2F, 1.2F);
  const float saturation = 0.75F * 1.2F;
  const float f = (0.2F / 0.6F / 6.0F) * 6.0F;
  expectColor(boosted, value, (1.0F - (1.0F - f) * saturation) * value, (1.0F - saturation) * value);
}

TEST(ColorExtractor, VibrancyZeroGivesGrey) {
  const ZoneColor grey = Internals::boostColor(0.9F, 0.1F, 0.3F, 0.0F);
  const float v = std::pow(0.9F, 0.65F);
  expectColor(grey, v, v, v);
}

TEST(ColorExtractor, HueTakesTheSectorOfTheLargestChannel) {
  // Each case lands in a different sector of the colour wheel.
  const float v = std::pow(0.9F, 0.65F);
  const ZoneColor green = Internals::boostColor(0.1F, 0.9F, 0.1F, 1.0F);
  EXPECT_FLOAT_EQ(green.green, v);
  EXPECT_LT(green.red, green.green);
  const ZoneColor blue = Internals::boostColor(0.1F, 0.1F, 0.9F, 1.0F);
  EXPECT_FLOAT_EQ(blue.blue, v);
  const ZoneColor magenta = Internals::boostColor(0.9F, 0.1F, 0.5F, 1.0F);  // g < b: hue wraps past 5/6
  EXPECT_FLOAT_EQ(magenta.red, v);
  EXPECT_GT(magenta.blue, magenta.green);
}

TEST(ColorExtractor, HsvToRgbCoversEverySector) {
  const float s = 1.0F;
  const float v = 1.0F;
  expectColor(Internals::hsvToRgb(0.0F / 6, s, v), 1, 0, 0);
  expectColor(Internals::hsvToRgb(1.0F / 6, s, v), 1, 1, 0);
  expectColor(Internals::hsvToRgb(2.0F / 6, s, v), 0, 1, 0);
  expectColor(Internals::hsvToRgb(3.0F / 6, s, v), 0, 1, 1);
  expectColor(Internals::hsvToRgb(4.0F / 6, s, v), 0, 0, 1);
  expectColor(Internals::hsvToRgb(5.0F / 6, s, v), 1, 0, 1);
}

TEST(ColorExtractor, HueOfExactlyOneWrapsToTheFirstSector) {
  expectColor(Internals::hsvToRgb(1.0F, 1.0F, 0.5F), 0.5F, 0.0F, 0.0F);
}

TEST(ColorExtractor, NegativeHueFallsIntoTheLastSector) {
  // hh = −1.8 truncates to i = −1, whose remainder −1 takes the (v, p, q)
  // branch with f = −0.8, so q = 1.8.
  const ZoneColor color = Internals::hsvToRgb(-0.3F, 1.0F, 1.0F);
  EXPECT_EQ(color.red, 1.0F);
  EXPECT_EQ(color.green, 0.0F);
  EXPECT_FLOAT_EQ(color.blue, 1.8F);
}

TEST(ColorExtractor, TinySaturationGivesGrey) {
  expectColor(Internals::hsvToRgb(0.3F, 0.0001F, 0.4F), 0.4F, 0.4F, 0.4F);
}

TEST(ColorExtractorDeathTest, NonFiniteHueStopsTheProcess) {
  EXPECT_DEATH(Internals::hsvToRgb(std::numeric_limits<float>::quiet_NaN(), 0.5F, 0.5F),
               "float to integer conversion out of range");
  EXPECT_DEATH(Internals::hsvToRgb(std::numeric_limits<float>::infinity(), 0.5F, 0.5F),
               "float to integer conversion out of range");
}

TEST(ColorExtractor, ZonesOfAFullFrame) {
  const auto zones = Internals::computeZones(160, 100, 100, 0.0, 1.0);
  for (std::int64_t i = 0; i < 8; ++i) EXPECT_EQ(zones[i], (ZoneRect{17 * i, 80, 17, 20})) << i;
  EXPECT_EQ(zones[8], (ZoneRect{136, 80, 24, 20})) << "the last segment takes the remainder";
  EXPECT_EQ(zones[kLeftUpperZone], (ZoneRect{0, 0, 32, 40}));
  EXPECT_EQ(zones[kLeftLowerZone], (ZoneRect{0, 40, 32, 40}));
  EXPECT_EQ(zones[kRightUpperZone], (ZoneRect{128, 0, 32, 40}));
  EXPECT_EQ(zones[kRightLowerZone], (ZoneRect{128, 40, 32, 40}));
  EXPECT_EQ(zones[13], (ZoneRect{0, 0, 53, 20}));
  EXPECT_EQ(zones[14], (ZoneRect{53, 0, 53, 20}));
  EXPECT_EQ(zones[15], (ZoneRect{106, 0, 54, 20}));
}

TEST(ColorExtractor, OverlapSpanNearTheRightEdgeReachesPastTheFrame) {
  const double xs = 0.95;
  const double xe = xs + 0.1;  // max(min(0.97, 1), 1.05)
  const auto x0 = static_cast<std::int64_t>(xs * 160);
  const auto x1 = static_cast<std::int64_t>(xe * 160);
  ASSERT_GT(x1, 160);
  const auto zones = Internals::computeZones(160, 100, 100, 0.95, 0.97);
  const std::int64_t seg = (x1 - x0) > 9 ? (x1 - x0) / 9 : 1;
  for (std::int64_t i = 0; i < 8; ++i) EXPECT_EQ(zones[i].x, std::min<std::int64_t>(x0 + i * seg, 159)) << i;
  EXPECT_EQ(zones[8].width, x1 - (x0 + 8 * seg));

  // The sampler clips what lies past the edge: with one-pixel segments each
  // zone sees only its own column, and the clipped ones only the last.
  ASSERT_EQ(seg, 1);
  TestFrame picture(160, 100);
  picture.fill(Bgr{0, 200, 0});
  for (std::int64_t y = 0; y < 100; ++y) picture.set(159, y, Bgr{0, 0, 200});
  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), 1.0F, 0.95, 0.97);
  const ZoneColor red = Internals::boostColor(200 / 255.0F, 0.0F, 0.0F, 1.0F);
  const ZoneColor green = Internals::boostColor(0.0F, 200 / 255.0F, 0.0F, 1.0F);
  for (std::size_t i = 0; i < kBottomZoneCount; ++i) {
    EXPECT_EQ(colors[i], zones[i].x == 159 ? red : green) << "zone " << i;
  }
  EXPECT_EQ(zones[8].x, 159);
}

TEST(ColorExtractor, StartBelowZeroCountsAsZero) {
  EXPECT_EQ(Internals::computeZones(160, 100, 100, -0.5, 1.0), Internals::computeZones(160, 100, 100, 0.0, 1.0));
}

TEST(ColorExtractor, NanStartCountsAsOneAndCollapsesOntoTheLastColumn) {
  const auto zones = Internals::computeZones(160, 100, 100, std::nan(""), 1.0);
  const auto atOne = Internals::computeZones(160, 100, 100, 1.0, 1.0);
  EXPECT_EQ(zones, atOne);
  for (std::size_t i = 0; i < kBottomZoneCount; ++i) EXPECT_EQ(zones[i].x, 159) << i;
  // x1 = 1.1 × 160 = 176, span 16, seg 1: eight one-pixel zones and a last one of 8.
  EXPECT_EQ(zones[0].width, 1);
  EXPECT_EQ(zones[8].width, 8);

  TestFrame picture(160, 100);
  picture.fill(Bgr{0, 200, 0});
  for (std::int64_t y = 0; y < 100; ++y) picture.set(159, y, Bgr{0, 0, 200});
  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), 1.0F, 1.0, 1.0);
  const ZoneColor red = Internals::boostColor(200 / 255.0F, 0.0F, 0.0F, 1.0F);
  for (std::size_t i = 0; i < kBottomZoneCount; ++i) EXPECT_EQ(colors[i], red) << "zone " << i << " samples only x 159";
}

TEST(ColorExtractor, EndBeforeStartStillSpansATenth) {
  const auto zones = Internals::computeZones(160, 100, 100, 0.5, 0.2);
  EXPECT_EQ(zones[0].x, 80);
  EXPECT_EQ(zones[8].x + zones[8].width, static_cast<std::int64_t>((0.5 + 0.1) * 160));
}

TEST(ColorExtractor, NarrowFrameUsesTheMinimumSideWidth) {
  const auto zones = Internals::computeZones(20, 100, 100, 0.0, 1.0);
  EXPECT_EQ(zones[kLeftUpperZone].width, 4);
  EXPECT_EQ(zones[kRightUpperZone].x, 16);
  EXPECT_EQ(zones[13].width, 6);
  EXPECT_EQ(zones[14].x, 6);
  EXPECT_EQ(zones[15].x, 12);
  EXPECT_EQ(zones[15].width, 8);
}

TEST(ColorExtractor, FrameOfHeightOneScansRowZeroOnly) {
  TestFrame bright(40, 1);
  bright.fill(kBright);
  EXPECT_EQ(Internals::findEffectiveBottom(bright.frame()), 1);
  TestFrame dark(40, 1);
  EXPECT_EQ(Internals::findEffectiveBottom(dark.frame()), 1);
  EXPECT_EQ(ColorExtractor().extractColors(bright.frame(), 1.7F, 0.0, 1.0).size(), kZoneCount);
}

TEST(ColorExtractor, BottomBandReachingNearTheTopLeavesTheLowerSidesEmpty) {
  // Height 5: band 4 high, no bar, so bb = 1.
  const auto zones = Internals::computeZones(20, 5, 5, 0.0, 1.0);
  EXPECT_EQ(zones[kLeftUpperZone].height, 1);
  EXPECT_EQ(zones[kLeftLowerZone].height, 0);
  EXPECT_EQ(zones[kRightLowerZone].height, 0);

  TestFrame picture(20, 5);
  picture.fill(kBright);
  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), 1.7F, 0.0, 1.0);
  EXPECT_EQ(colors[kLeftLowerZone], kOpaqueBlack);
  EXPECT_EQ(colors[kRightLowerZone], kOpaqueBlack);
  EXPECT_NE(colors[kLeftUpperZone], kOpaqueBlack);
}

TEST(ColorExtractor, FrameWithoutPixelMemoryGivesSixteenOpaqueBlacks) {
  const ZoneColorList colors = ColorExtractor().extractColors(Frame{nullptr, 160, 100, 640}, 1.7F, 0.0, 1.0);
  ASSERT_EQ(colors.size(), kZoneCount);
  for (const ZoneColor& color : colors) EXPECT_EQ(color, kOpaqueBlack);
}

TEST(ColorExtractor, ZonesAverageEverySecondPixelOfEverySecondRow) {
  // Odd rows and odd columns are never sampled: paint them white, the
  // sampled grid a known colour, and the average must ignore the white.
  TestFrame picture(160, 100);
  for (std::int64_t y = 0; y < 100; ++y) {
    for (std::int64_t x = 0; x < 160; ++x) {
      picture.set(x, y, (x % 2 == 0 && y % 2 == 0) ? Bgr{30, 60, 120} : Bgr{255, 255, 255});
    }
  }
  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), 1.3F, 0.0, 1.0);
  const ZoneColor expected = Internals::boostColor(120 / 255.0F, 60 / 255.0F, 30 / 255.0F, 1.3F);
  for (std::size_t i : {std::size_t{0}, kLeftUpperZone, kRightUpperZone, kTopFirstZone}) {
    EXPECT_EQ(colors[i], expected) << "zone " << i;
  }
}

TEST(ColorExtractor, AlphaIsNeverRead) {
  TestFrame opaque(160, 100);
  TestFrame clear(160, 100);
  for (std::int64_t y = 0; y < 100; ++y) {
    for (std::int64_t x = 0; x < 160; ++x) {
      const Bgr colour{static_cast<std::uint8_t>(x), static_cast<std::uint8_t>(y), 90};
      opaque.set(x, y, colour, 0xFF);
      clear.set(x, y, colour, 0x00);
    }
  }
  EXPECT_EQ(ColorExtractor().extractColors(opaque.frame(), 1.7F, 0.0, 1.0),
            ColorExtractor().extractColors(clear.frame(), 1.7F, 0.0, 1.0));
}

TEST(ColorExtractor, SmoothBlendsPairwiseOnAllFourComponents) {
  const ZoneColorList current{{1.0F, 0.0F, 0.5F, 1.0F}, {0.2F, 0.2F, 0.2F, 1.0F}};
  const ZoneColorList previous{{0.0F, 1.0F, 0.5F, 0.0F}, {0.4F, 0.4F, 0.4F, 1.0F}};
  const ZoneColorList blended = ColorExtractor::smooth(current, previous, 0.25F);
  ASSERT_EQ(blended.size(), 2U);
  EXPECT_EQ(blended[0], (ZoneColor{0.25F, 0.75F, 0.5F, 0.25F}));
  EXPECT_EQ(blended[1].red, 0.4F + (0.2F - 0.4F) * 0.25F);
}

TEST(ColorExtractor, SmoothPairsOnlyAsManyEntriesAsBothListsHave) {
  const ZoneColorList three(3, ZoneColor{0.5F, 0.5F, 0.5F, 1.0F});
  const ZoneColorList two(2, kOpaqueBlack);
  EXPECT_EQ(ColorExtractor::smooth(three, two, 0.5F).size(), 2U);
}

}  // namespace
}  // namespace tarvelo
