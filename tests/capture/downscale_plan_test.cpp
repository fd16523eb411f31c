#include "capture/downscale_plan.h"

#include <gtest/gtest.h>

namespace tarvelo {
namespace {

TEST(DownscalePlanTest, FourKWithFourByTwoSamplesSamplesPixelCornersThenHalves) {
  const DownscalePlan plan = planBoxDownscale(PixelRect{0, 0, 3840, 2160}, 160, 100, 4, 2);
  EXPECT_EQ(plan.samplesX, 4);
  EXPECT_EQ(plan.samplesY, 2);
  ASSERT_EQ(plan.passes.size(), 3u);
  const ScalePass& first = plan.passes[0];
  EXPECT_EQ(first.width, 640);
  EXPECT_EQ(first.height, 200);
  EXPECT_DOUBLE_EQ(first.scaleX, 6.0);
  EXPECT_DOUBLE_EQ(first.scaleY, 10.8);
  // An even whole step already puts every sample on a pixel boundary: 6u + 3.
  EXPECT_DOUBLE_EQ(first.offsetX, 0.0);
  EXPECT_DOUBLE_EQ(first.offsetY, 0.0);
  EXPECT_EQ(plan.passes[1], (ScalePass{320, 100, 2.0, 2.0, 0.0, 0.0}));
  EXPECT_EQ(plan.passes[2], (ScalePass{160, 100, 2.0, 1.0, 0.0, 0.0}));
}

TEST(DownscalePlanTest, EveryFirstPassSampleOfAnEvenStepLiesOnAPixelBoundary) {
  const DownscalePlan plan = planBoxDownscale(PixelRect{0, 0, 3840, 2160}, 160, 100, 4, 2);
  const ScalePass& first = plan.passes[0];
  for (int u = 0; u < first.width; ++u) {
    const double x = first.offsetX + first.scaleX * (u + 0.5);
    EXPECT_DOUBLE_EQ(x, static_cast<double>(static_cast<long>(x))) << "sample " << u;
  }
}

TEST(DownscalePlanTest, AnOddWholeStepIsNudgedHalfAPixelOntoABoundary) {
  // 1920 / 640 = 3: centres at 3u + 1.5 would hit pixel centres (no averaging).
  const DownscalePlan plan = planBoxDownscale(PixelRect{0, 1080, 1920, 1080}, 160, 100, 4, 2);
  const ScalePass& first = plan.passes[0];
  EXPECT_DOUBLE_EQ(first.scaleX, 3.0);
  EXPECT_DOUBLE_EQ(first.offsetX, 0.5);
  EXPECT_DOUBLE_EQ(first.offsetY, 1080.0);
  EXPECT_DOUBLE_EQ(first.offsetX + first.scaleX * 0.5, 2.0);
}

TEST(DownscalePlanTest, TheSourceOriginShiftsOnlyTheFirstPass) {
  const DownscalePlan plan = planBoxDownscale(PixelRect{960, 2160, 1920, 1080}, 160, 100, 2, 2);
  EXPECT_DOUBLE_EQ(plan.passes[0].offsetX, 960.0);
  EXPECT_DOUBLE_EQ(plan.passes[0].offsetY, 2160.0);
  for (std::size_t index = 1; index < plan.passes.size(); ++index) {
    EXPECT_DOUBLE_EQ(plan.passes[index].offsetX, 0.0);
    EXPECT_DOUBLE_EQ(plan.passes[index].offsetY, 0.0);
  }
}

TEST(DownscalePlanTest, SamplesAreCutToWhatTheSourceHoldsAsDisjointBlocks) {
  // 1920 wide holds 1920 / (160 * 2) = 6 blocks per cell: 8 asked, 4 given.
  const DownscalePlan plan = planBoxDownscale(PixelRect{0, 0, 1920, 1080}, 160, 100, 8, 8);
  EXPECT_EQ(plan.samplesX, 4);
  EXPECT_EQ(plan.samplesY, 4);
  EXPECT_EQ(plan.passes.front().width, 640);
  EXPECT_EQ(plan.passes.front().height, 400);
}

TEST(DownscalePlanTest, SampleCountsAreRoundedDownToPowersOfTwo) {
  const DownscalePlan plan = planBoxDownscale(PixelRect{0, 0, 3840, 2160}, 160, 100, 6, 3);
  EXPECT_EQ(plan.samplesX, 4);
  EXPECT_EQ(plan.samplesY, 2);
}

TEST(DownscalePlanTest, ATinySourceIsScaledInOnePass) {
  const DownscalePlan plan = planBoxDownscale(PixelRect{0, 0, 200, 120}, 160, 100, 4, 2);
  EXPECT_EQ(plan.samplesX, 1);
  EXPECT_EQ(plan.samplesY, 1);
  ASSERT_EQ(plan.passes.size(), 1u);
  EXPECT_EQ(plan.passes[0].width, 160);
  EXPECT_EQ(plan.passes[0].height, 100);
  EXPECT_DOUBLE_EQ(plan.passes[0].scaleX, 1.25);
  EXPECT_DOUBLE_EQ(plan.passes[0].scaleY, 1.2);
}

TEST(DownscalePlanTest, UnequalSampleCountsHalveOnlyTheAxisThatHasMore) {
  const DownscalePlan plan = planBoxDownscale(PixelRect{0, 0, 3840, 2160}, 160, 100, 8, 1);
  ASSERT_EQ(plan.passes.size(), 4u);
  for (std::size_t index = 1; index < plan.passes.size(); ++index) {
    EXPECT_DOUBLE_EQ(plan.passes[index].scaleX, 2.0);
    EXPECT_DOUBLE_EQ(plan.passes[index].scaleY, 1.0);
    EXPECT_EQ(plan.passes[index].height, 100);
  }
  EXPECT_EQ(plan.passes.back().width, 160);
}

TEST(DownscalePlanTest, AnEmptySourceIsAProgrammingError) {
  EXPECT_DEATH(planBoxDownscale(PixelRect{0, 0, 0, 1080}, 160, 100, 4, 2), "non-empty source");
}

}  // namespace
}  // namespace tarvelo
