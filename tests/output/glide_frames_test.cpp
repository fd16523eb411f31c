#include "output/glide_frames.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <vector>

namespace tarvelo {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::nanoseconds kGlide = 40ms;

// What each frame of one glide shows when frames come as often as the cap
// allows: the first at once, then one per interval, until the glide ends.
std::vector<double> progressOfEachFrame(const GlideFrames& frames) {
  std::vector<double> shown;
  for (std::chrono::nanoseconds since{0};; since += frames.frameInterval) {
    const double run = static_cast<double>(since.count()) / static_cast<double>(frames.remainder.count());
    shown.push_back(std::min(1.0, frames.firstProgress + (1.0 - frames.firstProgress) * run));
    if (shown.back() >= 1.0) return shown;
  }
}

struct CapCase {
  std::int64_t framesPerSecond;
  std::size_t frames;
};

class GlideFramesTest : public ::testing::TestWithParam<CapCase> {};

TEST_P(GlideFramesTest, EveryGlideIsDrawnInTwoFramesAtLeastAndTheLastOneReachesItsEnd) {
  const GlideFrames frames = glideFramesFor(GetParam().framesPerSecond, kGlide);
  const std::vector<double> shown = progressOfEachFrame(frames);
  EXPECT_EQ(shown.size(), GetParam().frames);
  EXPECT_GT(shown.front(), 0.0) << "the first frame is already on its way";
  EXPECT_LT(shown.front(), 1.0) << "and is not a jump";
  EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end()));
  // The last frame is the first whose time on screen reaches past the glide's end.
  const std::chrono::nanoseconds lastFrameMiddle =
      frames.frameInterval * static_cast<long>(shown.size() - 1) + frames.frameInterval / 2;
  EXPECT_GE(lastFrameMiddle, kGlide);
  EXPECT_LT(lastFrameMiddle, kGlide + frames.frameInterval);
}

INSTANTIATE_TEST_SUITE_P(CaptureRates, GlideFramesTest,
                         ::testing::Values(CapCase{1, 2}, CapCase{15, 2}, CapCase{24, 2}, CapCase{30, 2},
                                           CapCase{60, 3}, CapCase{120, 6}),
                         [](const auto& info) { return std::to_string(info.param.framesPerSecond) + "fps"; });

TEST(GlideFramesTest, EachFrameShowsTheGlideHalfwayThroughItsTimeOnScreen) {
  const GlideFrames frames = glideFramesFor(30, kGlide);
  EXPECT_EQ(frames.frameInterval, std::chrono::nanoseconds(1s) / 30);
  EXPECT_DOUBLE_EQ(frames.firstProgress, (frames.frameInterval / 2).count() / 40e6);
  EXPECT_EQ(frames.remainder, kGlide - frames.frameInterval / 2);
}

TEST(GlideFramesTest, AtFifteenFramesASecondTheIntervalIsTheGlidesLength) {
  const GlideFrames frames = glideFramesFor(15, kGlide);
  EXPECT_EQ(frames.frameInterval, kGlide);
  EXPECT_DOUBLE_EQ(frames.firstProgress, 0.5);
  EXPECT_EQ(frames.remainder, 20ms);
}

TEST(GlideFramesTest, WithoutACapTheGlideStartsWhereTheColoursAreAndRunsItsFullLength) {
  for (const std::int64_t none : {0, -5}) {
    const GlideFrames frames = glideFramesFor(none, kGlide);
    EXPECT_EQ(frames.frameInterval, 0ns);
    EXPECT_EQ(frames.firstProgress, 0.0);
    EXPECT_EQ(frames.remainder, kGlide);
  }
}

}  // namespace
}  // namespace tarvelo
