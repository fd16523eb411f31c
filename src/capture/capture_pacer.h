#pragma once

#include <chrono>
#include <optional>

#include "capture/capture_stream.h"

namespace tarvelo {

// The shortest time between two frame starts that a stream configuration asks
// for. A zero or negative timescale means no cap.
std::chrono::nanoseconds minimumIntervalOf(const FrameInterval& interval);

// Decides when a capture stream takes its next picture: only after the screen
// has changed (the very first picture always), never sooner than the minimum
// interval after the previous start, and never while a capture is still
// running. It holds no clock of its own; callers pass the time in.
class CapturePacer {
 public:
  using Clock = std::chrono::steady_clock;

  explicit CapturePacer(std::chrono::nanoseconds minimumInterval);

  // The screen changed where the stream looks.
  void noteChange();
  // True when a capture should start at `now`.
  bool isCaptureDue(Clock::time_point now) const;
  // When the next capture becomes due; none while nothing changed or a capture runs.
  std::optional<Clock::time_point> dueTime() const;
  // A capture started at `now`: it covers every change noted before it.
  void captureStarted(Clock::time_point now);
  void captureFinished();

  bool isCaptureRunning() const { return isCaptureRunning_; }
  bool hasPendingChange() const { return hasPendingChange_; }

 private:
  std::chrono::nanoseconds minimumInterval_;
  bool hasPendingChange_ = true;
  bool isCaptureRunning_ = false;
  std::optional<Clock::time_point> lastStart_;
};

}  // namespace tarvelo
