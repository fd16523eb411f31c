#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "support/main_queue.h"

namespace tarvelo::testing {

// A main queue the test drives by hand. Jobs posted from any thread wait until
// the test thread (standing in for the main thread) runs them; delayed jobs and
// timers wait for the fake clock to pass their due time.
class FakeMainQueue final : public MainQueue {
 public:
  void post(std::function<void()> job) override {
    std::lock_guard lock(mutex_);
    ready_.push_back(std::move(job));
    posted_.notify_all();
  }

  void postAfter(std::chrono::milliseconds delay, std::function<void()> job) override {
    std::lock_guard lock(mutex_);
    delayedRequests_.push_back(delay);
    timed_.push_back({now_ + delay, std::move(job), nullptr});
  }

  std::unique_ptr<OneShotTimer> scheduleTimer(std::chrono::milliseconds delay, std::function<void()> fire) override {
    std::lock_guard lock(mutex_);
    auto live = std::make_shared<bool>(true);
    timed_.push_back({now_ + delay, std::move(fire), live});
    return std::make_unique<Timer>(std::move(live));
  }

  // Runs every ready job, including jobs those jobs post; returns how many ran.
  std::size_t runPending() {
    std::size_t count = 0;
    while (auto job = takeReady()) {
      (*job)();
      ++count;
    }
    return count;
  }

  // Waits (up to `timeout`) until at least one job is ready, then runs all ready jobs.
  std::size_t waitAndRunPending(std::chrono::milliseconds timeout = std::chrono::seconds(5)) {
    {
      std::unique_lock lock(mutex_);
      posted_.wait_for(lock, timeout, [this] { return !ready_.empty(); });
    }
    return runPending();
  }

  // Moves the fake clock on; delayed jobs and live timers that fall due become
  // ready in due order, and everything ready runs.
  std::size_t advance(std::chrono::milliseconds step) {
    std::vector<std::function<void()>> due;
    {
      std::lock_guard lock(mutex_);
      now_ += step;
      std::stable_sort(timed_.begin(), timed_.end(), [](const Timed& a, const Timed& b) { return a.due < b.due; });
      auto it = timed_.begin();
      while (it != timed_.end() && it->due <= now_) {
        if (!it->live || *it->live) ready_.push_back(std::move(it->job));
        it = timed_.erase(it);
      }
    }
    return runPending();
  }

  std::size_t readyCount() const {
    std::lock_guard lock(mutex_);
    return ready_.size();
  }

  // Live timers and delayed jobs not yet due.
  std::size_t scheduledCount() const {
    std::lock_guard lock(mutex_);
    std::size_t count = 0;
    for (const auto& timed : timed_) count += (!timed.live || *timed.live) ? 1 : 0;
    return count;
  }

  std::vector<std::chrono::milliseconds> delayedRequests() const {
    std::lock_guard lock(mutex_);
    return delayedRequests_;
  }

 private:
  struct Timed {
    std::chrono::milliseconds due;
    std::function<void()> job;
    std::shared_ptr<bool> live;  // null for postAfter jobs, which cannot be taken back
  };

  class Timer final : public OneShotTimer {
   public:
    explicit Timer(std::shared_ptr<bool> live) : live_(std::move(live)) {}
    ~Timer() override { invalidate(); }
    void invalidate() override { *live_ = false; }

   private:
    std::shared_ptr<bool> live_;
  };

  std::unique_ptr<std::function<void()>> takeReady() {
    std::lock_guard lock(mutex_);
    if (ready_.empty()) return nullptr;
    auto job = std::make_unique<std::function<void()>>(std::move(ready_.front()));
    ready_.pop_front();
    return job;
  }

  mutable std::mutex mutex_;
  std::condition_variable posted_;
  std::deque<std::function<void()>> ready_;
  std::vector<Timed> timed_;
  std::vector<std::chrono::milliseconds> delayedRequests_;
  std::chrono::milliseconds now_{0};
};

}  // namespace tarvelo::testing
