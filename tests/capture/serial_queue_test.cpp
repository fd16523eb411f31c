#include "capture/serial_queue.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tarvelo {
namespace {

// A one-time signal between threads. The wait has a generous bound only so
// that a broken queue fails the test instead of hanging it.
class Signal {
 public:
  void notify() {
    std::lock_guard lock(mutex_);
    raised_ = true;
    changed_.notify_all();
  }
  bool wait() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [this] { return raised_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool raised_ = false;
};

// Waits until every job posted to `queue` before the call has run.
bool drain(SerialQueue& queue) {
  Signal drained;
  queue.post([&drained] { drained.notify(); });
  return drained.wait();
}

TEST(SerialQueueTest, KeepsItsLabel) {
  SerialQueue queue("com.tarvelo.capture");
  EXPECT_EQ(queue.label(), "com.tarvelo.capture");
}

TEST(SerialQueueTest, NamesItsThreadAfterTheLabelCutToFifteenCharacters) {
  SerialQueue queue("com.tarvelo.capture");
  std::string threadName;
  queue.post([&threadName] {
    char buffer[16] = {};
    pthread_getname_np(pthread_self(), buffer, sizeof buffer);
    threadName = buffer;
  });
  ASSERT_TRUE(drain(queue));
  EXPECT_EQ(threadName, "com.tarvelo.cap");
}

TEST(SerialQueueTest, RunsJobsInPostingOrder) {
  SerialQueue queue("order");
  std::vector<int> ran;
  for (int i = 0; i < 100; ++i) queue.post([&ran, i] { ran.push_back(i); });
  ASSERT_TRUE(drain(queue));
  ASSERT_EQ(ran.size(), 100u);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(ran[i], i);
}

TEST(SerialQueueTest, RunsOneJobAtATimeWhatEverThreadPosts) {
  SerialQueue queue("serial");
  std::atomic<int> running = 0;
  std::atomic<int> mostAtOnce = 0;
  std::atomic<int> finished = 0;
  auto job = [&] {
    const int now = ++running;
    int seen = mostAtOnce.load();
    while (now > seen && !mostAtOnce.compare_exchange_weak(seen, now)) {
    }
    std::this_thread::yield();
    --running;
    ++finished;
  };
  std::vector<std::thread> posters;
  for (int t = 0; t < 4; ++t) {
    posters.emplace_back([&] {
      for (int i = 0; i < 50; ++i) queue.post(job);
    });
  }
  for (auto& poster : posters) poster.join();
  ASSERT_TRUE(drain(queue));
  EXPECT_EQ(finished.load(), 200);
  EXPECT_EQ(mostAtOnce.load(), 1);
}

TEST(SerialQueueTest, JobPostedFromItsOwnQueueRunsAfterTheCurrentJob) {
  SerialQueue queue("self-post");
  std::vector<std::string> ran;
  Signal inner;
  queue.post([&] {
    queue.post([&] {
      ran.push_back("inner");
      inner.notify();
    });
    ran.push_back("outer");
  });
  ASSERT_TRUE(inner.wait());
  EXPECT_EQ(ran, (std::vector<std::string>{"outer", "inner"}));
}

TEST(SerialQueueTest, IsCurrentOnlyInsideItsOwnJobs) {
  SerialQueue queue("current");
  SerialQueue other("other");
  EXPECT_FALSE(queue.isCurrent());
  bool currentInside = false;
  bool otherInside = true;
  std::thread::id jobThread;
  queue.post([&] {
    currentInside = queue.isCurrent();
    otherInside = other.isCurrent();
    jobThread = std::this_thread::get_id();
  });
  ASSERT_TRUE(drain(queue));
  EXPECT_TRUE(currentInside);
  EXPECT_FALSE(otherInside);
  EXPECT_NE(jobThread, std::this_thread::get_id());
}

// Opens a gate when destroyed, which is what happens to a job that is dropped.
struct OpensGateWhenDropped {
  Signal* gate;
  ~OpensGateWhenDropped() { gate->notify(); }
};

TEST(SerialQueueTest, DestructionLetsTheRunningJobFinishAndDropsJobsNotStarted) {
  auto queue = std::make_unique<SerialQueue>("teardown");
  Signal started;
  Signal gate;
  bool gateOpened = false;
  bool runningJobFinished = false;
  std::atomic<bool> laterJobRan = false;
  queue->post([&] {
    started.notify();
    gateOpened = gate.wait();
    runningJobFinished = true;
  });
  auto dropGuard = std::make_shared<OpensGateWhenDropped>(&gate);
  queue->post([&laterJobRan, dropGuard] { laterJobRan = true; });
  dropGuard.reset();
  ASSERT_TRUE(started.wait());

  queue.reset();  // returns only once the running job has finished

  EXPECT_TRUE(gateOpened);
  EXPECT_TRUE(runningJobFinished);
  EXPECT_FALSE(laterJobRan.load());
}

// Drops the last reference to its queue, then reports it.
struct ReleasesQueueWhenDestroyed {
  std::shared_ptr<SerialQueue> queue;
  std::shared_ptr<Signal> released;
  ~ReleasesQueueWhenDestroyed() {
    queue.reset();
    if (released) released->notify();
  }
};

TEST(SerialQueueTest, QueueCanBeReleasedByItsOwnJob) {
  auto queue = std::make_shared<SerialQueue>("self-release");
  auto released = std::make_shared<Signal>();
  auto holder = std::make_shared<ReleasesQueueWhenDestroyed>(queue, released);
  Signal go;
  std::atomic<bool> ran = false;
  queue->post([holder, &go, &ran] { ran = go.wait(); });
  holder.reset();
  queue.reset();  // the waiting job now holds the only reference
  go.notify();
  ASSERT_TRUE(released->wait());
  EXPECT_TRUE(ran.load());
}

}  // namespace
}  // namespace tarvelo
