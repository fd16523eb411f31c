#include "output/ambient_gradient_model.h"
#include "output/drawable_light.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace tarvelo {
namespace {

using ::testing::DoubleEq;
using ::testing::ElementsAre;

constexpr double kViewWidth = 1920.0;
constexpr double kViewHeight = 1080.0;

ZoneColorList uniformZones(float value, std::size_t count = kZoneCount) {
  return ZoneColorList(count, ZoneColor{value, value, value, 1.0F});
}

// Every zone and every channel different, so a mix-up of entries shows.
ZoneColorList distinctZones() {
  ZoneColorList zones;
  for (std::size_t i = 0; i < kZoneCount; ++i) {
    const float step = static_cast<float>(i);
    zones.push_back(ZoneColor{0.01F + 0.05F * step, 0.9F - 0.04F * step, 0.3F + 0.02F * step, 1.0F});
  }
  return zones;
}

std::vector<double> alphasOf(const GradientLayer& layer) {
  std::vector<double> alphas;
  for (const LightColor& color : layer.colors) alphas.push_back(color.alpha);
  return alphas;
}

AmbientGradientModel laidOutModel(bool blurAvailable = true) {
  AmbientGradientModel model(blurAvailable);
  model.layout(kViewWidth, kViewHeight);
  return model;
}

// The container and every layer frame a view of `width` × `height` must get
// when the blur margin is `pad`.
struct ExpectedFrames {
  LightRect container;
  LightRect wash;
  std::vector<LightRect> strips;
  LightRect left;
  LightRect right;
  LightRect bottom;
};

ExpectedFrames expectedFrames(double width, double height, double pad) {
  ExpectedFrames expected;
  const double containerWidth = width + 2 * pad;
  const double containerHeight = height + 2 * pad;
  expected.container = LightRect{-pad, -pad, containerWidth, containerHeight};
  expected.wash = LightRect{0.0, 0.0, containerWidth, containerHeight};
  const double slot = containerWidth / 9;
  for (int i = 0; i < 9; ++i) {
    const double overhang = slot * 0.55;
    expected.strips.push_back(LightRect{slot * i - overhang * 0.5, 0.0, slot + overhang, containerHeight});
  }
  const double side = containerWidth * 0.45;
  expected.left = LightRect{0.0, 0.0, side, containerHeight};
  expected.right = LightRect{containerWidth - side, 0.0, side, containerHeight};
  expected.bottom = LightRect{0.0, 0.0, containerWidth, containerHeight};
  return expected;
}

void expectFrames(const AmbientGradientModel& model, const ExpectedFrames& expected) {
  EXPECT_EQ(model.lightContainer(), expected.container);
  EXPECT_EQ(model.washLayer().frame, expected.wash);
  ASSERT_EQ(model.stripLayers().size(), expected.strips.size());
  for (std::size_t i = 0; i < expected.strips.size(); ++i) {
    EXPECT_EQ(model.stripLayers()[i].frame, expected.strips[i]) << "strip " << i;
  }
  EXPECT_EQ(model.leftLayer().frame, expected.left);
  EXPECT_EQ(model.rightLayer().frame, expected.right);
  EXPECT_EQ(model.bottomLayer().frame, expected.bottom);
}

void expectColorRgb(const LightColor& color, double red, double green, double blue) {
  EXPECT_EQ(color.red, red);
  EXPECT_EQ(color.green, green);
  EXPECT_EQ(color.blue, blue);
}

// --- Blur radius ---

TEST(AmbientGradientModelTest, FirstUpdateWithBlurRadius60NeitherRebuildsBlurNorRelaysOut) {
  AmbientGradientModel model = laidOutModel();
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, 60.0, 1.0);
  EXPECT_TRUE(result.colorsChanged);
  EXPECT_FALSE(result.blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), 60.0);
  EXPECT_EQ(model.containerMargin(), 90.0);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 90.0));
}

TEST(AmbientGradientModelTest, BlurRadius60Point4After60IsIgnored) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, 1.0);
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, 60.4, 1.0);
  EXPECT_FALSE(result.blurRadiusChanged);
  EXPECT_TRUE(result.colorsChanged);
  EXPECT_EQ(model.currentBlurRadius(), 60.0);
  EXPECT_EQ(model.containerMargin(), 90.0);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 90.0));
}

