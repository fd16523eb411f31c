#include "output/light_color_transition.h"

#include "output/drawable_light.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace tarvelo {
namespace {

ZoneColorList uniformZones(float value) { return ZoneColorList(kZoneCount, ZoneColor{value, value, value, 1.0F}); }

std::vector<LightColor> modelColors(const AmbientGradientModel& model) {
  std::vector<LightColor> colors;
  for (const GradientLayer* layer : model.layersBackToFront()) {
    colors.insert(colors.end(), layer->colors.begin(), layer->colors.end());
  }
  return colors;
}

std::vector<LightColor> asVector(std::span<const LightColor> colors) { return {colors.begin(), colors.end()}; }

AmbientGradientModel laidOutModel() {
  AmbientGradientModel model;
  model.layout(800, 600);
  return model;
}

TEST(LightColorTransitionTest, ColoursAreListedLayerByLayerBackToFront) {
  AmbientGradientModel model = laidOutModel();
  ZoneColorList zones;
  for (std::size_t i = 0; i < kZoneCount; ++i) {
    zones.push_back(ZoneColor{0.05F * static_cast<float>(i), 0.5F, 0.2F, 1.0F});
  }
  model.updateColors(zones, 1.0, 60.0, 0.8);
  LightColorTransition transition;
  transition.jumpTo(model);
  EXPECT_EQ(transition.shown().size(), 3U + 9U * 4U + 3U + 3U + 3U);
  EXPECT_EQ(asVector(transition.shown()), modelColors(model));
}

TEST(LightColorTransitionTest, GlidesLinearlyAndLandsExactlyOnTheNewColours) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(uniformZones(0.2F), 1.0, 60.0, 1.0);
  LightColorTransition transition;
  transition.jumpTo(model);
  const std::vector<LightColor> before = modelColors(model);
  model.updateColors(uniformZones(0.6F), 1.0, 60.0, 0.5);
  transition.retarget(model);
  const std::vector<LightColor> after = modelColors(model);

  transition.setProgress(0.0);
  EXPECT_EQ(asVector(transition.shown()), before);
  transition.setProgress(0.5);
  for (std::size_t i = 0; i < after.size(); ++i) {
    EXPECT_DOUBLE_EQ(transition.shown()[i].red, 0.5 * (before[i].red + after[i].red));
    EXPECT_DOUBLE_EQ(transition.shown()[i].alpha, 0.5 * (before[i].alpha + after[i].alpha));
  }
  transition.setProgress(1.0);
  EXPECT_EQ(asVector(transition.shown()), after);
  EXPECT_EQ(asVector(transition.target()), after);
}

TEST(LightColorTransitionTest, ANewTargetMidwayStartsFromTheColoursOnScreen) {
  AmbientGradientModel model = laidOutModel();
  LightColorTransition transition;
  transition.jumpTo(model);
  model.updateColors(uniformZones(0.8F), 1.0, 60.0, 1.0);
  transition.retarget(model);
  transition.setProgress(0.25);
  const std::vector<LightColor> onScreen = asVector(transition.shown());
  model.updateColors(uniformZones(0.1F), 1.0, 60.0, 1.0);
  transition.retarget(model);
  transition.setProgress(0.0);
  EXPECT_EQ(asVector(transition.shown()), onScreen);
}

TEST(LightColorTransitionTest, TheColoursAlreadyShownNeedNoTransition) {
  AmbientGradientModel model = laidOutModel();
  model.updateColors(uniformZones(0.4F), 1.0, 60.0, 1.0);
  LightColorTransition transition;
  transition.jumpTo(model);
  model.updateColors(uniformZones(0.4F), 1.0, 60.0, 1.0);
  EXPECT_FALSE(transition.retarget(model));
  model.updateColors(uniformZones(0.41F), 1.0, 60.0, 1.0);
  EXPECT_TRUE(transition.retarget(model));
}

TEST(LightColorTransitionTest, ColoursAreTakenAsTheyCanBeDrawnWithNaNAsNothing) {
  AmbientGradientModel model = laidOutModel();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double infinity = std::numeric_limits<double>::infinity();
  ZoneColorList zones = uniformZones(0.5F);
  zones[0] = ZoneColor{-2.0F, 0.0F, std::numeric_limits<float>::infinity(), 1.0F};
  model.updateColors(zones, infinity, 60.0, nan);
  LightColorTransition transition;
  transition.jumpTo(model);
  const std::vector<LightColor> modelList = modelColors(model);
  ASSERT_EQ(transition.shown().size(), modelList.size());
  for (std::size_t i = 0; i < modelList.size(); ++i) EXPECT_EQ(transition.shown()[i], drawableColor(modelList[i])) << i;
  for (const LightColor& color : transition.shown()) {
    for (const double component : {color.red, color.green, color.blue, color.alpha}) {
      EXPECT_TRUE(component >= 0.0 && component <= 1.0) << component;
    }
  }
  // A glide between such colours stays drawable, and the same colours again
  // (NaN compares unequal with itself) need no new frame.
  model.updateColors(uniformZones(0.2F), -infinity, 60.0, infinity);
  EXPECT_TRUE(transition.retarget(model));
  transition.setProgress(0.5);
  for (const LightColor& color : transition.shown()) {
    for (const double component : {color.red, color.green, color.blue, color.alpha}) {
      EXPECT_TRUE(component >= 0.0 && component <= 1.0) << component;
    }
  }
  transition.setProgress(1.0);
  model.updateColors(uniformZones(0.2F), -infinity, 60.0, infinity);
  EXPECT_FALSE(transition.retarget(model));
}

TEST(DrawableLightTest, ComponentsAreLimitedToWhatACompositorDraws) {
  EXPECT_EQ(drawableComponent(0.25), 0.25);
  EXPECT_EQ(drawableComponent(-0.5), 0.0);
  EXPECT_EQ(drawableComponent(1.5), 1.0);
  EXPECT_EQ(drawableComponent(std::numeric_limits<double>::infinity()), 1.0);
  EXPECT_EQ(drawableComponent(-std::numeric_limits<double>::infinity()), 0.0);
  EXPECT_EQ(drawableComponent(std::numeric_limits<double>::quiet_NaN()), 0.0);
  EXPECT_EQ(drawableComponent(1e-310), 1e-310);
}

TEST(LightColorTransitionTest, BeforeTheLayersExistThereIsNothingToShow) {
  AmbientGradientModel model;
  LightColorTransition transition;
  transition.retarget(model);
  EXPECT_TRUE(transition.shown().empty());
}

}  // namespace
}  // namespace tarvelo
