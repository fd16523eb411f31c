#include <gtest/gtest.h>

#include "app/verbose_report.h"

namespace tarvelo::testing {
namespace {

TEST(VerboseReportTest, TheLineGivesTheCaptureRateTheFramesDrawnAndTheCpuPerFrame) {
  VerboseSample sample;
  sample.seconds = 10.004;
  sample.framesCaptured = 299;
  sample.framesDrawn = 297;
  sample.cpuSeconds = 0.5501;
  EXPECT_EQ(verboseReportLine(sample),
            "[Tarvelo] 29.9 frames/s captured, 297 frames drawn in 10 s, CPU 1.84 ms per frame");
}

TEST(VerboseReportTest, WithoutFramesTheCpuTimeIsGivenWhole) {
  VerboseSample sample;
  sample.seconds = 10;
  sample.cpuSeconds = 0.124;
  EXPECT_EQ(verboseReportLine(sample), "[Tarvelo] 0 frames/s captured, 0 frames drawn in 10 s, CPU 0.12 s, no frames");
}

}  // namespace
}  // namespace tarvelo::testing
