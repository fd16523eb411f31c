// Cost of one frame through the colour pipeline at the capture size.
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "pipeline/color_processing_engine.h"
#include "pipeline/frame.h"

namespace {

constexpr std::int64_t kWidth = 160;
constexpr std::int64_t kHeight = 100;
constexpr std::int64_t kBytesPerRow = kWidth * 4 + 64;  // capture buffers often pad their rows

enum class Scene { picture, letterboxed, black };

std::vector<std::uint8_t> makeFrame(Scene scene) {
  std::vector<std::uint8_t> bytes(kBytesPerRow * kHeight, 0);
  std::mt19937 random(1);
  std::uniform_int_distribution<int> noise(0, 24);
  const std::int64_t pictureRows = scene == Scene::letterboxed ? kHeight * 3 / 4 : kHeight;
  if (scene == Scene::black) return bytes;
  for (std::int64_t y = 0; y < pictureRows; ++y) {
    for (std::int64_t x = 0; x < kWidth; ++x) {
      std::uint8_t* pixel = &bytes[y * kBytesPerRow + x * 4];
      pixel[0] = static_cast<std::uint8_t>(40 + x + noise(random));
      pixel[1] = static_cast<std::uint8_t>(60 + y + noise(random));
      pixel[2] = static_cast<std::uint8_t>(200 - x / 2 + noise(random));
      pixel[3] = 255;
    }
  }
  return bytes;
}

void processFrame(benchmark::State& state, Scene scene) {
  const std::vector<std::uint8_t> bytes = makeFrame(scene);
  const tarvelo::Frame frame{bytes.data(), kWidth, kHeight, kBytesPerRow};
  tarvelo::ColorProcessingEngine engine;
  for (auto _ : state) {
    benchmark::DoNotOptimize(engine.process(frame, 0.3F, 1.7F, 0.0, 1.0));
  }
}

BENCHMARK_CAPTURE(processFrame, picture, Scene::picture);
BENCHMARK_CAPTURE(processFrame, letterboxed, Scene::letterboxed);
BENCHMARK_CAPTURE(processFrame, black, Scene::black);

}  // namespace

BENCHMARK_MAIN();
