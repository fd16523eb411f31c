#include "pipeline/color_processing_engine.h"

#include <cstdint>

#include <gtest/gtest.h>

#include "pipeline/color_extractor.h"
#include "pipeline/test_frames.h"

namespace tarvelo {
namespace {

using testing::Bgr;
using testing::TestFrame;

TestFrame solidFrame(Bgr colour) {
  TestFrame picture(160, 100);
  picture.fill(colour);
  return picture;
}

ZoneColorList raw(const TestFrame& picture) { return ColorExtractor().extractColors(picture.frame(), 1.7F, 0.0, 1.0); }

ZoneColor expectedBlend(const ZoneColor& current, const ZoneColor& previous, float factor) {
  return ZoneColor{previous.red + (current.red - previous.red) * factor,
                   previous.green + (current.green - previous.green) * factor,
                   previous.blue + (current.blue - previous.blue) * factor,
                   previous.alpha + (current.alpha - previous.alpha) * factor};
}

const TestFrame kRed = solidFrame(Bgr{20, 20, 220});
const TestFrame kBlue = solidFrame(Bgr{220, 40, 20});

TEST(ColorProcessingEngine, StartsWithNoPreviousColors) {
  EXPECT_TRUE(ColorProcessingEngine().previousColors().empty());
}

TEST(ColorProcessingEngine, FirstCallShowsTheRawColorsAndRemembersThem) {
  ColorProcessingEngine engine;
  const ZoneColorList colors = engine.process(kRed.frame(), 0.9F, 1.7F, 0.0, 1.0);
  EXPECT_EQ(colors, raw(kRed));
  EXPECT_EQ(engine.previousColors(), colors);
}

TEST(ColorProcessingEngine, FirstCallAfterClearingIsNotBlendedTowardsTheOldRun) {
  ColorProcessingEngine engine;
  engine.process(kRed.frame(), 0.9F, 1.7F, 0.0, 1.0);
  engine.clearPreviousColors();
  EXPECT_TRUE(engine.previousColors().empty());
  EXPECT_EQ(engine.process(kBlue.frame(), 0.9F, 1.7F, 0.0, 1.0), raw(kBlue));
}

TEST(ColorProcessingEngine, SmoothingZeroShowsEveryFrameAsItIs) {
  ColorProcessingEngine engine;
  engine.process(kRed.frame(), 0.0F, 1.7F, 0.0, 1.0);
  EXPECT_EQ(engine.process(kBlue.frame(), 0.0F, 1.7F, 0.0, 1.0), raw(kBlue));
  EXPECT_EQ(engine.process(kRed.frame(), 0.0F, 1.7F, 0.0, 1.0), raw(kRed));
}

TEST(ColorProcessingEngine, FullSmoothingStillGivesTheNewFrameFivePercent) {
  // 0.95 itself gives 1 − 0.95 in single precision, a hair above 0.05.
  for (const float smoothing : {1.0F, 0.99F, 0.96F}) {
    ColorProcessingEngine engine;
    const ZoneColorList previous = engine.process(kRed.frame(), smoothing, 1.7F, 0.0, 1.0);
    const ZoneColorList blended = engine.process(kBlue.frame(), smoothing, 1.7F, 0.0, 1.0);
    const ZoneColorList current = raw(kBlue);
    for (std::size_t i = 0; i < kZoneCount; ++i) {
      EXPECT_EQ(blended[i], expectedBlend(current[i], previous[i], 0.05F)) << "smoothing " << smoothing;
    }
  }
}

TEST(ColorProcessingEngine, BlendsWithTheWeightOneMinusSmoothing) {
  ColorProcessingEngine engine;
  const ZoneColorList first = engine.process(kRed.frame(), 0.3F, 1.7F, 0.0, 1.0);
  const ZoneColorList second = engine.process(kBlue.frame(), 0.3F, 1.7F, 0.0, 1.0);
  const ZoneColorList current = raw(kBlue);
  for (std::size_t i = 0; i < kZoneCount; ++i) EXPECT_EQ(second[i], expectedBlend(current[i], first[i], 1.0F - 0.3F));
  EXPECT_EQ(engine.previousColors(), second);
  // Each result becomes the next frame's previous colours.
  const ZoneColorList third = engine.process(kBlue.frame(), 0.3F, 1.7F, 0.0, 1.0);
  for (std::size_t i = 0; i < kZoneCount; ++i) EXPECT_EQ(third[i], expectedBlend(current[i], second[i], 0.7F));
}

TEST(ColorProcessingEngine, NegativeSmoothingIsNotClamped) {
  ColorProcessingEngine engine;
  const ZoneColorList first = engine.process(kRed.frame(), -0.5F, 1.7F, 0.0, 1.0);
  const ZoneColorList second = engine.process(kBlue.frame(), -0.5F, 1.7F, 0.0, 1.0);
  const ZoneColorList current = raw(kBlue);
  for (std::size_t i = 0; i < kZoneCount; ++i) EXPECT_EQ(second[i], expectedBlend(current[i], first[i], 1.5F));
}

TEST(ColorProcessingEngine, FrameWithoutPixelMemoryFadesTowardsBlack) {
  ColorProcessingEngine engine;
  const ZoneColorList lit = engine.process(kRed.frame(), 0.5F, 1.7F, 0.0, 1.0);
  const ZoneColorList fading = engine.process(Frame{nullptr, 160, 100, 640}, 0.5F, 1.7F, 0.0, 1.0);
  for (std::size_t i = 0; i < kZoneCount; ++i) EXPECT_EQ(fading[i], expectedBlend(kOpaqueBlack, lit[i], 0.5F));
}

TEST(ColorProcessingEngine, OverlapFractionsReachTheExtractor) {
  TestFrame picture(160, 100);
  for (std::int64_t y = 0; y < 100; ++y) {
    for (std::int64_t x = 0; x < 160; ++x) picture.set(x, y, x < 80 ? Bgr{0, 0, 200} : Bgr{200, 0, 0});
  }
  ColorProcessingEngine engine;
  EXPECT_EQ(engine.process(picture.frame(), 0.0F, 1.7F, 0.5, 1.0),
            ColorExtractor().extractColors(picture.frame(), 1.7F, 0.5, 1.0));
}

}  // namespace
}  // namespace tarvelo
