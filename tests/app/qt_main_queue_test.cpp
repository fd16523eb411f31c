#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "app/qt_main_queue.h"

namespace tarvelo {
namespace {

using std::chrono::milliseconds;

// Runs the event loop until `done` holds; the limit only keeps a broken queue
// from hanging the suite.
bool spinUntil(const std::function<bool()>& done) {
  QElapsedTimer clock;
  clock.start();
  while (!done()) {
    if (clock.elapsed() > 10000) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    QThread::msleep(1);
  }
  return true;
}

bool onMainThread() { return QThread::currentThread() == QCoreApplication::instance()->thread(); }

// What the jobs of one test did, recorded from whichever thread they ran on.
class JobRecord {
 public:
  std::function<void()> job(int id) {
    return [this, id] {
      std::lock_guard lock(mutex_);
      ran_.push_back(id);
      allOnMain_ = allOnMain_ && onMainThread();
    };
  }
  std::vector<int> ran() const {
    std::lock_guard lock(mutex_);
    return ran_;
  }
  std::size_t count() const { return ran().size(); }
  bool allOnMainThread() const {
    std::lock_guard lock(mutex_);
    return allOnMain_;
  }

 private:
  mutable std::mutex mutex_;
  std::vector<int> ran_;
  bool allOnMain_ = true;
};

TEST(QtMainQueueTest, PostNeverRunsTheJobInPlace) {
  QtMainQueue queue;
  JobRecord record;
  queue.post(record.job(1));
  EXPECT_EQ(record.count(), 0U);
  ASSERT_TRUE(spinUntil([&] { return record.count() == 1; }));
}

TEST(QtMainQueueTest, PostedJobsRunOnTheMainThreadInSubmissionOrder) {
  QtMainQueue queue;
  JobRecord record;
  for (int id = 0; id < 5; ++id) queue.post(record.job(id));
  ASSERT_TRUE(spinUntil([&] { return record.count() == 5; }));
  EXPECT_EQ(record.ran(), (std::vector<int>{0, 1, 2, 3, 4}));
  EXPECT_TRUE(record.allOnMainThread());
}

TEST(QtMainQueueTest, JobsPostedFromAnotherThreadRunOnTheMainThreadInOrder) {
  QtMainQueue queue;
  JobRecord record;
  std::thread worker([&] {
    for (int id = 0; id < 100; ++id) queue.post(record.job(id));
  });
  worker.join();
  ASSERT_TRUE(spinUntil([&] { return record.count() == 100; }));
  std::vector<int> expected(100);
  for (int id = 0; id < 100; ++id) expected[static_cast<std::size_t>(id)] = id;
  EXPECT_EQ(record.ran(), expected);
  EXPECT_TRUE(record.allOnMainThread());
}

TEST(QtMainQueueTest, DelayedJobsRunOnTheMainThreadInDueOrder) {
  QtMainQueue queue;
  JobRecord record;
  queue.postAfter(milliseconds(40), record.job(2));
  queue.postAfter(milliseconds(1), record.job(1));
  EXPECT_EQ(record.count(), 0U);
  ASSERT_TRUE(spinUntil([&] { return record.count() == 2; }));
  EXPECT_EQ(record.ran(), (std::vector<int>{1, 2}));
  EXPECT_TRUE(record.allOnMainThread());
}

TEST(QtMainQueueTest, DelayedJobAskedForOnAnotherThreadRunsOnTheMainThread) {
  QtMainQueue queue;
  JobRecord record;
  std::thread worker([&] { queue.postAfter(milliseconds(5), record.job(7)); });
  worker.join();
  ASSERT_TRUE(spinUntil([&] { return record.count() == 1; }));
  EXPECT_TRUE(record.allOnMainThread());
}

TEST(QtMainQueueTest, ScheduledTimerFiresOnceOnTheMainThread) {
  QtMainQueue queue;
  JobRecord record;
  const std::unique_ptr<OneShotTimer> timer = queue.scheduleTimer(milliseconds(5), record.job(1));
  ASSERT_TRUE(spinUntil([&] { return record.count() == 1; }));
  queue.postAfter(milliseconds(30), record.job(2));
  ASSERT_TRUE(spinUntil([&] { return record.count() == 2; }));
  EXPECT_EQ(record.ran(), (std::vector<int>{1, 2}));
  EXPECT_TRUE(record.allOnMainThread());
}

TEST(QtMainQueueTest, InvalidatedTimerNeverFires) {
  QtMainQueue queue;
  JobRecord record;
  const std::unique_ptr<OneShotTimer> timer = queue.scheduleTimer(milliseconds(1), record.job(1));
  timer->invalidate();
  queue.postAfter(milliseconds(30), record.job(2));  // due after the timer would have been
  ASSERT_TRUE(spinUntil([&] { return record.count() >= 1; }));
  EXPECT_EQ(record.ran(), std::vector<int>{2});
}

TEST(QtMainQueueTest, DestroyingTheTimerHandleInvalidatesIt) {
  QtMainQueue queue;
  JobRecord record;
  queue.scheduleTimer(milliseconds(1), record.job(1)).reset();
  queue.postAfter(milliseconds(30), record.job(2));
  ASSERT_TRUE(spinUntil([&] { return record.count() >= 1; }));
  EXPECT_EQ(record.ran(), std::vector<int>{2});
}

TEST(QtMainQueueTest, TimerScheduledOnAnotherThreadFiresOnTheMainThread) {
  QtMainQueue queue;
  JobRecord record;
  std::unique_ptr<OneShotTimer> timer;
  std::thread worker([&] { timer = queue.scheduleTimer(milliseconds(2), record.job(1)); });
  worker.join();
  ASSERT_TRUE(spinUntil([&] { return record.count() == 1; }));
  EXPECT_TRUE(record.allOnMainThread());
}

TEST(QtMainQueueTest, TimerInvalidatedOnAnotherThreadNeverFires) {
  QtMainQueue queue;
  JobRecord record;
  std::thread worker([&] {
    std::unique_ptr<OneShotTimer> timer = queue.scheduleTimer(milliseconds(1), record.job(1));
    timer->invalidate();
  });
  worker.join();
  queue.postAfter(milliseconds(30), record.job(2));
  ASSERT_TRUE(spinUntil([&] { return record.count() >= 1; }));
  EXPECT_EQ(record.ran(), std::vector<int>{2});
}

TEST(QtMainQueueTest, JobsStillPendingWhenTheQueueIsDestroyedNeverRun) {
  JobRecord record;
  {
    QtMainQueue queue;
    queue.post(record.job(1));
    queue.postAfter(milliseconds(1), record.job(2));
  }
  QtMainQueue marker;
  marker.postAfter(milliseconds(30), record.job(3));
  ASSERT_TRUE(spinUntil([&] { return record.count() >= 1; }));
  EXPECT_EQ(record.ran(), std::vector<int>{3});
}

}  // namespace
}  // namespace tarvelo
