#include "output/capsule_region.h"

#include <gtest/gtest.h>

#include <QRect>
#include <QRegion>

namespace tarvelo {
namespace {

QRegion regionOf(const std::vector<QRect>& bands) {
  QRegion region;
  for (const QRect& band : bands) region += band;
  return region;
}

TEST(CapsuleRegion, FillsTheFullWidthAlongTheMiddleRow) {
  const std::vector<QRect> bands = capsuleRegion(QRect(10, 20, 200, 44));
  EXPECT_TRUE(regionOf(bands).contains(QRect(10, 20 + 22, 200, 1)));
}

TEST(CapsuleRegion, StaysInsideItsBoundsAndSpansThemFromEndToEnd) {
  const QRect bounds(10, 20, 200, 44);
  const QRegion region = regionOf(capsuleRegion(bounds));
  EXPECT_EQ(region.boundingRect(), bounds);
}

TEST(CapsuleRegion, LeavesTheCornersOut) {
  const QRegion region = regionOf(capsuleRegion(QRect(0, 0, 200, 44)));
  EXPECT_FALSE(region.contains(QPoint(0, 0)));
  EXPECT_FALSE(region.contains(QPoint(199, 0)));
  EXPECT_FALSE(region.contains(QPoint(0, 43)));
  EXPECT_FALSE(region.contains(QPoint(199, 43)));
  // The straight edges run between the two half circles.
  EXPECT_TRUE(region.contains(QPoint(22, 0)));
  EXPECT_TRUE(region.contains(QPoint(177, 43)));
}

TEST(CapsuleRegion, FollowsTheHalfCircleAtTheEnds) {
  // Radius 22: the row 11 pixels above the centre line reaches in by 22 - sqrt(22² - 10.5²) ≈ 2.67.
  const QRegion region = regionOf(capsuleRegion(QRect(0, 0, 200, 44)));
  EXPECT_FALSE(region.contains(QPoint(2, 11)));
  EXPECT_TRUE(region.contains(QPoint(3, 11)));
  EXPECT_FALSE(region.contains(QPoint(197, 11)));
  EXPECT_TRUE(region.contains(QPoint(196, 11)));
}

TEST(CapsuleRegion, IsSymmetricTopToBottom) {
  const std::vector<QRect> bands = capsuleRegion(QRect(0, 0, 120, 30));
  ASSERT_FALSE(bands.empty());
  for (std::size_t i = 0; i < bands.size(); ++i) {
    const QRect& upper = bands[i];
    const QRect& lower = bands[bands.size() - 1 - i];
    EXPECT_EQ(upper.x(), lower.x());
    EXPECT_EQ(upper.width(), lower.width());
    EXPECT_EQ(upper.top(), 29 - lower.bottom());
  }
}

TEST(CapsuleRegion, OfEmptyBoundsIsEmpty) { EXPECT_TRUE(capsuleRegion(QRect(5, 5, 0, 10)).empty()); }

}  // namespace
}  // namespace tarvelo
