#pragma once

#include <cstdint>
#include <ctime>

namespace tarvelo::bench {

// The monotonic clock in tenths of a millisecond, folded into 24 bits (about 28
// minutes before it wraps), so it fits one RGB colour: a painter shows the time
// it painted, and a reader of the picture subtracts it from its own time.
inline std::uint32_t timecodeNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::uint64_t tenthsOfMillisecond =
      static_cast<std::uint64_t>(now.tv_sec) * 10'000 + static_cast<std::uint64_t>(now.tv_nsec) / 100'000;
  return static_cast<std::uint32_t>(tenthsOfMillisecond & 0xFFFFFF);
}

// Milliseconds from `painted` to `seen`, both timecodes.
inline double timecodeMillisecondsBetween(std::uint32_t painted, std::uint32_t seen) {
  return static_cast<double>((seen - painted) & 0xFFFFFF) / 10.0;
}

}  // namespace tarvelo::bench
