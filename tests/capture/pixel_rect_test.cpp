#include "capture/pixel_rect.h"

#include <gtest/gtest.h>

namespace tarvelo {
namespace {

const PixelRect kTopOutput{0, 0, 1920, 1080};

TEST(PixelRectTest, OverlappingRectanglesIntersect) {
  EXPECT_TRUE(kTopOutput.intersects(PixelRect{1900, 1000, 100, 100}));
}

TEST(PixelRectTest, RectanglesThatOnlyTouchDoNotIntersect) {
  EXPECT_FALSE(kTopOutput.intersects(PixelRect{0, 1080, 1920, 1080}));
  EXPECT_FALSE(kTopOutput.intersects(PixelRect{1920, 0, 10, 10}));
}

TEST(PixelRectTest, ARectangleInsideIntersects) {
  EXPECT_TRUE(kTopOutput.intersects(PixelRect{100, 100, 1, 1}));
}

TEST(PixelRectTest, AnEmptyRectangleIntersectsNothing) {
  EXPECT_FALSE(kTopOutput.intersects(PixelRect{100, 100, 0, 10}));
  EXPECT_FALSE((PixelRect{100, 100, 10, 0}).intersects(kTopOutput));
}

TEST(PixelRectTest, NegativeOriginsAreHandled) {
  EXPECT_TRUE(kTopOutput.intersects(PixelRect{-10, -10, 11, 11}));
  EXPECT_FALSE(kTopOutput.intersects(PixelRect{-10, -10, 10, 10}));
}

}  // namespace
}  // namespace tarvelo
