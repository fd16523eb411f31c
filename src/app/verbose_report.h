#pragma once

#include <cstdint>
#include <string>

namespace tarvelo {

// What the program did over one reporting period: counts and times only,
// nothing of what the frames showed.
struct VerboseSample {
  double seconds = 0;
  std::uint64_t framesCaptured = 0;
  std::uint64_t framesDrawn = 0;
  double cpuSeconds = 0;  // the whole process's, user and system
};

// The line --verbose prints for one period, e.g.
// "[Tarvelo] 29.9 frames/s captured, 299 frames drawn in 10 s, CPU 1.84 ms per frame".
// Without frames captured the CPU figure is the time spent idle-waiting: "CPU 0.12 s, no frames".
std::string verboseReportLine(const VerboseSample& sample);

}  // namespace tarvelo