TEST(AmbientGradientModelTest, BlurRadius60Point6After60IsAppliedWithMargin90Point9) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, 1.0);
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, 60.6, 1.0);
  EXPECT_TRUE(result.blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), 60.6);
  EXPECT_DOUBLE_EQ(model.containerMargin(), 90.9);
  EXPECT_DOUBLE_EQ(model.lightContainer().x, -90.9);
  EXPECT_DOUBLE_EQ(model.lightContainer().y, -90.9);
  EXPECT_DOUBLE_EQ(model.lightContainer().width, 1920.0 + 181.8);
  EXPECT_DOUBLE_EQ(model.lightContainer().height, 1080.0 + 181.8);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 60.6 * 1.5));
}

TEST(AmbientGradientModelTest, BlurRadius20UsesTheMarginFloorOf60) {
  AmbientGradientModel model = laidOutModel();
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, 20.0, 1.0);
  EXPECT_TRUE(result.blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), 20.0);
  EXPECT_EQ(model.containerMargin(), 60.0);
  EXPECT_EQ(model.lightContainer(), (LightRect{-60.0, -60.0, 2040.0, 1200.0}));
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 60.0));
}

TEST(AmbientGradientModelTest, RadiusChangeRelaysOutWithTheLastLaidOutSize) {
  AmbientGradientModel model = laidOutModel();
  model.layout(800.0, 600.0);
  model.updateColors(distinctZones(), 1.0, 100.0, 1.0);
  EXPECT_EQ(model.containerMargin(), 150.0);
  expectFrames(model, expectedFrames(800.0, 600.0, 150.0));
}

TEST(AmbientGradientModelTest, WithoutBlurRadiusChangesStillUpdateRadiusAndMargin) {
  AmbientGradientModel model = laidOutModel(/*blurAvailable=*/false);
  EXPECT_FALSE(model.blurAvailable());
  EXPECT_FALSE(model.hasBlur());
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, 100.0, 1.0);
  EXPECT_TRUE(result.blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), 100.0);
  EXPECT_EQ(model.containerMargin(), 150.0);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 150.0));
  EXPECT_FALSE(model.hasBlur());
}

// --- Radii no slider offers ---

void expectFiniteFrames(const AmbientGradientModel& model) {
  for (const GradientLayer* layer : model.layersBackToFront()) {
    EXPECT_TRUE(std::isfinite(layer->frame.x) && std::isfinite(layer->frame.width));
    EXPECT_TRUE(std::isfinite(layer->frame.y) && std::isfinite(layer->frame.height));
  }
  EXPECT_TRUE(std::isfinite(model.lightContainer().width) && std::isfinite(model.lightContainer().height));
}

TEST(AmbientGradientModelTest, AnInfiniteRadiusIsTakenAndDrawnAsTheLargestTheViewShows) {
  AmbientGradientModel model = laidOutModel();
  const double infinity = std::numeric_limits<double>::infinity();
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, infinity, 1.0);
  EXPECT_TRUE(result.blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), infinity);
  EXPECT_EQ(largestDrawnBlurRadius(kViewWidth, kViewHeight), 64.0 * kViewWidth);
  EXPECT_EQ(model.drawnBlurRadius(), 64.0 * kViewWidth);
  EXPECT_EQ(model.containerMargin(), 1.5 * 64.0 * kViewWidth);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 1.5 * 64.0 * kViewWidth));
  expectFiniteFrames(model);
  // The same radius again differs by nothing (NaN) and changes nothing.
  EXPECT_FALSE(model.updateColors(distinctZones(), 1.0, infinity, 1.0).blurRadiusChanged);
  // Any finite radius after it is taken in turn.
  EXPECT_TRUE(model.updateColors(distinctZones(), 1.0, 60.0, 1.0).blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), 60.0);
  EXPECT_EQ(model.containerMargin(), 90.0);
}

