// Cost of scaling a picture a compositor shares in memory down to the capture's
// 160 x 100 frame, once per captured frame. Run with --benchmark_repetitions=9
// and read the medians.
#include <cstdint>
#include <optional>
#include <vector>

#include <benchmark/benchmark.h>

#include "capture/memory_frame_scaler.h"

namespace {

struct PictureCase {
  std::int64_t width;
  std::int64_t height;
  std::int64_t bytesPerRow;
  tarvelo::MemoryPixelOrder order;
  tarvelo::PixelRect source;
  std::int64_t samplesX;
  std::int64_t samplesY;
};

using tarvelo::MemoryPixelOrder;
using tarvelo::PixelRect;

constexpr PictureCase kUltraHd{3840, 2160, 3840 * 4, MemoryPixelOrder::bgrx, {0, 0, 3840, 2160}, 4, 2};
constexpr PictureCase kFullHd{1920, 1080, 1920 * 4, MemoryPixelOrder::bgrx, {0, 0, 1920, 1080}, 4, 2};
// A compositor's buffer with padded rows, in the other byte order.
constexpr PictureCase kUltraHdPaddedRgbx{3840, 2160, 3840 * 4 + 256, MemoryPixelOrder::rgbx, {0, 0, 3840, 2160}, 4, 2};
// A 2.39:1 film cropped out of the middle of a 4K picture.
constexpr PictureCase kUltraHdCrop{3840, 2160, 3840 * 4, MemoryPixelOrder::bgrx, {0, 276, 3840, 1608}, 4, 2};
// Sample grids other than the default, to see what each costs.
constexpr PictureCase kUltraHdOneSample{3840, 2160, 3840 * 4, MemoryPixelOrder::bgrx, {0, 0, 3840, 2160}, 1, 1};
constexpr PictureCase kUltraHdEightByTwo{3840, 2160, 3840 * 4, MemoryPixelOrder::bgrx, {0, 0, 3840, 2160}, 8, 2};

// A film-like picture: smooth ramps with grain, so no two samples agree.
std::vector<std::uint8_t> paintPicture(const PictureCase& picture) {
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(picture.bytesPerRow * picture.height));
  std::uint32_t noise = 1;
  for (std::int64_t y = 0; y < picture.height; ++y) {
    std::uint8_t* row = &bytes[static_cast<std::size_t>(y * picture.bytesPerRow)];
    for (std::int64_t x = 0; x < picture.width; ++x) {
      noise = noise * 1664525u + 1013904223u;
      const auto grain = static_cast<std::uint8_t>(noise >> 28);
      row[x * 4] = static_cast<std::uint8_t>(x * 200 / picture.width + grain);
      row[x * 4 + 1] = static_cast<std::uint8_t>(y * 200 / picture.height + grain);
      row[x * 4 + 2] = static_cast<std::uint8_t>(120 + grain);
      row[x * 4 + 3] = 255;
    }
  }
  return bytes;
}

void scalePicture(benchmark::State& state, PictureCase picture) {
  const std::vector<std::uint8_t> bytes = paintPicture(picture);
  const tarvelo::MappedPicture view{bytes.data(), picture.width, picture.height, picture.bytesPerRow, picture.order};
  tarvelo::MemoryFrameScaler scaler(160, 100, picture.samplesX, picture.samplesY);
  for (auto _ : state) {
    const tarvelo::Frame frame = scaler.scale(view, picture.source);
    benchmark::DoNotOptimize(frame.bytes);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations());
}

// A buffer the compositor has just filled comes from memory, not from this
// core's caches: a new picture every time, out of more pictures than the
// caches hold.
void scaleFreshPictures(benchmark::State& state, PictureCase picture) {
  constexpr std::size_t kPictures = 16;
  const std::vector<std::vector<std::uint8_t>> pictures(kPictures, paintPicture(picture));
  tarvelo::MemoryFrameScaler scaler(160, 100, picture.samplesX, picture.samplesY);
  std::size_t next = 0;
  for (auto _ : state) {
    const tarvelo::MappedPicture view{pictures[next].data(), picture.width, picture.height, picture.bytesPerRow,
                                      picture.order};
    const tarvelo::Frame frame = scaler.scale(view, picture.source);
    benchmark::DoNotOptimize(frame.bytes);
    benchmark::ClobberMemory();
    next = (next + 1) % kPictures;
  }
  state.SetItemsProcessed(state.iterations());
}

// Fresh pictures of which the compositor says only `changed` is new (a
// window of 200 x 200 pixels, or the whole picture): the rows it meets are
// read again.
void rescaleFreshPictures(benchmark::State& state, PictureCase picture, PixelRect changed) {
  constexpr std::size_t kPictures = 16;
  const std::vector<std::vector<std::uint8_t>> pictures(kPictures, paintPicture(picture));
  tarvelo::MemoryFrameScaler scaler(160, 100, picture.samplesX, picture.samplesY);
  const auto viewOf = [&](std::size_t index) {
    return tarvelo::MappedPicture{pictures[index].data(), picture.width, picture.height, picture.bytesPerRow,
                                  picture.order};
  };
  scaler.scale(viewOf(0), picture.source);
  const std::vector<PixelRect> changes{changed};
  std::size_t next = 1;
  for (auto _ : state) {
    const std::optional<tarvelo::Frame> frame = scaler.rescale(viewOf(next), picture.source, changes);
    benchmark::DoNotOptimize(frame);
    benchmark::ClobberMemory();
    next = (next + 1) % kPictures;
  }
  state.SetItemsProcessed(state.iterations());
}

BENCHMARK_CAPTURE(scaleFreshPictures, ultra_hd_3840x2160_4x2, kUltraHd)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(rescaleFreshPictures, ultra_hd_window_200x200_changed, kUltraHd, PixelRect{960, 540, 200, 200})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(rescaleFreshPictures, ultra_hd_all_changed, kUltraHd, PixelRect{0, 0, 3840, 2160})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(scaleFreshPictures, full_hd_1920x1080_4x2, kFullHd)->Unit(benchmark::kMicrosecond);
// The same picture again and again: what the scaling itself costs.
BENCHMARK_CAPTURE(scalePicture, ultra_hd_3840x2160_4x2, kUltraHd)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(scalePicture, full_hd_1920x1080_4x2, kFullHd)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(scalePicture, ultra_hd_padded_rgbx_4x2, kUltraHdPaddedRgbx)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(scalePicture, ultra_hd_film_crop_4x2, kUltraHdCrop)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(scalePicture, ultra_hd_1x1, kUltraHdOneSample)->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(scalePicture, ultra_hd_8x2, kUltraHdEightByTwo)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
