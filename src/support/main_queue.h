#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace tarvelo {

// A pending one-shot timer on the main thread. Destroying the handle
// invalidates it as well.
class OneShotTimer {
 public:
  virtual ~OneShotTimer() = default;
  virtual void invalidate() = 0;
};

// The main thread's job queue. Work that touches application state or windows
// is submitted here from any thread and runs later, in submission order, on
// the main thread. Submitting never blocks and never runs the job in place.
class MainQueue {
 public:
  virtual ~MainQueue() = default;

  virtual void post(std::function<void()> job) = 0;
  virtual void postAfter(std::chrono::milliseconds delay, std::function<void()> job) = 0;
  // Like postAfter, but the caller can take the job back before it fires.
  virtual std::unique_ptr<OneShotTimer> scheduleTimer(std::chrono::milliseconds delay, std::function<void()> fire) = 0;
};

}  // namespace tarvelo
