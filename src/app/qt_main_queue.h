#pragma once

#include <QObject>

#include <chrono>
#include <functional>
#include <memory>

#include "support/main_queue.h"

namespace tarvelo {

// The main queue on Qt's event loop. Jobs run in the thread that constructed
// the queue (the main thread, after the QCoreApplication exists), in
// submission order. Jobs still pending when the queue is destroyed never run.
class QtMainQueue final : public MainQueue {
 public:
  QtMainQueue();
  ~QtMainQueue() override;

  QtMainQueue(const QtMainQueue&) = delete;
  QtMainQueue& operator=(const QtMainQueue&) = delete;

  void post(std::function<void()> job) override;
  void postAfter(std::chrono::milliseconds delay, std::function<void()> job) override;
  std::unique_ptr<OneShotTimer> scheduleTimer(std::chrono::milliseconds delay, std::function<void()> fire) override;

 private:
  bool onMainThread() const;

  // Every job and timer is delivered through this object, so that they run in
  // its thread and die with it.
  std::unique_ptr<QObject> context_;
};

}  // namespace tarvelo
