#include "capture/minimum_interval.h"

#include <cstdint>

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

}  // namespace tarvelo
