#include "support/change_pacer.h"

#include <gtest/gtest.h>

#include <chrono>

namespace tarvelo {
namespace {

using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Clock = ChangePacer::Clock;

const Clock::time_point kStart = Clock::time_point(std::chrono::seconds(100));

TEST(ChangePacerTest, TheFirstRunIsDueAtOnceWithoutAnyChange) {
  const ChangePacer pacer(milliseconds(16));
  EXPECT_TRUE(pacer.isDue(kStart));
}

TEST(ChangePacerTest, NothingIsDueWhileNothingChanges) {
  ChangePacer pacer(milliseconds(16));
  pacer.started(kStart);
  pacer.finished();
  EXPECT_FALSE(pacer.dueTime().has_value());
  EXPECT_FALSE(pacer.isDue(kStart + std::chrono::hours(1)));
}

TEST(ChangePacerTest, AChangeSoonAfterARunWaitsForTheMinimumInterval) {
  ChangePacer pacer(milliseconds(16));
  pacer.started(kStart);
  pacer.finished();
  pacer.noteChange();
  EXPECT_EQ(pacer.dueTime(), kStart + milliseconds(16));
  EXPECT_FALSE(pacer.isDue(kStart + milliseconds(15)));
  EXPECT_TRUE(pacer.isDue(kStart + milliseconds(16)));
}

TEST(ChangePacerTest, AChangeLongAfterARunIsDueAtOnce) {
  ChangePacer pacer(milliseconds(16));
  pacer.started(kStart);
  pacer.finished();
  pacer.noteChange();
  EXPECT_TRUE(pacer.isDue(kStart + std::chrono::seconds(5)));
}

TEST(ChangePacerTest, NoRunStartsWhileOneIsRunning) {
  ChangePacer pacer(milliseconds(16));
  pacer.started(kStart);
  EXPECT_TRUE(pacer.isRunning());
  pacer.noteChange();
  EXPECT_FALSE(pacer.isDue(kStart + std::chrono::seconds(1)));
  EXPECT_FALSE(pacer.dueTime().has_value());
  pacer.finished();
  EXPECT_FALSE(pacer.isRunning());
  // The change made while it ran is not lost.
  EXPECT_TRUE(pacer.isDue(kStart + std::chrono::seconds(1)));
}

TEST(ChangePacerTest, ManyChangesBetweenRunsGiveOneRun) {
  ChangePacer pacer(milliseconds(16));
  pacer.started(kStart);
  pacer.finished();
  for (int change = 0; change < 10; ++change) pacer.noteChange();
  pacer.started(kStart + milliseconds(16));
  pacer.finished();
  EXPECT_FALSE(pacer.dueTime().has_value());
}

TEST(ChangePacerTest, WithoutACapChangesAreDueRightAfterTheLastRun) {
  ChangePacer pacer(nanoseconds(0));
  pacer.started(kStart);
  pacer.finished();
  pacer.noteChange();
  EXPECT_TRUE(pacer.isDue(kStart));
}

TEST(ChangePacerTest, TheEarliestStartIsTheIntervalAfterTheLastStartChangesOrNot) {
  ChangePacer pacer(milliseconds(16));
  EXPECT_FALSE(pacer.earliestStart().has_value());
  pacer.started(kStart);
  EXPECT_EQ(pacer.earliestStart(), kStart + milliseconds(16));
  pacer.finished();
  EXPECT_EQ(pacer.earliestStart(), kStart + milliseconds(16));
  EXPECT_FALSE(pacer.dueTime().has_value());
}

}  // namespace
}  // namespace tarvelo
