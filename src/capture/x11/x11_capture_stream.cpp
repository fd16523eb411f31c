#include "capture/x11/x11_capture_stream.h"

#include <pthread.h>

#include <atomic>
#include <stdexcept>
#include <utility>

#include "capture/capture_error.h"
#include "capture/minimum_interval.h"
#include "capture/serial_queue.h"
#include "capture/x11/x11_frame_scaler.h"
#include "capture/x11/x11_screen_watcher.h"
#include "support/change_pacer.h"

namespace tarvelo {

// Holds one of the streams' slots for as long as the stream's connections live.
class HeldStreamSlot {
 public:
  explicit HeldStreamSlot(std::shared_ptr<X11StreamSlots> slots) : slots_(std::move(slots)) { slots_->acquire(); }
  ~HeldStreamSlot() { slots_->release(); }

  HeldStreamSlot(const HeldStreamSlot&) = delete;
  HeldStreamSlot& operator=(const HeldStreamSlot&) = delete;

 private:
  std::shared_ptr<X11StreamSlots> slots_;
};

struct X11CaptureStream::Shared {
  explicit Shared(CaptureStreamDelegate& streamDelegate) : delegate(streamDelegate) {}

  CaptureStreamDelegate& delegate;
  std::unique_ptr<HeldStreamSlot> slot;  // declared first: released after the connections close
  std::unique_ptr<X11ScreenWatcher> watcher;  // waited on by the watcher thread; woken from anywhere
  std::unique_ptr<X11FrameScaler> scaler;     // used only by capture jobs on the output queue
  std::atomic<bool> isStopped = false;
  // Set by a capture job when it is done (so the next may be scheduled), read
  // and cleared by the watcher thread.
  std::atomic<bool> isCaptureFinished = false;
  // Why the last capture failed; written by the capture job before it sets
  // isCaptureFinished, read by the watcher thread after seeing it.
  std::optional<std::string> captureFailure;
  // Set by the watcher thread before it posts a capture: the watcher sleeps
  // until then anyway, so a job finished sooner need not wake it.
  std::atomic<ChangePacer::Clock::time_point> earliestNextStart{};
};

X11CaptureStream::X11CaptureStream(std::optional<std::string> displayName, DisplayId display,
                                   const StreamConfiguration& configuration, CaptureStreamDelegate& delegate,
                                   X11CaptureTuning tuning, std::shared_ptr<X11StreamSlots> slots)
    : displayName_(std::move(displayName)),
      display_(display),
      configuration_(configuration),
      delegate_(delegate),
      tuning_(tuning),
      slots_(std::move(slots)),
      shared_(std::make_shared<Shared>(delegate)) {}

X11CaptureStream::~X11CaptureStream() {
  // A set-up still queued finds the stream stopped; one under way is waited
  // for, so that the watcher it may make is there to be woken and joined.
  shared_->isStopped = true;
  waitForDeliveries();
  if (shared_->watcher) shared_->watcher->wake();
  if (watchThread_.joinable()) {
    // The watcher thread only ever ends the stream, never destroys it, but a
    // delegate could; a thread cannot join itself.
    if (watchThread_.get_id() == std::this_thread::get_id()) {
      watchThread_.detach();
    } else {
      watchThread_.join();
    }
  }
  waitForDeliveries();
  queue_.reset();
}

void X11CaptureStream::addStreamOutput(std::shared_ptr<SerialQueue> queue) {
  if (!queue) throw std::invalid_argument("A capture stream needs a queue to deliver frames on.");
  queue_ = std::move(queue);
}

// The set-up waits for a stream slot and makes round trips to the server, so
// it runs on the capture queue, never on the caller's (the main) thread.
void X11CaptureStream::startCapture(std::function<void(std::exception_ptr)> completion) {
  if (!queue_) {
    completion(std::make_exception_ptr(std::logic_error("The capture stream has no output queue.")));
    return;
  }
  queue_->post([this, completion = std::move(completion)]() mutable {
    // Reported once, then dropped: the completion may hold the stream itself.
    std::function<void(std::exception_ptr)> report = std::move(completion);
    report(setUp());
  });
}

std::exception_ptr X11CaptureStream::setUp() {
  std::optional<PixelRect> source;
  try {
    if (isStarted_) throw std::logic_error("The capture stream was already started.");
    if (shared_->isStopped) throw std::logic_error("The capture stream was stopped before it started.");
    if (configuration_.pixelFormat != kPixelFormatBGRA) {
      throw std::invalid_argument("X11 screen capture delivers BGRA frames only.");
    }
    if (configuration_.width <= 0 || configuration_.height <= 0) {
      throw std::invalid_argument("A capture stream needs a positive frame size.");
    }
    // showsCursor needs nothing: the pointer is never part of a window's
    // contents (a cursor the server draws in software is lifted before any read).

    shared_->slot = std::make_unique<HeldStreamSlot>(slots_);
    // The watcher comes first so that nothing drawn after the rectangle is
    // read can go unnoticed.
    shared_->watcher = std::make_unique<X11ScreenWatcher>(displayName_);
    source = shared_->watcher->outputRectangle(display_);
    if (!source) throw CaptureFailure(CaptureError::displayNotFound);
    shared_->scaler = std::make_unique<X11FrameScaler>(displayName_, configuration_.width, configuration_.height,
                                                       tuning_.samplesX, tuning_.samplesY);
  } catch (...) {
    shared_->scaler.reset();
    shared_->watcher.reset();
    shared_->slot.reset();
    return std::current_exception();
  }
  isStarted_ = true;
  watchThread_ = std::thread(&X11CaptureStream::watch, this, *source);
  return nullptr;
}

void X11CaptureStream::stopCapture() {
  if (shared_->isStopped.exchange(true)) return;
  if (shared_->watcher) shared_->watcher->wake();
}

// The watcher thread: turns change reports into capture jobs, paced by the
// minimum frame interval, until the stream stops or its output goes away.
void X11CaptureStream::watch(PixelRect source) {
  pthread_setname_np(pthread_self(), kWatcherThreadName);
  ChangePacer pacer(minimumIntervalOf(configuration_.minimumFrameInterval));
  X11ScreenWatcher& watcher = *shared_->watcher;
  while (!shared_->isStopped) {
    if (shared_->isCaptureFinished.exchange(false)) {
      pacer.finished();
      if (shared_->captureFailure) {
        end(*shared_->captureFailure);
        return;
      }
    }
    const ChangePacer::Clock::time_point now = ChangePacer::Clock::now();
    if (pacer.isDue(now)) {
      pacer.started(now);
      shared_->earliestNextStart = *pacer.earliestStart();
      postCapture(source);
    }
    // Until the next capture may start, news of drawing changes nothing, and
    // a playing film would bring it several times a frame (its own drawing,
    // the light's below). So the watcher sleeps until then and reads it all at
    // once: a change made meanwhile is still captured the moment it may be.
    const std::optional<ChangePacer::Clock::time_point> quietUntil = pacer.earliestStart();
    const bool isQuiet = quietUntil && *quietUntil > now;
    const ScreenChanges changes =
        watcher.wait(source, isQuiet ? quietUntil : std::nullopt,
                     isQuiet || pacer.isRunning() ? X11ScreenWatcher::ScreenNews::later
                                                  : X11ScreenWatcher::ScreenNews::now);
    if (changes.connectionLost) {
      end("the connection to the X server was lost");
      return;
    }
    if (changes.outputsChanged) {
      std::optional<PixelRect> current;
      try {
        current = watcher.outputRectangle(display_);
      } catch (const std::exception&) {
        end("the connection to the X server was lost");
        return;
      }
      if (!current) {
        end("the captured display was disconnected");
        return;
      }
      if (*current != source) {
        source = *current;
        pacer.noteChange();
      }
    }
    if (changes.changedInside) pacer.noteChange();
  }
}

void X11CaptureStream::postCapture(const PixelRect& source) {
  // Frames in flight: the scaler has one shared-memory image and the delegate
  // is called synchronously from this job, and the pacer starts no capture
  // before the previous one has finished, so at most one frame is ever in
  // flight, well within the configured queue depth.
  queue_->post([shared = shared_, source] {
    if (!shared->isStopped) {
      const Frame* frame = nullptr;
      try {
        frame = &shared->scaler->capture(source);
      } catch (const std::exception& error) {
        shared->captureFailure = error.what();
      }
      if (frame != nullptr && !shared->isStopped) {
        shared->delegate.streamDidOutputSampleBuffer(SampleBuffer{StreamOutputType::screen, frame});
      }
    }
    shared->isCaptureFinished = true;
    if (shared->captureFailure || shared->isStopped ||
        ChangePacer::Clock::now() >= shared->earliestNextStart.load()) {
      shared->watcher->wake();
    }
  });
}

// The stream ends by itself: reported once, unless the owner stopped it first.
void X11CaptureStream::end(const std::string& reason) {
  if (shared_->isStopped.exchange(true)) return;
  delegate_.streamDidStopWithError(std::runtime_error(reason));
}

// After isStopped is set, a capture job that has not yet begun delivers
// nothing; one that has must finish before the delegate may go away.
void X11CaptureStream::waitForDeliveries() {
  if (queue_ && !queue_->isCurrent()) queue_->waitUntilIdle();
}

}  // namespace tarvelo
