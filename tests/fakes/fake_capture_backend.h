#pragma once

#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "capture/capture_stream.h"
#include "capture/serial_queue.h"

namespace tarvelo::testing {

class FakeCaptureBackend;

// A stream made by FakeCaptureBackend. It only reports to its backend, which is
// where a test configures failures and looks at what happened.
class FakeCaptureStream final : public CaptureStream {
 public:
  FakeCaptureStream(FakeCaptureBackend& backend, DisplayId display);
  ~FakeCaptureStream() override;

  void addStreamOutput(std::shared_ptr<SerialQueue> queue) override;
  void startCapture(std::function<void(std::exception_ptr)> completion) override;
  void stopCapture() override;
  std::optional<DisplayId> capturedDisplay() const override;

 private:
  FakeCaptureBackend& backend_;
  DisplayId display_;
};

// A capture platform driven by the test.
//
// Set up (before starting the service):
//   shareableDisplays       ids the shareable-content query reports, in order
//   queryError              if set, the query reports this error instead
//   addStreamOutputError    if set, addStreamOutput throws it (the queue is not kept)
//   startCaptureError       if set, startCapture completes with it
//   completesAsynchronously false: completions run inside the call;
//                           true: each completion runs on a fresh std::thread
//   sharedMonitor           the display a stream reports it shows, as where the
//                           desktop picks the shared monitor (unset: the one it
//                           was made for)
//
// Look at (any time, from any thread):
//   queryCount(), streamsMade(), liveStreamCount(), stopCaptureCount(),
//   lastDisplay(), lastConfiguration(), outputQueue()
//
// Drive (after a successful start):
//   deliver(sample)        posts the delivery onto the output queue, as the platform does
//   flush()                waits until everything posted to the output queue so far has run
//   stopWithError(text)    the platform ends the stream by itself, on the calling thread
//
// The backend must outlive every service and stream made from it. Deliveries
// go to the delegate of the latest stream, so only deliver while that
// delegate (the service) is alive.
class FakeCaptureBackend final : public CaptureBackend {
 public:
  std::vector<DisplayId> shareableDisplays;
  std::exception_ptr queryError;
  std::exception_ptr addStreamOutputError;
  std::exception_ptr startCaptureError;
  bool completesAsynchronously = false;
  std::optional<DisplayId> sharedMonitor;

  FakeCaptureBackend() = default;
  explicit FakeCaptureBackend(std::vector<DisplayId> displays) : shareableDisplays(std::move(displays)) {}
  ~FakeCaptureBackend() override { joinCompletionThreads(); }

  FakeCaptureBackend(const FakeCaptureBackend&) = delete;
  FakeCaptureBackend& operator=(const FakeCaptureBackend&) = delete;

  void queryShareableDisplays(ShareableDisplaysCompletion completion) override {
    {
      std::lock_guard lock(mutex_);
      ++queryCount_;
    }
    if (queryError) {
      complete([completion, error = queryError] { completion({}, error); });
    } else {
      complete([completion, displays = shareableDisplays] { completion(displays, nullptr); });
    }
  }

  std::unique_ptr<CaptureStream> makeStream(DisplayId display, const StreamConfiguration& configuration,
                                            CaptureStreamDelegate& delegate) override {
    {
      std::lock_guard lock(mutex_);
      ++streamsMade_;
      lastDisplay_ = display;
      lastConfiguration_ = configuration;
      delegate_ = &delegate;
    }
    return std::make_unique<FakeCaptureStream>(*this, display);
  }

  std::size_t queryCount() const { return locked(queryCount_); }
  std::size_t streamsMade() const { return locked(streamsMade_); }
  // Streams made and not yet destroyed.
  std::size_t liveStreamCount() const { return locked(liveStreams_); }
  // stopCapture() calls over all streams.
  std::size_t stopCaptureCount() const { return locked(stopCaptureCount_); }
  // The display and configuration of the latest makeStream call.
  std::optional<DisplayId> lastDisplay() const { return locked(lastDisplay_); }
  std::optional<StreamConfiguration> lastConfiguration() const { return locked(lastConfiguration_); }
  // The queue of the latest successful addStreamOutput; the backend keeps it
  // alive, so deliveries can outlive the stream as they do on the platform.
  std::shared_ptr<SerialQueue> outputQueue() const { return locked(queue_); }