TEST(AmbientGradientModelTest, AHugeFiniteRadiusIsKeptAndDrawnAsTheLargestTheViewShows) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 1e308, 1.0);
  EXPECT_EQ(model.currentBlurRadius(), 1e308);
  EXPECT_EQ(model.drawnBlurRadius(), largestDrawnBlurRadius(kViewWidth, kViewHeight));
  expectFiniteFrames(model);
}

TEST(AmbientGradientModelTest, ANaNRadiusIsIgnoredAndTheNextRealOneApplies) {
  AmbientGradientModel model = laidOutModel();
  const AmbientGradientModel::UpdateResult result =
      model.updateColors(distinctZones(), 1.0, std::numeric_limits<double>::quiet_NaN(), 1.0);
  EXPECT_FALSE(result.blurRadiusChanged);
  EXPECT_TRUE(result.colorsChanged);
  EXPECT_EQ(model.currentBlurRadius(), 60.0);
  EXPECT_TRUE(model.updateColors(distinctZones(), 1.0, 100.0, 1.0).blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), 100.0);
}

TEST(AmbientGradientModelTest, ANegativeRadiusIsKeptAndDrawnUnblurredWithTheMarginFloor) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, -1.0, 1.0);
  EXPECT_EQ(model.currentBlurRadius(), -1.0);
  EXPECT_EQ(model.drawnBlurRadius(), 0.0);
  EXPECT_EQ(model.containerMargin(), 60.0);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 60.0));
}

TEST(AmbientGradientModelTest, OnlyAVeryNarrowViewDrawsARadiusASliderOffersSmaller) {
  // The blur grid must fit the view: side × (side + 19) / 7.
  EXPECT_EQ(largestDrawnBlurRadius(1920.0, 1080.0), 64.0 * 1920.0);
  EXPECT_EQ(largestDrawnBlurRadius(3840.0, 2160.0), 64.0 * 3840.0);
  EXPECT_DOUBLE_EQ(largestDrawnBlurRadius(640.0, 360.0), 360.0 * 379.0 / 7.0);
  EXPECT_GE(largestDrawnBlurRadius(32.0, 18.0), 60.0);
  EXPECT_EQ(drawableBlurRadius(150.0, 1920.0, 1080.0), 150.0);
  // A view without area draws nothing: only the sign is limited.
  EXPECT_EQ(drawableBlurRadius(1e308, 0.0, 0.0), 1e308);
  EXPECT_EQ(drawableBlurRadius(std::numeric_limits<double>::quiet_NaN(), 1920.0, 1080.0), 0.0);
}

TEST(AmbientGradientModelTest, BlurExistsOnceBuiltWhenTheRendererHasOne) {
  AmbientGradientModel model;
  EXPECT_TRUE(model.blurAvailable());
  EXPECT_FALSE(model.hasBlur());
  model.layout(kViewWidth, kViewHeight);
  EXPECT_TRUE(model.hasBlur());
}

TEST(AmbientGradientModelTest, RadiusChangeBeforeFirstLayoutIsUsedByThatLayout) {
  AmbientGradientModel model;
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, 80.0, 1.0);
  EXPECT_TRUE(result.blurRadiusChanged);
  EXPECT_EQ(model.lightContainer(), LightRect{});
  model.layout(kViewWidth, kViewHeight);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 120.0));
}

// --- Spread and brightness ---

TEST(AmbientGradientModelTest, Spread0MakesWashAndSideGlowsTransparentButStripsOpaqueAtTheTop) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, 0.0);
  EXPECT_THAT(alphasOf(model.washLayer()), ElementsAre(0.0, 0.0, 0.0));
  EXPECT_THAT(alphasOf(model.leftLayer()), ElementsAre(0.0, 0.0, 0.0));
  EXPECT_THAT(alphasOf(model.rightLayer()), ElementsAre(0.0, 0.0, 0.0));
  EXPECT_THAT(alphasOf(model.bottomLayer()), ElementsAre(0.0, 0.0, 0.0));
  for (const GradientLayer& strip : model.stripLayers()) {
    EXPECT_THAT(alphasOf(strip), ElementsAre(1.0, 0.75, 0.35, 0.0));
  }
}

