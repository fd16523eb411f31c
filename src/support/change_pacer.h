#pragma once

#include <chrono>
#include <optional>

namespace tarvelo {

// Decides when to act on changes (a screen capture, a redraw): only after
// something changed (the very first time always), never sooner than the
// minimum interval after the previous start, and never while the previous one
// is still running. It holds no clock of its own; callers pass the time in.
class ChangePacer {
 public:
  using Clock = std::chrono::steady_clock;

  explicit ChangePacer(std::chrono::nanoseconds minimumInterval);

  // Something changed that the next run should cover.
  void noteChange();
  // True when a run should start at `now`.
  bool isDue(Clock::time_point now) const;
  // When the next run becomes due; none while nothing changed or a run is under way.
  std::optional<Clock::time_point> dueTime() const;
  // The earliest the next run may start, whether or not anything changed:
  // the minimum interval after the previous start; none before the first.
  std::optional<Clock::time_point> earliestStart() const;
  // A run started at `now`: it covers every change noted before it.
  void started(Clock::time_point now);
  void finished();

  bool isRunning() const { return isRunning_; }
  bool hasPendingChange() const { return hasPendingChange_; }

 private:
  std::chrono::nanoseconds minimumInterval_;
  bool hasPendingChange_ = true;
  bool isRunning_ = false;
  std::optional<Clock::time_point> lastStart_;
};

}  // namespace tarvelo
