// Cost of stretching the light's picture over a whole screen without a GPU,
// once per frame. Run with --benchmark_repetitions=9 and read the medians.
#include <cstdint>
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "output/light_upscaler.h"

namespace {

// A light picture and the image it is stretched over, one texel of rim
// beyond every edge, as the light window has them.
struct ScreenCase {
  int pictureWidth;
  int pictureHeight;
  int imageWidth;
  int imageHeight;
  tarvelo::LightRect placement;
};

constexpr ScreenCase kFullHd{98, 56, 1920, 1080, {-19.6, -19.3, 1959.2, 1118.6}};
constexpr ScreenCase kUltraHd{194, 110, 3840, 2160, {-19.9, -19.7, 3879.8, 2199.4}};

void stretchScreen(benchmark::State& state, ScreenCase screen, tarvelo::UpscalerInstructions instructions) {
  if (!tarvelo::LightUpscaler::isAvailable(instructions)) {
    state.SkipWithError("instructions not available on this processor");
    return;
  }
  // A smooth light like the real one, with some noise so no two texels agree.
  std::vector<std::uint8_t> picture(static_cast<std::size_t>(screen.pictureWidth * screen.pictureHeight * 4));
  std::mt19937 random(3);
  std::uniform_int_distribution<int> noise(0, 15);
  for (int y = 0; y < screen.pictureHeight; ++y) {
    for (int x = 0; x < screen.pictureWidth; ++x) {
      std::uint8_t* texel = &picture[static_cast<std::size_t>((y * screen.pictureWidth + x) * 4)];
      texel[0] = static_cast<std::uint8_t>(x * 200 / screen.pictureWidth + noise(random));
      texel[1] = static_cast<std::uint8_t>(y * 200 / screen.pictureHeight + noise(random));
      texel[2] = static_cast<std::uint8_t>(120 + noise(random));
      texel[3] = 255;
    }
  }
  std::vector<std::uint32_t> image(static_cast<std::size_t>(screen.imageWidth) * screen.imageHeight);
  const tarvelo::RgbaPictureView pictureView{picture.data(), screen.pictureWidth, screen.pictureHeight,
                                             screen.pictureWidth * 4};
  const tarvelo::Argb32ImageView imageView{image.data(), screen.imageWidth, screen.imageHeight,
                                           screen.imageWidth * 4};
  const tarvelo::PixelRegion region{0, 0, screen.imageWidth, screen.imageHeight};
  tarvelo::LightUpscaler upscaler(instructions);
  for (auto _ : state) {
    upscaler.stretch(pictureView, screen.placement, imageView, region);
    benchmark::DoNotOptimize(image.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * screen.imageWidth * screen.imageHeight);
}

using tarvelo::UpscalerInstructions;

BENCHMARK_CAPTURE(stretchScreen, full_hd_98x56_to_1920x1080, kFullHd, UpscalerInstructions::fastest)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(stretchScreen, ultra_hd_194x110_to_3840x2160, kUltraHd, UpscalerInstructions::fastest)
    ->Unit(benchmark::kMicrosecond);
// Each instruction set alone, to see what the wider vectors buy.
BENCHMARK_CAPTURE(stretchScreen, full_hd_portable, kFullHd, UpscalerInstructions::portable)
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(stretchScreen, full_hd_sse2, kFullHd, UpscalerInstructions::sse2)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(stretchScreen, full_hd_avx2, kFullHd, UpscalerInstructions::avx2)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