TEST(AmbientGradientModelTest, Spread1GivesSeventyFortyFiveThirtyAndStripFades) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, 1.0);
  EXPECT_THAT(alphasOf(model.washLayer()), ElementsAre(DoubleEq(0.7), DoubleEq(0.45), DoubleEq(0.3)));
  EXPECT_THAT(alphasOf(model.leftLayer()), ElementsAre(DoubleEq(0.7), DoubleEq(0.3), 0.0));
  EXPECT_THAT(alphasOf(model.rightLayer()), ElementsAre(DoubleEq(0.7), DoubleEq(0.3), 0.0));
  EXPECT_THAT(alphasOf(model.bottomLayer()), ElementsAre(DoubleEq(0.4), DoubleEq(0.15), 0.0));
  for (const GradientLayer& strip : model.stripLayers()) {
    EXPECT_THAT(alphasOf(strip), ElementsAre(1.0, 1.0, DoubleEq(0.8), DoubleEq(0.525)));
  }
}

TEST(AmbientGradientModelTest, Spread2LimitsAlphasToOneIncludingTheStripTail) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, 2.0);
  for (const GradientLayer& strip : model.stripLayers()) {
    // tail would be (2 − 0.3) × 0.75 = 1.275 unlimited.
    EXPECT_THAT(alphasOf(strip), ElementsAre(1.0, 1.0, 1.0, 1.0));
  }
  // Only the products that reach past 1 are limited: 1.4 → 1; 0.9 and 0.6 stay.
  EXPECT_THAT(alphasOf(model.washLayer()), ElementsAre(1.0, DoubleEq(0.9), DoubleEq(0.6)));
  EXPECT_THAT(alphasOf(model.leftLayer()), ElementsAre(1.0, DoubleEq(0.6), 0.0));
  EXPECT_THAT(alphasOf(model.rightLayer()), ElementsAre(1.0, DoubleEq(0.6), 0.0));
  EXPECT_THAT(alphasOf(model.bottomLayer()), ElementsAre(DoubleEq(0.8), DoubleEq(0.3), 0.0));

  model.updateColors(distinctZones(), 1.0, 60.0, 5.0);
  EXPECT_THAT(alphasOf(model.washLayer()), ElementsAre(1.0, 1.0, 1.0));
  EXPECT_THAT(alphasOf(model.leftLayer()), ElementsAre(1.0, 1.0, 0.0));
  EXPECT_THAT(alphasOf(model.bottomLayer()), ElementsAre(1.0, DoubleEq(0.75), 0.0));
}

TEST(AmbientGradientModelTest, SpreadBelowThreeTenthsFadesStripsToNothing) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, 0.2);
  for (const GradientLayer& strip : model.stripLayers()) {
    EXPECT_EQ(strip.colors[3].alpha, 0.0);
  }
}

TEST(AmbientGradientModelTest, Brightness2WithColor0Point6IsShownAsFull) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(uniformZones(0.6F), 2.0, 60.0, 1.0);
  for (const LightColor& color : model.washLayer().colors) expectColorRgb(color, 1.0, 1.0, 1.0);
  for (const GradientLayer& strip : model.stripLayers()) {
    for (const LightColor& color : strip.colors) expectColorRgb(color, 1.0, 1.0, 1.0);
  }
  // The glows' last stop is clear; the two before it carry the colour.
  for (const GradientLayer* glow : {&model.leftLayer(), &model.rightLayer(), &model.bottomLayer()}) {
    expectColorRgb(glow->colors[0], 1.0, 1.0, 1.0);
    expectColorRgb(glow->colors[1], 1.0, 1.0, 1.0);
  }
}

TEST(AmbientGradientModelTest, BrightnessScalesColoursBelowFull) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(uniformZones(0.6F), 0.5, 60.0, 1.0);
  const double expected = static_cast<double>(0.6F) * 0.5;
  expectColorRgb(model.stripLayers()[4].colors[0], expected, expected, expected);
  expectColorRgb(model.leftLayer().colors[0], expected, expected, expected);
}

