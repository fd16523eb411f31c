#include "capture/capture_pacer.h"

#include <gtest/gtest.h>

#include <chrono>

namespace tarvelo {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Clock = CapturePacer::Clock;

const Clock::time_point kStart = Clock::time_point(std::chrono::seconds(100));

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

TEST(CapturePacerTest, TheFirstCaptureIsDueAtOnceWithoutAnyChange) {
  const CapturePacer pacer(milliseconds(16));
  EXPECT_TRUE(pacer.isCaptureDue(kStart));
}

TEST(CapturePacerTest, NothingIsDueWhileTheScreenStaysStill) {
  CapturePacer pacer(milliseconds(16));
  pacer.captureStarted(kStart);
  pacer.captureFinished();
  EXPECT_FALSE(pacer.dueTime().has_value());
  EXPECT_FALSE(pacer.isCaptureDue(kStart + std::chrono::hours(1)));
}

TEST(CapturePacerTest, AChangeSoonAfterACaptureWaitsForTheMinimumInterval) {
  CapturePacer pacer(milliseconds(16));
  pacer.captureStarted(kStart);
  pacer.captureFinished();
  pacer.noteChange();
  EXPECT_EQ(pacer.dueTime(), kStart + milliseconds(16));
  EXPECT_FALSE(pacer.isCaptureDue(kStart + milliseconds(15)));
  EXPECT_TRUE(pacer.isCaptureDue(kStart + milliseconds(16)));
}

TEST(CapturePacerTest, AChangeLongAfterACaptureIsDueAtOnce) {
  CapturePacer pacer(milliseconds(16));
  pacer.captureStarted(kStart);
  pacer.captureFinished();
  pacer.noteChange();
  EXPECT_TRUE(pacer.isCaptureDue(kStart + std::chrono::seconds(5)));
}

TEST(CapturePacerTest, NoCaptureStartsWhileOneIsRunning) {
  CapturePacer pacer(milliseconds(16));
  pacer.captureStarted(kStart);
  pacer.noteChange();
  EXPECT_FALSE(pacer.isCaptureDue(kStart + std::chrono::seconds(1)));
  EXPECT_FALSE(pacer.dueTime().has_value());
  pacer.captureFinished();
  // The change made while it ran is not lost.
  EXPECT_TRUE(pacer.isCaptureDue(kStart + std::chrono::seconds(1)));
}

TEST(CapturePacerTest, ManyChangesBetweenCapturesGiveOneCapture) {
  CapturePacer pacer(milliseconds(16));
  pacer.captureStarted(kStart);
  pacer.captureFinished();
  for (int change = 0; change < 10; ++change) pacer.noteChange();
  pacer.captureStarted(kStart + milliseconds(16));
  pacer.captureFinished();
  EXPECT_FALSE(pacer.dueTime().has_value());
}

TEST(CapturePacerTest, WithoutACapChangesAreDueRightAfterTheLastCapture) {
  CapturePacer pacer(nanoseconds(0));
  pacer.captureStarted(kStart);
  pacer.captureFinished();
  pacer.noteChange();
  EXPECT_TRUE(pacer.isCaptureDue(kStart));
}

}  // namespace
}  // namespace tarvelo
