#include "capture/serial_queue.h"

#include <pthread.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

namespace tarvelo {

struct SerialQueue::State {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<std::function<void()>> jobs;
  bool closed = false;
};

namespace {

// Which queue's worker the current thread is, if any.
thread_local const void* currentQueueState = nullptr;

// Thread names are limited to 15 characters plus the terminator.
constexpr std::size_t kMaxThreadNameLength = 15;

}  // namespace

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), state_(std::make_shared<State>()) {
  worker_ = std::thread(&SerialQueue::run, state_, label_.substr(0, kMaxThreadNameLength));
}

SerialQueue::~SerialQueue() {
  std::deque<std::function<void()>> dropped;
  {
    std::lock_guard lock(state_->mutex);
    state_->closed = true;
    dropped.swap(state_->jobs);
    state_->wake.notify_all();
  }
  // The dropped jobs are destroyed outside the lock: their captures may post
  // or release other queues.
  dropped.clear();
  if (worker_.get_id() == std::this_thread::get_id()) {
    worker_.detach();  // a thread cannot join itself; the worker holds its own state
  } else {
    worker_.join();
  }
}

void SerialQueue::post(std::function<void()> job) {
  std::lock_guard lock(state_->mutex);
  if (state_->closed) return;
  state_->jobs.push_back(std::move(job));
  state_->wake.notify_one();
}

void SerialQueue::waitUntilIdle() {
  std::mutex mutex;
  std::condition_variable drained;
  bool isDrained = false;
  post([&] {
    std::lock_guard lock(mutex);
    isDrained = true;
    drained.notify_all();
  });
  std::unique_lock lock(mutex);
  drained.wait(lock, [&] { return isDrained; });
}

bool SerialQueue::isCurrent() const { return currentQueueState == state_.get(); }

void SerialQueue::run(std::shared_ptr<State> state, std::string threadName) {
#if defined(__linux__)
  pthread_setname_np(pthread_self(), threadName.c_str());
#elif defined(__APPLE__)
  pthread_setname_np(threadName.c_str());
#endif
  currentQueueState = state.get();
  for (;;) {
    std::function<void()> job;
    {
      std::unique_lock lock(state->mutex);
      state->wake.wait(lock, [&] { return state->closed || !state->jobs.empty(); });
      if (state->closed) break;
      job = std::move(state->jobs.front());
      state->jobs.pop_front();
    }
    job();
  }
  currentQueueState = nullptr;
}

}  // namespace tarvelo