  // Posts one delivery of `sample` onto the output queue. The frame record is
  // copied; the pixels it points at must stay alive until the delivery has run.
  void deliver(SampleBuffer sample) {
    std::shared_ptr<SerialQueue> queue;
    CaptureStreamDelegate* delegate = nullptr;
    {
      std::lock_guard lock(mutex_);
      queue = queue_;
      delegate = delegate_;
    }
    if (!queue || delegate == nullptr) throw std::logic_error("deliver() before a stream output was added");
    std::optional<Frame> image;
    if (sample.image != nullptr) image = *sample.image;
    queue->post([delegate, type = sample.type, image] {
      delegate->streamDidOutputSampleBuffer(SampleBuffer{type, image ? &*image : nullptr});
    });
  }

  void deliver(const Frame& frame) { deliver(SampleBuffer{StreamOutputType::screen, &frame}); }

  // Waits until every job posted to the output queue before this call has run.
  // Not to be called from the output queue itself.
  void flush() {
    std::shared_ptr<SerialQueue> queue = outputQueue();
    if (!queue) return;
    std::mutex doneMutex;
    std::condition_variable doneSignal;
    bool done = false;
    queue->post([&] {
      std::lock_guard lock(doneMutex);
      done = true;
      doneSignal.notify_all();
    });
    std::unique_lock lock(doneMutex);
    doneSignal.wait(lock, [&] { return done; });
  }

  // The platform ends the latest stream with an error whose description is `description`.
  void stopWithError(const std::string& description) {
    CaptureStreamDelegate* delegate = locked(delegate_);
    if (delegate == nullptr) throw std::logic_error("stopWithError() before a stream was made");
    delegate->streamDidStopWithError(std::runtime_error(description));
  }

  // Waits for the completions running on their own threads.
  void joinCompletionThreads() {
    for (;;) {
      std::vector<std::thread> threads;
      {
        std::lock_guard lock(mutex_);
        threads.swap(threads_);
      }
      if (threads.empty()) return;
      for (auto& thread : threads) thread.join();
    }
  }

 private:
  friend class FakeCaptureStream;

  template <typename T>
  T locked(const T& value) const {
    std::lock_guard lock(mutex_);
    return value;
  }

  void complete(std::function<void()> completion) {
    if (!completesAsynchronously) {
      completion();
      return;
    }
    std::lock_guard lock(mutex_);
    threads_.emplace_back(std::move(completion));
  }

  mutable std::mutex mutex_;
  std::size_t queryCount_ = 0;
  std::size_t streamsMade_ = 0;
  std::size_t liveStreams_ = 0;
  std::size_t stopCaptureCount_ = 0;
  std::optional<DisplayId> lastDisplay_;
  std::optional<StreamConfiguration> lastConfiguration_;
  CaptureStreamDelegate* delegate_ = nullptr;
  std::shared_ptr<SerialQueue> queue_;
  std::vector<std::thread> threads_;
};

inline FakeCaptureStream::FakeCaptureStream(FakeCaptureBackend& backend, DisplayId display)
    : backend_(backend), display_(display) {
  std::lock_guard lock(backend_.mutex_);
  ++backend_.liveStreams_;
}

inline FakeCaptureStream::~FakeCaptureStream() {
  std::lock_guard lock(backend_.mutex_);
  --backend_.liveStreams_;
}

inline void FakeCaptureStream::addStreamOutput(std::shared_ptr<SerialQueue> queue) {
  if (backend_.addStreamOutputError) std::rethrow_exception(backend_.addStreamOutputError);
  std::lock_guard lock(backend_.mutex_);
  backend_.queue_ = std::move(queue);
}

inline void FakeCaptureStream::startCapture(std::function<void(std::exception_ptr)> completion) {
  backend_.complete([completion = std::move(completion), error = backend_.startCaptureError] { completion(error); });
}

inline void FakeCaptureStream::stopCapture() {
  std::lock_guard lock(backend_.mutex_);
  ++backend_.stopCaptureCount_;
}

inline std::optional<DisplayId> FakeCaptureStream::capturedDisplay() const {
  return backend_.sharedMonitor.value_or(display_);
}

}  // namespace tarvelo::testing
