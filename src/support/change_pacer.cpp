#include "support/change_pacer.h"

namespace tarvelo {

ChangePacer::ChangePacer(std::chrono::nanoseconds minimumInterval) : minimumInterval_(minimumInterval) {}

void ChangePacer::noteChange() { hasPendingChange_ = true; }

std::optional<ChangePacer::Clock::time_point> ChangePacer::dueTime() const {
  if (!hasPendingChange_ || isRunning_) return std::nullopt;
  return earliestStart().value_or(Clock::time_point::min());
}

std::optional<ChangePacer::Clock::time_point> ChangePacer::earliestStart() const {
  if (!lastStart_) return std::nullopt;
  return *lastStart_ + minimumInterval_;
}

bool ChangePacer::isDue(Clock::time_point now) const {
  const std::optional<Clock::time_point> due = dueTime();
  return due && *due <= now;
}

void ChangePacer::started(Clock::time_point now) {
  hasPendingChange_ = false;
  isRunning_ = true;
  lastStart_ = now;
}

void ChangePacer::finished() { isRunning_ = false; }

}  // namespace tarvelo
