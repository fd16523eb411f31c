#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <vector>

#include "pipeline/color_processing_engine.h"
#include "pipeline_fuzz_case.h"

namespace tarvelo {
namespace {

std::vector<std::filesystem::path> inputsIn(const char* directory) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  return files;
}

std::vector<std::uint8_t> contents(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A case that breaks an expectation aborts the process; dying is the failure.
void replay(const std::filesystem::path& path) {
  SCOPED_TRACE(path.filename().string());
  const std::vector<std::uint8_t> input = contents(path);
  EXPECT_EXIT(
      {
        runPipelineFuzzCase(input.data(), input.size());
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(PipelineFuzzReplay, EverySeedRunsClean) {
  const auto seeds = inputsIn(TARVELO_FUZZ_CORPUS_DIR);
  ASSERT_GE(seeds.size(), 5U);
  for (const auto& seed : seeds) replay(seed);
}

TEST(PipelineFuzzReplay, EveryInputTheFuzzerOnceCrashedOnRunsClean) {
  const auto inputs = inputsIn(TARVELO_FUZZ_REGRESSIONS_DIR);
  ASSERT_FALSE(inputs.empty());
  for (const auto& input : inputs) replay(input);
}

// The one trap the fuzz case steps around on purpose (the fuzzer's first find,
// kept as regressions/nan-bottom-band-end): a NaN end of the bottom band
// becomes a float-to-integer conversion out of range, fatal by design.
TEST(PipelineFuzzReplay, NaNEndOfTheBottomBandIsFatalByDesign) {
  const std::vector<std::uint8_t> pixels(16 * 4, 200);
  const Frame frame{pixels.data(), 4, 4, 16};
  EXPECT_DEATH(ColorProcessingEngine().process(frame, 0.3F, 1.7F, 0.0, std::nan("")),
               "float to integer conversion out of range");
}

}  // namespace
}  // namespace tarvelo