TEST(AmbientGradientModelTest, NegativeComponentsPassThroughUnclamped) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(uniformZones(-0.25F), 2.0, 60.0, 1.0);
  expectColorRgb(model.washLayer().colors[0], -0.5, -0.5, -0.5);
  expectColorRgb(model.stripLayers()[0].colors[0], -0.5, -0.5, -0.5);
  expectColorRgb(model.leftLayer().colors[0], -0.5, -0.5, -0.5);
  expectColorRgb(model.rightLayer().colors[1], -0.5, -0.5, -0.5);
  expectColorRgb(model.bottomLayer().colors[0], -0.5, -0.5, -0.5);
}

TEST(AmbientGradientModelTest, NegativeSpreadGivesNegativeAlphasButNoNegativeTail) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, -1.0);
  EXPECT_THAT(alphasOf(model.washLayer()), ElementsAre(DoubleEq(-0.7), DoubleEq(-0.45), DoubleEq(-0.3)));
  EXPECT_THAT(alphasOf(model.stripLayers()[0]), ElementsAre(1.0, DoubleEq(0.5), DoubleEq(-0.1), 0.0));
}

// --- Colour sources ---

TEST(AmbientGradientModelTest, WashIsTheMeanOfTheBottomBandInDoublePrecision) {
  AmbientGradientModel model = laidOutModel();
  const ZoneColorList zones = distinctZones();
  model.updateColors(zones, 0.8, 60.0, 1.0);
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
  for (std::size_t i = 0; i < 9; ++i) {
    red += static_cast<double>(zones[i].red);
    green += static_cast<double>(zones[i].green);
    blue += static_cast<double>(zones[i].blue);
  }
  for (const LightColor& color : model.washLayer().colors) {
    expectColorRgb(color, red / 9 * 0.8, green / 9 * 0.8, blue / 9 * 0.8);
  }
}

TEST(AmbientGradientModelTest, StripsTakeBottomBandZonesLeftToRight) {
  AmbientGradientModel model = laidOutModel();
  const ZoneColorList zones = distinctZones();
  model.updateColors(zones, 0.8, 60.0, 1.0);
  ASSERT_EQ(model.stripLayers().size(), 9U);
  for (std::size_t i = 0; i < 9; ++i) {
    for (const LightColor& color : model.stripLayers()[i].colors) {
      expectColorRgb(color, static_cast<double>(zones[i].red) * 0.8, static_cast<double>(zones[i].green) * 0.8,
                     static_cast<double>(zones[i].blue) * 0.8);
    }
  }
}

TEST(AmbientGradientModelTest, SideGlowsAverageTheirZonesInSinglePrecision) {
  ZoneColorList zones = uniformZones(0.5F);
  zones[kLeftUpperZone] = ZoneColor{0.1F, 0.3F, 0.9F, 1.0F};
  zones[kLeftLowerZone] = ZoneColor{0.7F, 0.2F, 0.0F, 1.0F};
  zones[kRightUpperZone] = ZoneColor{0.7F, 0.6F, 0.05F, 1.0F};
  zones[kRightLowerZone] = ZoneColor{0.1F, 0.25F, 0.15F, 1.0F};
  const float leftRed = (0.1F + 0.7F) * 0.5F;
  // Averaging in double would land elsewhere, so this test tells the two apart.
  ASSERT_NE(static_cast<double>(leftRed), (static_cast<double>(0.1F) + static_cast<double>(0.7F)) * 0.5);

  AmbientGradientModel model = laidOutModel();
  model.updateColors(zones, 0.9, 60.0, 1.0);
  for (std::size_t k = 0; k < 2; ++k) {
    expectColorRgb(model.leftLayer().colors[k], static_cast<double>(leftRed) * 0.9,
                   static_cast<double>((0.3F + 0.2F) * 0.5F) * 0.9, static_cast<double>((0.9F + 0.0F) * 0.5F) * 0.9);
    expectColorRgb(model.rightLayer().colors[k], static_cast<double>((0.7F + 0.1F) * 0.5F) * 0.9,
                   static_cast<double>((0.6F + 0.25F) * 0.5F) * 0.9,
                   static_cast<double>((0.05F + 0.15F) * 0.5F) * 0.9);
  }
  EXPECT_EQ(model.leftLayer().colors[2], kClearLight);
  EXPECT_EQ(model.rightLayer().colors[2], kClearLight);
}

