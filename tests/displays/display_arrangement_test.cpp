#include "displays/display_arrangement.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace tarvelo {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

DisplayInfo makeDisplay(DisplayId id, std::string name, DisplayRect bounds) {
  return DisplayInfo{id, std::move(name), static_cast<std::int64_t>(bounds.width),
                     static_cast<std::int64_t>(bounds.height), false, bounds};
}

TEST(DetectArrangementTest, NoDisplaysYieldNoArrangement) {
  EXPECT_FALSE(detectArrangement({}).has_value());
}

TEST(DetectArrangementTest, OneDisplayYieldsNoArrangement) {
  EXPECT_FALSE(detectArrangement({makeDisplay(1, "Only", {0, 0, 1920, 1080})}).has_value());
}

TEST(DetectArrangementTest, ExactlyStackedPairIsAutoAlignedOverTheWholeWidth) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Movie", {0, 0, 1920, 1080}),
      makeDisplay(2, "Light", {0, 1080, 1920, 1080}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 1U);
  EXPECT_EQ(arrangement->bottom.id, 2U);
  EXPECT_EQ(arrangement->description, "Auto-aligned: Movie (Top) → Light (Bottom)");
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, DescriptionArrowIsUtf8RightwardsArrow) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "A", {0, 0, 100, 100}),
      makeDisplay(2, "B", {0, 100, 100, 100}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->description, std::string("Auto-aligned: A (Top) \xE2\x86\x92 B (Bottom)"));
}

TEST(DetectArrangementTest, BottomListedFirstIsStillBelow) {
  const auto arrangement = detectArrangement({
      makeDisplay(2, "Light", {0, 1080, 1920, 1080}),
      makeDisplay(1, "Movie", {0, 0, 1920, 1080}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.name, "Movie");
  EXPECT_EQ(arrangement->bottom.name, "Light");
  EXPECT_EQ(arrangement->description, "Auto-aligned: Movie (Top) → Light (Bottom)");
}

TEST(DetectArrangementTest, WideTopCentredOverNarrowBottomSharesItsMiddleHalf) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Wide", {-960, -1080, 3840, 1080}),
      makeDisplay(2, "Narrow", {0, 0, 1920, 1080}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 1U);
  EXPECT_DOUBLE_EQ(arrangement->xOverlapStart, 0.25);
  EXPECT_DOUBLE_EQ(arrangement->xOverlapEnd, 0.75);
}

TEST(DetectArrangementTest, BottomShiftedRightSharesTheTopsRightHalf) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Top", {0, 0, 1000, 1000}),
      makeDisplay(2, "Bottom", {500, 1000, 1000, 1000}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_DOUBLE_EQ(arrangement->xOverlapStart, 0.5);
  EXPECT_DOUBLE_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, SideBySideWithEqualYKeepsInputOrderAndWholeWidth) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Left", {0, 0, 1920, 1080}),
      makeDisplay(2, "Right", {1920, 0, 1920, 1080}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 1U);
  EXPECT_EQ(arrangement->bottom.id, 2U);
  EXPECT_EQ(arrangement->description, "Side-by-side: Left → Right");
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, SideBySideReversedInputMakesTheFirstListedTheTop) {
  const auto arrangement = detectArrangement({
      makeDisplay(2, "Right", {1920, 0, 1920, 1080}),
      makeDisplay(1, "Left", {0, 0, 1920, 1080}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 2U);
  EXPECT_EQ(arrangement->description, "Side-by-side: Right → Left");
}

TEST(DetectArrangementTest, DxEqualToDyCountsAsStacked) {
  // Centres (50, 50) and (150, 150): dx = dy = 100.
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Upper", {0, 0, 100, 100}),
      makeDisplay(2, "Lower", {100, 100, 100, 100}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->description, "Auto-aligned: Upper (Top) → Lower (Bottom)");
}

TEST(DetectArrangementTest, DxJustAboveDyIsSideBySide) {
  // Centres (50, 50) and (151, 150): dx = 101, dy = 100.
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Upper", {0, 0, 100, 100}),
      makeDisplay(2, "Lower", {101, 100, 100, 100}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 1U);
  EXPECT_EQ(arrangement->description, "Side-by-side: Upper → Lower");
}

TEST(DetectArrangementTest, BottomWiderOnBothSidesClampsToWholeWidth) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Narrow", {0, 0, 1920, 1080}),
      makeDisplay(2, "Wide", {-500, 1080, 2920, 1080}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, StackedWithoutHorizontalOverlapUsesWholeWidth) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Top", {0, 0, 1000, 1000}),
      makeDisplay(2, "Bottom", {2000, 1000, 1000, 1000}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, ThreeDisplaysIgnoreTheMiddleOne) {
  const auto arrangement = detectArrangement({
      makeDisplay(2, "Middle", {0, 1080, 1920, 1080}),
      makeDisplay(3, "Lowest", {0, 2160, 1920, 1080}),
      makeDisplay(1, "Highest", {0, 0, 1920, 1080}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 1U);
  EXPECT_EQ(arrangement->bottom.id, 3U);
  EXPECT_EQ(arrangement->description, "Auto-aligned: Highest (Top) → Lowest (Bottom)");
}

TEST(DetectArrangementTest, EqualVerticalCentresKeepInputOrder) {
  // Two tied at the top and two tied at the bottom: the earlier of the upper
  // pair leads, the later of the lower pair ends the sorted list.
  const auto arrangement = detectArrangement({
      makeDisplay(10, "Upper A", {0, 0, 100, 100}),
      makeDisplay(11, "Lower A", {0, 1000, 100, 100}),
      makeDisplay(12, "Upper B", {0, 0, 100, 100}),
      makeDisplay(13, "Lower B", {0, 1000, 100, 100}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 10U);
  EXPECT_EQ(arrangement->bottom.id, 13U);
}

TEST(DetectArrangementTest, NanTopWidthFallsBackToWholeWidth) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Top", {0, 0, kNaN, 1000}),
      makeDisplay(2, "Bottom", {0, 1000, 1000, 1000}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, NanTopOriginFallsBackToWholeWidth) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Top", {kNaN, 0, 1000, 1000}),
      makeDisplay(2, "Bottom", {0, 1000, 1000, 1000}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->top.id, 1U);
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, NanBottomOriginNeverLeaksIntoTheOverlap) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Top", {0, 0, 1000, 1000}),
      makeDisplay(2, "Bottom", {kNaN, 1000, 1000, 1000}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
  // A NaN horizontal distance is not "less than or equal": the pair reads as side by side.
  EXPECT_EQ(arrangement->description, "Side-by-side: Top → Bottom");
}

TEST(DetectArrangementTest, ZeroTopWidthFallsBackToWholeWidth) {
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Top", {500, 0, 0, 1000}),
      makeDisplay(2, "Bottom", {0, 1000, 1000, 1000}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

TEST(DetectArrangementTest, NegativeStartClampsToZero) {
  // A negative top width turns the start fraction negative (-0.5) while the end
  // stays at exactly 1, so the clamped span is the whole width.
  const auto arrangement = detectArrangement({
      makeDisplay(1, "Top", {0, 0, -100, 1000}),
      makeDisplay(2, "Bottom", {50, 1000, 1000, 1000}),
  });
  ASSERT_TRUE(arrangement.has_value());
  EXPECT_EQ(arrangement->xOverlapStart, 0.0);
  EXPECT_EQ(arrangement->xOverlapEnd, 1.0);
}

}  // namespace
}  // namespace tarvelo
