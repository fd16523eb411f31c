#include "app/verbose_report.h"

#include <cmath>
#include <cstdio>

namespace tarvelo {

std::string verboseReportLine(const VerboseSample& sample) {
  const double seconds = sample.seconds > 0 ? sample.seconds : 0;
  const double capturedPerSecond = seconds > 0 ? static_cast<double>(sample.framesCaptured) / seconds : 0;
  char line[160];
  if (sample.framesCaptured == 0) {
    std::snprintf(line, sizeof line, "[Tarvelo] 0 frames/s captured, %llu frames drawn in %.0f s, CPU %.2f s, no frames",
                  static_cast<unsigned long long>(sample.framesDrawn), std::round(seconds), sample.cpuSeconds);
  } else {
    std::snprintf(line, sizeof line, "[Tarvelo] %.1f frames/s captured, %llu frames drawn in %.0f s, CPU %.2f ms per frame",
                  capturedPerSecond, static_cast<unsigned long long>(sample.framesDrawn), std::round(seconds),
                  sample.cpuSeconds * 1000.0 / static_cast<double>(sample.framesCaptured));
  }
  return line;
}

}  // namespace tarvelo
