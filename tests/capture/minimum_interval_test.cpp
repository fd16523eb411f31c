#include "capture/minimum_interval.h"

#include <gtest/gtest.h>

#include <chrono>

namespace tarvelo {
namespace {

using std::chrono::nanoseconds;

TEST(MinimumIntervalTest, ThirtyFramesASecondIsAThirtiethOfASecondRoundedUp) {
  EXPECT_EQ(minimumIntervalOf(FrameInterval{1, 30}), nanoseconds(33'333'334));
}

TEST(MinimumIntervalTest, OneFrameASecondIsOneSecond) {
  EXPECT_EQ(minimumIntervalOf(FrameInterval{1, 1}), nanoseconds(1'000'000'000));
}

TEST(MinimumIntervalTest, AZeroOrNegativeTimescaleMeansNoCap) {
  EXPECT_EQ(minimumIntervalOf(FrameInterval{1, 0}), nanoseconds(0));
  EXPECT_EQ(minimumIntervalOf(FrameInterval{1, -30}), nanoseconds(0));
}

}  // namespace
}  // namespace tarvelo
