// The colour pipeline at vibrancy and smoothing values no slider offers:
// nothing traps, every call gives sixteen colours, and where the rules give
// NaN they give it exactly (the light draws NaN as nothing).
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "pipeline/color_extractor.h"
#include "pipeline/color_processing_engine.h"
#include "pipeline/test_frames.h"

namespace tarvelo {
namespace {

using testing::Bgr;
using testing::TestFrame;

constexpr float kInfinity = std::numeric_limits<float>::infinity();
constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();

// As the settings' 64-bit values arrive after narrowing: 1e-310 becomes 0,
// 1e308 an infinity.
const std::vector<float> kHostileValues = {0.0F, -1.0F, 1e-40F, 1e12F, std::numeric_limits<float>::max(),
                                           kInfinity, -kInfinity, kNaN};

// Colour, grey and near-black regions in one picture, so every branch of
// the boost is taken.
TestFrame mixedFrame(std::uint8_t shift) {
  TestFrame picture(160, 100);
  picture.fill(Bgr{40, static_cast<std::uint8_t>(120 + shift), 220});
  picture.fillRows(0, 20, Bgr{128, 128, 128});
  picture.fillRows(20, 40, Bgr{2, 1, 3});
  return picture;
}

bool isNaNOrWithinUnit(float value) { return std::isnan(value) || (value >= 0.0F && value <= 1.0F); }

TEST(PipelineHostileSettings, EveryVibrancyAndSmoothingGivesSixteenColoursWithoutTrapping) {
  const TestFrame first = mixedFrame(0);
  const TestFrame second = mixedFrame(90);
  for (const float vibrancy : kHostileValues) {
    for (const float smoothing : kHostileValues) {
      SCOPED_TRACE(::testing::Message() << "vibrancy " << vibrancy << ", smoothing " << smoothing);
      ColorProcessingEngine engine;
      for (int frame = 0; frame < 6; ++frame) {
        const ZoneColorList colors =
            engine.process((frame % 2 == 0 ? first : second).frame(), smoothing, vibrancy, 0.0, 1.0);
        ASSERT_EQ(colors.size(), kZoneCount);
        // Smoothing of 0 or more only blends between boosted colours.
        if (smoothing >= 0.0F) {
          for (const ZoneColor& color : colors) {
            EXPECT_TRUE(isNaNOrWithinUnit(color.red) && isNaNOrWithinUnit(color.green) &&
                        isNaNOrWithinUnit(color.blue));
          }
        }
      }
    }
  }
}

TEST(PipelineHostileSettings, ANaNVibrancyGivesNaNForLitZonesAndBlackForDarkOnes) {
  const TestFrame picture = mixedFrame(0);
  const ZoneColorList colors = ColorExtractor().extractColors(picture.frame(), kNaN, 0.0, 1.0);
  // The bottom band is coloured (a red hue, sector 0): saturation × NaN is
  // NaN, min keeps it, and only the channel that is the value itself survives.
  EXPECT_FALSE(std::isnan(colors[0].red));
  EXPECT_TRUE(std::isnan(colors[0].green) && std::isnan(colors[0].blue));
  // A zone under 0.02 is crushed to black before the vibrancy is used.
  TestFrame dark(160, 100);
  dark.fill(Bgr{2, 1, 3});
  for (const ZoneColor& color : ColorExtractor().extractColors(dark.frame(), kNaN, 0.0, 1.0)) {
    EXPECT_EQ(color, kOpaqueBlack);
  }
}

TEST(PipelineHostileSettings, AnInfiniteVibrancySaturatesColourAndLeavesGreyUndefined) {
  TestFrame colour(160, 100);
  colour.fill(Bgr{40, 120, 220});
  const ZoneColor saturated = ColorExtractor().extractColors(colour.frame(), kInfinity, 0.0, 1.0)[0];
  const ZoneColor atOne = ColorExtractor().extractColors(colour.frame(), 1e30F, 0.0, 1.0)[0];
  EXPECT_EQ(saturated, atOne);
  // Grey has no saturation; 0 × infinity is NaN.
  TestFrame grey(160, 100);
  grey.fill(Bgr{128, 128, 128});
  const ZoneColor undefined = ColorExtractor().extractColors(grey.frame(), kInfinity, 0.0, 1.0)[0];
  EXPECT_TRUE(std::isnan(undefined.green) && std::isnan(undefined.blue));
  // A negative vibrancy leaves no saturation: grey of the zone's value.
  const ZoneColor negative = ColorExtractor().extractColors(colour.frame(), -1.0F, 0.0, 1.0)[0];
  EXPECT_EQ(negative.red, negative.green);
  EXPECT_EQ(negative.green, negative.blue);
}

TEST(PipelineHostileSettings, ANaNSmoothingMakesEveryLaterFrameNaNUntilTheEngineIsCleared) {
  const TestFrame picture = mixedFrame(0);
  ColorProcessingEngine engine;
  const ZoneColorList first = engine.process(picture.frame(), kNaN, 1.7F, 0.0, 1.0);
  EXPECT_FALSE(std::isnan(first[0].red));  // the first frame is shown as it is
  // max(1 − NaN, 0.05) keeps its first operand, NaN; the blend is NaN, alpha too.
  const ZoneColorList second = engine.process(picture.frame(), kNaN, 1.7F, 0.0, 1.0);
  for (const ZoneColor& color : second) EXPECT_TRUE(std::isnan(color.red) && std::isnan(color.alpha));
  // The NaN is remembered: a real smoothing blends with it and stays NaN.
  const ZoneColorList third = engine.process(picture.frame(), 0.3F, 1.7F, 0.0, 1.0);
  EXPECT_TRUE(std::isnan(third[0].red));
  // Stopping the lights clears the engine, and the next run starts clean.
  engine.clearPreviousColors();
  EXPECT_FALSE(std::isnan(engine.process(picture.frame(), 0.3F, 1.7F, 0.0, 1.0)[0].red));
}

TEST(PipelineHostileSettings, HugeSmoothingFollowsThePictureAtTheFivePercentFloor) {
  const TestFrame red = mixedFrame(0);
  const TestFrame other = mixedFrame(90);
  for (const float smoothing : {1e12F, kInfinity}) {
    ColorProcessingEngine engine;
    const ZoneColorList previous = engine.process(red.frame(), smoothing, 1.7F, 0.0, 1.0);
    const ZoneColorList blended = engine.process(other.frame(), smoothing, 1.7F, 0.0, 1.0);
    const ZoneColorList current = ColorExtractor().extractColors(other.frame(), 1.7F, 0.0, 1.0);
    for (std::size_t i = 0; i < kZoneCount; ++i) {
      EXPECT_EQ(blended[i], ColorExtractor::smooth(current[i], previous[i], 0.05F));
    }
  }
}

}  // namespace
}  // namespace tarvelo
