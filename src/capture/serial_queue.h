#pragma once

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace tarvelo {

// A serial worker: one thread that runs the jobs posted to it one at a time,
// in the order they were posted. Frame delivery and everything downstream of
// it run on such a queue, so a consumer is never entered twice at once.
class SerialQueue {
 public:
  explicit SerialQueue(std::string label);
  // Lets the running job finish, drops the jobs not yet started and waits for
  // the worker. Releasing the queue from one of its own jobs is allowed.
  ~SerialQueue();

  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;

  const std::string& label() const { return label_; }

  // Safe from any thread, including from a job of this queue; never runs the
  // job in place.
  void post(std::function<void()> job);

  // Waits until every job posted before the call has run. Never from a job
  // of this queue, which would wait for itself.
  void waitUntilIdle();

  // True only when called from a job running on this queue.
  bool isCurrent() const;

 private:
  // Shared with the worker, so that the worker can outlive the queue object
  // when the last reference to the queue is dropped by one of its own jobs.
  struct State;

  static void run(std::shared_ptr<State> state, std::string threadName);

  std::string label_;
  std::shared_ptr<State> state_;
  std::thread worker_;
};

}  // namespace tarvelo
