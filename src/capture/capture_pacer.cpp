#include "capture/capture_pacer.h"

#include "support/checked_arithmetic.h"

namespace tarvelo {

std::chrono::nanoseconds minimumIntervalOf(const FrameInterval& interval) {
  if (interval.timescale <= 0 || interval.value <= 0) return std::chrono::nanoseconds(0);
  constexpr std::int64_t kNanosecondsPerSecond = 1'000'000'000;
  // value / timescale seconds, rounded up so the cap is never exceeded.
  const std::int64_t numerator = checkedMul(interval.value, kNanosecondsPerSecond);
  const std::int64_t nanoseconds = checkedAdd(numerator, interval.timescale - 1) / interval.timescale;
  return std::chrono::nanoseconds(nanoseconds);
}

CapturePacer::CapturePacer(std::chrono::nanoseconds minimumInterval) : minimumInterval_(minimumInterval) {}

void CapturePacer::noteChange() { hasPendingChange_ = true; }

std::optional<CapturePacer::Clock::time_point> CapturePacer::dueTime() const {
  if (!hasPendingChange_ || isCaptureRunning_) return std::nullopt;
  if (!lastStart_) return Clock::time_point::min();
  return *lastStart_ + minimumInterval_;
}

bool CapturePacer::isCaptureDue(Clock::time_point now) const {
  const std::optional<Clock::time_point> due = dueTime();
  return due && *due <= now;
}

void CapturePacer::captureStarted(Clock::time_point now) {
  hasPendingChange_ = false;
  isCaptureRunning_ = true;
  lastStart_ = now;
}

void CapturePacer::captureFinished() { isCaptureRunning_ = false; }

}  // namespace tarvelo