TEST(AmbientGradientModelTest, BottomGlowAveragesTheTopBandInSinglePrecision) {
  ZoneColorList zones = uniformZones(0.5F);
  zones[13] = ZoneColor{0.1F, 0.9F, 0.3F, 1.0F};
  zones[14] = ZoneColor{0.2F, 0.8F, 0.3F, 1.0F};
  zones[15] = ZoneColor{0.4F, 0.05F, 0.6F, 1.0F};
  const float topRed = (0.1F + 0.2F + 0.4F) / 3.0F;
  ASSERT_NE(static_cast<double>(topRed),
            (static_cast<double>(0.1F) + static_cast<double>(0.2F) + static_cast<double>(0.4F)) / 3.0);

  AmbientGradientModel model = laidOutModel();
  model.updateColors(zones, 1.1, 60.0, 1.0);
  for (std::size_t k = 0; k < 2; ++k) {
    expectColorRgb(model.bottomLayer().colors[k], static_cast<double>(topRed) * 1.1,
                   static_cast<double>((0.9F + 0.8F + 0.05F) / 3.0F) * 1.1,
                   static_cast<double>((0.3F + 0.3F + 0.6F) / 3.0F) * 1.1);
  }
  EXPECT_EQ(model.bottomLayer().colors[2], kClearLight);
}

TEST(AmbientGradientModelTest, EntriesBeyondSixteenAreIgnored) {
  AmbientGradientModel model = laidOutModel();
  ZoneColorList zones = distinctZones();
  model.updateColors(zones, 1.0, 60.0, 1.0);
  const AmbientGradientModel snapshot = model;
  zones.push_back(ZoneColor{1.0F, 1.0F, 1.0F, 1.0F});
  EXPECT_TRUE(model.updateColors(zones, 1.0, 60.0, 1.0).colorsChanged);
  EXPECT_EQ(model.washLayer(), snapshot.washLayer());
  EXPECT_EQ(model.stripLayers(), snapshot.stripLayers());
  EXPECT_EQ(model.bottomLayer(), snapshot.bottomLayer());
}

TEST(AmbientGradientModelTest, ListOf15ColoursChangesNothing) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(distinctZones(), 1.0, 60.0, 1.0);
  const AmbientGradientModel before = model;

  const AmbientGradientModel::UpdateResult result = model.updateColors(uniformZones(0.9F, 15), 2.0, 20.0, 0.0);
  EXPECT_FALSE(result.colorsChanged);
  EXPECT_FALSE(result.blurRadiusChanged);
  EXPECT_EQ(model.currentBlurRadius(), before.currentBlurRadius());
  EXPECT_EQ(model.containerMargin(), before.containerMargin());
  EXPECT_EQ(model.lightContainer(), before.lightContainer());
  EXPECT_EQ(model.washLayer(), before.washLayer());
  EXPECT_EQ(model.stripLayers(), before.stripLayers());
  EXPECT_EQ(model.leftLayer(), before.leftLayer());
  EXPECT_EQ(model.rightLayer(), before.rightLayer());
  EXPECT_EQ(model.bottomLayer(), before.bottomLayer());
}

TEST(AmbientGradientModelTest, EmptyListChangesNothing) {
  AmbientGradientModel model = laidOutModel();
  const AmbientGradientModel::UpdateResult result = model.updateColors({}, 1.0, 100.0, 1.0);
  EXPECT_EQ(result, AmbientGradientModel::UpdateResult{});
  EXPECT_EQ(model.currentBlurRadius(), 60.0);
  EXPECT_THAT(model.washLayer().colors, ElementsAre(kOpaqueBlackLight, kOpaqueBlackLight, kOpaqueBlackLight));
}

// --- Layout ---

TEST(AmbientGradientModelTest, ZeroWidthViewLayoutDoesNothingUntilARealSize) {
  AmbientGradientModel model;
  model.layout(0.0, kViewHeight);
  EXPECT_TRUE(model.didSetupLayers());
  EXPECT_EQ(model.lightContainer(), LightRect{});
  ASSERT_EQ(model.layersBackToFront().size(), 13U);
  for (const GradientLayer* layer : model.layersBackToFront()) EXPECT_EQ(layer->frame, LightRect{});

  model.layout(kViewWidth, kViewHeight);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 90.0));
}

TEST(AmbientGradientModelTest, ZeroOrNegativeHeightLayoutKeepsThePreviousFrames) {
  AmbientGradientModel model = laidOutModel();
  model.layout(kViewWidth, 0.0);
  model.layout(-5.0, kViewHeight);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 90.0));
}

TEST(AmbientGradientModelTest, LayerFramesFor1920By1080View) {
  AmbientGradientModel model = laidOutModel();
  // Margin 90 at the initial radius of 60: the container is 2100 × 1260.
  EXPECT_EQ(model.containerMargin(), 90.0);
  EXPECT_EQ(model.lightContainer(), (LightRect{-90.0, -90.0, 2100.0, 1260.0}));
  EXPECT_EQ(model.washLayer().frame, (LightRect{0.0, 0.0, 2100.0, 1260.0}));
  EXPECT_EQ(model.bottomLayer().frame, (LightRect{0.0, 0.0, 2100.0, 1260.0}));
  EXPECT_DOUBLE_EQ(model.leftLayer().frame.width, 945.0);
  EXPECT_DOUBLE_EQ(model.rightLayer().frame.x, 1155.0);
  // Slots are 2100 / 9 wide; strips are 55 % wider and centred on them.
  EXPECT_DOUBLE_EQ(model.stripLayers()[0].frame.x, -2100.0 / 9 * 0.275);
  EXPECT_DOUBLE_EQ(model.stripLayers()[0].frame.width, 2100.0 / 9 * 1.55);
  EXPECT_DOUBLE_EQ(model.stripLayers()[8].frame.x, 2100.0 / 9 * 7.725);
  expectFrames(model, expectedFrames(kViewWidth, kViewHeight, 90.0));
}

TEST(AmbientGradientModelTest, NeighbouringStripsOverlap) {
  AmbientGradientModel model = laidOutModel();
  const std::vector<GradientLayer>& strips = model.stripLayers();
  for (std::size_t i = 1; i < strips.size(); ++i) {
    EXPECT_LT(strips[i].frame.x, strips[i - 1].frame.x + strips[i - 1].frame.width);
    EXPECT_GT(strips[i].frame.x, strips[i - 1].frame.x);
  }
}

TEST(AmbientGradientModelTest, LayersAreBuiltOnlyOnce) {
  AmbientGradientModel model;
  EXPECT_FALSE(model.didSetupLayers());
  model.layout(kViewWidth, kViewHeight);
  EXPECT_TRUE(model.didSetupLayers());
  model.updateColors(distinctZones(), 1.0, 60.0, 1.0);
  const AmbientGradientModel coloured = model;

  model.layout(1280.0, 720.0);
  EXPECT_EQ(model.stripLayers().size(), 9U);
  EXPECT_EQ(model.washLayer().colors, coloured.washLayer().colors);
  for (std::size_t i = 0; i < 9; ++i) {
    EXPECT_EQ(model.stripLayers()[i].colors, coloured.stripLayers()[i].colors);
  }
  EXPECT_EQ(model.leftLayer().colors, coloured.leftLayer().colors);
  EXPECT_EQ(model.rightLayer().colors, coloured.rightLayer().colors);
  EXPECT_EQ(model.bottomLayer().colors, coloured.bottomLayer().colors);
  expectFrames(model, expectedFrames(1280.0, 720.0, 90.0));
}

TEST(AmbientGradientModelTest, UnbuiltModelHasNoLayersToDraw) {
  AmbientGradientModel model;
  EXPECT_TRUE(model.layersBackToFront().empty());
  EXPECT_TRUE(model.stripLayers().empty());
}

TEST(AmbientGradientModelTest, ColoursSetBeforeTheFirstLayoutAreReplacedByTheBuild) {
  AmbientGradientModel model;
  const AmbientGradientModel::UpdateResult result = model.updateColors(distinctZones(), 1.0, 60.0, 1.0);
  EXPECT_TRUE(result.colorsChanged);
  EXPECT_EQ(model.washLayer().colors.size(), 3U);
  EXPECT_NE(model.washLayer().colors[0], kOpaqueBlackLight);
  EXPECT_TRUE(model.stripLayers().empty());

  model.layout(kViewWidth, kViewHeight);
  EXPECT_THAT(model.washLayer().colors, ElementsAre(kOpaqueBlackLight, kOpaqueBlackLight, kOpaqueBlackLight));
  EXPECT_THAT(model.leftLayer().colors, ElementsAre(kOpaqueBlackLight, kOpaqueBlackLight, kOpaqueBlackLight));
}

TEST(AmbientGradientModelTest, NineStripsDrawnBetweenWashAndSideGlows) {
  AmbientGradientModel model = laidOutModel();
  const std::vector<const GradientLayer*> layers = model.layersBackToFront();
  ASSERT_EQ(layers.size(), 13U);
  EXPECT_EQ(layers[0], &model.washLayer());
  ASSERT_EQ(model.stripLayers().size(), 9U);
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(layers[1 + i], &model.stripLayers()[i]) << "strip " << i;
  EXPECT_EQ(layers[10], &model.leftLayer());
  EXPECT_EQ(layers[11], &model.rightLayer());
  EXPECT_EQ(layers[12], &model.bottomLayer());
}

TEST(AmbientGradientModelTest, BuiltLayersHaveTheirDirectionsStopsAndBlackColours) {
  AmbientGradientModel model = laidOutModel();
  const LightColor black{0.0, 0.0, 0.0, 1.0};

  EXPECT_EQ(model.washLayer().startPoint, (LightPoint{0.5, 0.0}));
  EXPECT_EQ(model.washLayer().endPoint, (LightPoint{0.5, 1.0}));
  EXPECT_THAT(model.washLayer().locations, ElementsAre(0.0, 0.5, 1.0));
  EXPECT_THAT(model.washLayer().colors, ElementsAre(black, black, black));

  for (const GradientLayer& strip : model.stripLayers()) {
    EXPECT_EQ(strip.startPoint, (LightPoint{0.5, 0.0}));
    EXPECT_EQ(strip.endPoint, (LightPoint{0.5, 1.0}));
    EXPECT_THAT(strip.locations, ElementsAre(0.0, 0.35, 0.7, 1.0));
    EXPECT_THAT(strip.colors, ElementsAre(black, black, black, black));
  }

  EXPECT_EQ(model.leftLayer().startPoint, (LightPoint{0.0, 0.5}));
  EXPECT_EQ(model.leftLayer().endPoint, (LightPoint{1.0, 0.5}));
  EXPECT_THAT(model.leftLayer().locations, ElementsAre(0.0, 0.4, 1.0));
  EXPECT_THAT(model.leftLayer().colors, ElementsAre(black, black, black));

  EXPECT_EQ(model.rightLayer().startPoint, (LightPoint{1.0, 0.5}));
  EXPECT_EQ(model.rightLayer().endPoint, (LightPoint{0.0, 0.5}));
  EXPECT_THAT(model.rightLayer().locations, ElementsAre(0.0, 0.4, 1.0));
  EXPECT_THAT(model.rightLayer().colors, ElementsAre(black, black, black));

  EXPECT_EQ(model.bottomLayer().startPoint, (LightPoint{0.5, 1.0}));
  EXPECT_EQ(model.bottomLayer().endPoint, (LightPoint{0.5, 0.4}));
  EXPECT_THAT(model.bottomLayer().locations, ElementsAre(0.0, 0.3, 0.7));
  EXPECT_THAT(model.bottomLayer().colors, ElementsAre(black, black, black));
}

TEST(AmbientGradientModelTest, StartsWithRadius60AndMargin90) {
  AmbientGradientModel model;
  EXPECT_EQ(model.currentBlurRadius(), 60.0);
  EXPECT_EQ(model.containerMargin(), 90.0);
  EXPECT_EQ(AmbientGradientModel::kColorAnimationSeconds, 0.04);
}

}  // namespace
}  // namespace tarvelo
