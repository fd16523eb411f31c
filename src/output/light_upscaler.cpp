#include "output/light_upscaler.h"

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#define TARVELO_UPSCALER_SSE2 1
#if defined(__x86_64__) && (defined(__GNUC__) || defined(__clang__))
#include <immintrin.h>
#define TARVELO_UPSCALER_AVX2 1
#endif
#endif

#include "support/checked_arithmetic.h"
#include "support/fatal_error.h"

namespace tarvelo {

namespace {

// Fixed point. A texel's ramp holds its channels in 1/64ths (255 × 64 =
// 16320) and the step to its right-hand neighbour in 1/128ths (at most
// ±32640, still a signed 16-bit lane). Blend weights are fractions of 32768;
// the high half of a signed 16 × 16-bit product scales by weight / 65536,
// half the weight, which the doubled step makes up for. So an expanded value
// is channel × 64 + high(step × 128, weight), again in 1/64ths, and an image
// pixel blends two expanded values the same way: upper + 32 + high(2 ×
// (lower − upper), weight), shifted down to a byte, the 32 making the shift
// round to nearest. The two floors lose under 2/64 of a channel step in all,
// well inside the rounding that the 8-bit result allows.
constexpr int kFractionBits = 6;
constexpr int kChannelScale = 1 << kFractionBits;
constexpr int kStepScale = 2 * kChannelScale;
constexpr int kWeightOne = 1 << 15;
constexpr std::int16_t kRoundingHalf = kChannelScale / 2;
constexpr std::int16_t kOpaqueAlpha = 255 * kChannelScale;

// Each slot of an expanded row is one image pixel's blue, green, red and
// alpha lanes: the image's byte order, so a packed result is the pixel.
constexpr int kLanes = 4;
constexpr int kRampLanes = 2 * kLanes;
// Expanded rows come in blocks of 8 pixels (32 lanes).
constexpr int kBlockPixels = 8;
constexpr int kBlockLanes = kBlockPixels * kLanes;
constexpr int kBlockBytes = kBlockPixels * 4;
using SlotOrder = std::array<int, kBlockPixels>;
constexpr SlotOrder kPixelOrder = {0, 1, 2, 3, 4, 5, 6, 7};

// Image rows are blended in runs that share a pair of expanded rows, a strip
// of the pair held in registers while it is written down the run. Longer
// runs are split so that the rows being written stay few.
constexpr int kMaxRunRows = 32;
// Each row's weight repeated across a whole vector, ready to load.
constexpr int kWeightLanes = 16;

// Where a sample falls between texels: texel `index` blended with the next
// one by weight / kWeightOne.
struct TexelBlend {
  int index = 0;
  int weight = 0;
};

// The texel coordinate of an image pixel's centre along one axis, where
// texel k's centre is at k.
double texelPosition(int pixel, double placementStart, double placementLength, int texelCount) {
  return (pixel + 0.5 - placementStart) / placementLength * texelCount - 0.5;
}

// Clamping to the edge makes every position up to the first texel's centre
// the first texel alone, and every one from the last texel's centre on the
// last alone; the last texel's ramp has no step, so its weight is moot.
TexelBlend texelBlendAt(double position, int texelCount) {
  if (!(position > 0.0)) return {0, 0};
  if (position >= static_cast<double>(texelCount - 1)) return {texelCount - 1, 0};
  // Positive and below an int here, so truncating is the floor, and adding
  // a half before truncating rounds to nearest.
  const int index = static_cast<int>(position);
  const int weight = static_cast<int>((position - index) * kWeightOne + 0.5);
  // A weight that rounds to a whole texel is the next texel alone.
  if (weight == kWeightOne) return {index + 1, 0};
  return {index, weight};
}

// The high half of a signed 16 × 16-bit product. Kept to 16-bit operands so
// that a vectorizing compiler finds its multiply-high instruction.
std::int16_t highProduct(std::int16_t value, std::int16_t weight) {
  return static_cast<std::int16_t>((static_cast<std::int32_t>(value) * weight) >> 16);
}

// Image rows blended from the same two expanded rows.
struct RowRun {
  const std::int16_t* upper = nullptr;
  const std::int16_t* lower = nullptr;
  // kWeightLanes copies of each row's weight, row after row.
  const std::int16_t* weightLanes = nullptr;
  int rowCount = 0;
  int pixelCount = 0;
  // The run's first pixel in its first row.
  std::uint8_t* pixels = nullptr;
  std::ptrdiff_t bytesPerLine = 0;
};

struct UpscalerKernels {
  // How the pixels of a block lie in an expanded row.
  SlotOrder slotOrder;
  // expanded[slot] = ramp start + high(ramp step, weight), per lane.
  void (*expandRow)(const std::int16_t* ramps, const std::int32_t* rampOffsets, const std::int16_t* weights,
                    int slotCount, std::int16_t* expanded);
  void (*blendRun)(const RowRun& run);
};

void expandRowPortable(const std::int16_t* ramps, const std::int32_t* rampOffsets, const std::int16_t* weights,
                       int slotCount, std::int16_t* expanded) {
  for (int slot = 0; slot < slotCount; ++slot) {
    const std::int16_t* ramp = ramps + rampOffsets[slot];
    const std::int16_t* weight = weights + slot * kLanes;
    std::int16_t* out = expanded + slot * kLanes;
    for (int lane = 0; lane < kLanes; ++lane) {
      out[lane] = static_cast<std::int16_t>(ramp[lane] + highProduct(ramp[kLanes + lane], weight[lane]));
    }
  }
}

std::uint8_t blendedByte(std::int16_t upper, std::int16_t lower, std::int16_t weight) {
  const auto slope = static_cast<std::int16_t>(2 * (lower - upper));
  return static_cast<std::uint8_t>((upper + kRoundingHalf + highProduct(slope, weight)) >> kFractionBits);
}

// Blends a block at a time into a buffer of its own: a loop of a fixed
// length that writes nothing the rows could alias is one a compiler's
// cheapest vectorization takes on.
void blendRunPortable(const RowRun& run) {
  std::uint8_t* row = run.pixels;
  for (int index = 0; index < run.rowCount; ++index, row += run.bytesPerLine) {
    const std::int16_t weight = run.weightLanes[index * kWeightLanes];
    for (int firstPixel = 0; firstPixel < run.pixelCount; firstPixel += kBlockPixels) {
      const std::int16_t* upper = run.upper + firstPixel * kLanes;
      const std::int16_t* lower = run.lower + firstPixel * kLanes;
      std::array<std::uint8_t, kBlockLanes> bytes;
      for (int lane = 0; lane < kBlockLanes; ++lane) bytes[lane] = blendedByte(upper[lane], lower[lane], weight);
      const int pixelCount = std::min(kBlockPixels, run.pixelCount - firstPixel);
      std::uint8_t* out = row + firstPixel * 4;
      if constexpr (std::endian::native == std::endian::little) {
        // The lanes are the pixels' bytes in memory order.
        if (pixelCount == kBlockPixels) {
          std::memcpy(out, bytes.data(), kBlockBytes);
        } else {
          std::memcpy(out, bytes.data(), static_cast<std::size_t>(pixelCount) * 4);
        }
      } else {
        for (int pixel = 0; pixel < pixelCount; ++pixel) {
          std::uint32_t word = 0;
          for (int lane = 0; lane < kLanes; ++lane) {
            word |= static_cast<std::uint32_t>(bytes[pixel * kLanes + lane]) << (8 * lane);
          }
          std::memcpy(out + pixel * 4, &word, 4);
        }
      }
    }
  }
}

constexpr UpscalerKernels kPortableKernels{kPixelOrder, expandRowPortable, blendRunPortable};

#if defined(TARVELO_UPSCALER_SSE2)

// Packing 16-bit lanes to bytes works within 128-bit halves of a 256-bit
// vector. Stored in this order, a block packs into pixel order from two
// 256-bit vectors as well as from pairs of 128-bit ones.
constexpr SlotOrder kPackOrder = {0, 1, 4, 5, 2, 3, 6, 7};

__m128i load128(const std::int16_t* lanes) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(lanes)); }
void store128(std::uint8_t* bytes, __m128i value) { _mm_storeu_si128(reinterpret_cast<__m128i*>(bytes), value); }

void expandRowSse2(const std::int16_t* ramps, const std::int32_t* rampOffsets, const std::int16_t* weights,
                   int slotCount, std::int16_t* expanded) {
  // Two slots per vector; a ramp is 128 bits, its start then its step.
  for (int slot = 0; slot < slotCount; slot += 2) {
    const __m128i first = load128(ramps + rampOffsets[slot]);
    const __m128i second = load128(ramps + rampOffsets[slot + 1]);
    const __m128i start = _mm_unpacklo_epi64(first, second);
    const __m128i step = _mm_unpackhi_epi64(first, second);
    const __m128i weight = load128(weights + slot * kLanes);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(expanded + slot * kLanes),
                     _mm_add_epi16(start, _mm_mulhi_epi16(step, weight)));
  }
}

// A pair's base (upper + rounding half) and slope (2 × (lower − upper)).
struct PairSse2 {
  __m128i base;
  __m128i slope;
};

PairSse2 loadPairSse2(const RowRun& run, int lane) {
  const __m128i upper = load128(run.upper + lane);
  const __m128i difference = _mm_sub_epi16(load128(run.lower + lane), upper);
  return {_mm_add_epi16(upper, _mm_set1_epi16(kRoundingHalf)), _mm_add_epi16(difference, difference)};
}

__m128i blendSse2(const PairSse2& pair, __m128i weight) {
  return _mm_srli_epi16(_mm_add_epi16(pair.base, _mm_mulhi_epi16(pair.slope, weight)), kFractionBits);
}

// One block of the pair, pixels 0-1, 4-5, 2-3 and 6-7 as stored.
struct BlockSse2 {
  PairSse2 pixels01;
  PairSse2 pixels45;
  PairSse2 pixels23;
  PairSse2 pixels67;
};

BlockSse2 loadBlockSse2(const RowRun& run, int block) {
  const int lane = block * kBlockLanes;
  return {loadPairSse2(run, lane), loadPairSse2(run, lane + 8), loadPairSse2(run, lane + 16),
          loadPairSse2(run, lane + 24)};
}

// One row of a block, in pixel order.
struct BlockPixelsSse2 {
  __m128i pixels0123;
  __m128i pixels4567;
};

BlockPixelsSse2 blendBlockSse2(const BlockSse2& block, const std::int16_t* weightLanes) {
  const __m128i weight = load128(weightLanes);
  return {_mm_packus_epi16(blendSse2(block.pixels01, weight), blendSse2(block.pixels23, weight)),
          _mm_packus_epi16(blendSse2(block.pixels45, weight), blendSse2(block.pixels67, weight))};
}

// The block stays in registers down the run: nothing in this loop may call
// out, or the compiler keeps it on the stack instead. The run's fields are
// copied for the same reason: the stores could alias them.
void blendWholeBlockSse2(const RowRun& run, int block) {
  const BlockSse2 pair = loadBlockSse2(run, block);
  const std::int16_t* weightLanes = run.weightLanes;
  const std::int16_t* lastWeightLanes = weightLanes + run.rowCount * kWeightLanes;
  const std::ptrdiff_t bytesPerLine = run.bytesPerLine;
  std::uint8_t* out = run.pixels + block * kBlockBytes;
  for (; weightLanes != lastWeightLanes; weightLanes += kWeightLanes, out += bytesPerLine) {
    const BlockPixelsSse2 pixels = blendBlockSse2(pair, weightLanes);
    store128(out, pixels.pixels0123);
    store128(out + 16, pixels.pixels4567);
  }
}

// The block that runs past the region, of which only `pixelCount` pixels are stored.
void blendPartBlockSse2(const RowRun& run, int block, int pixelCount) {
  const BlockSse2 pair = loadBlockSse2(run, block);
  std::uint8_t* out = run.pixels + block * kBlockBytes;
  for (int row = 0; row < run.rowCount; ++row, out += run.bytesPerLine) {
    const BlockPixelsSse2 pixels = blendBlockSse2(pair, run.weightLanes + row * kWeightLanes);
    std::array<std::uint8_t, kBlockBytes> bytes{};
    store128(bytes.data(), pixels.pixels0123);
    store128(bytes.data() + 16, pixels.pixels4567);
    std::memcpy(out, bytes.data(), static_cast<std::size_t>(pixelCount) * 4);
  }
}

void blendRunSse2(const RowRun& run) {
  const int wholeBlocks = run.pixelCount / kBlockPixels;
  for (int block = 0; block < wholeBlocks; ++block) blendWholeBlockSse2(run, block);
  const int tailPixels = run.pixelCount % kBlockPixels;
  if (tailPixels != 0) blendPartBlockSse2(run, wholeBlocks, tailPixels);
}

constexpr UpscalerKernels kSse2Kernels{kPackOrder, expandRowSse2, blendRunSse2};

#endif

#if defined(TARVELO_UPSCALER_AVX2)

__attribute__((target("avx2"))) __m256i load256(const std::int16_t* lanes) {
  return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(lanes));
}

__attribute__((target("avx2"))) void expandRowAvx2(const std::int16_t* ramps, const std::int32_t* rampOffsets,
                                                   const std::int16_t* weights, int slotCount,
                                                   std::int16_t* expanded) {
  // Four slots per vector. Unpacking works within 128-bit halves, so slots
  // 0 and 2 share one vector and 1 and 3 the other.
  for (int slot = 0; slot < slotCount; slot += 4) {
    const __m256i slots02 = _mm256_inserti128_si256(_mm256_castsi128_si256(load128(ramps + rampOffsets[slot])),
                                                    load128(ramps + rampOffsets[slot + 2]), 1);
    const __m256i slots13 = _mm256_inserti128_si256(_mm256_castsi128_si256(load128(ramps + rampOffsets[slot + 1])),
                                                    load128(ramps + rampOffsets[slot + 3]), 1);
    const __m256i start = _mm256_unpacklo_epi64(slots02, slots13);
    const __m256i step = _mm256_unpackhi_epi64(slots02, slots13);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(expanded + slot * kLanes),
                        _mm256_add_epi16(start, _mm256_mulhi_epi16(step, load256(weights + slot * kLanes))));
  }
}

__attribute__((target("avx2"))) void store256(std::uint8_t* bytes, __m256i value) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(bytes), value);
}

struct PairAvx2 {
  __m256i base;
  __m256i slope;
};

__attribute__((target("avx2"))) PairAvx2 loadPairAvx2(const RowRun& run, int lane) {
  const __m256i upper = load256(run.upper + lane);
  const __m256i difference = _mm256_sub_epi16(load256(run.lower + lane), upper);
  return {_mm256_add_epi16(upper, _mm256_set1_epi16(kRoundingHalf)), _mm256_add_epi16(difference, difference)};
}

__attribute__((target("avx2"))) __m256i blendAvx2(const PairAvx2& pair, __m256i weight) {
  return _mm256_srli_epi16(_mm256_add_epi16(pair.base, _mm256_mulhi_epi16(pair.slope, weight)), kFractionBits);
}

// One block of the pair, pixels 0, 1, 4, 5 then 2, 3, 6, 7 as stored.
struct BlockAvx2 {
  PairAvx2 pixels0145;
  PairAvx2 pixels2367;
};

__attribute__((target("avx2"))) BlockAvx2 loadBlockAvx2(const RowRun& run, int block) {
  const int lane = block * kBlockLanes;
  return {loadPairAvx2(run, lane), loadPairAvx2(run, lane + 16)};
}

// Pixels 0-7 of one row.
__attribute__((target("avx2"))) __m256i blendBlockAvx2(const BlockAvx2& block, __m256i weight) {
  return _mm256_packus_epi16(blendAvx2(block.pixels0145, weight), blendAvx2(block.pixels2367, weight));
}

// How a blend writes its pixels: through the cache, or around it. The image
// is a full screen, larger than the caches, and is read next by the display
// server, not by this process: filling the cache with it first only reads each
// line in before overwriting it and pushes it to the other core afterwards.
// Streaming whole, aligned cache lines around it makes the stretch about a
// tenth faster alone (tarvelo-light-upscaler-bench) and about a quarter faster
// in the running program on the X11 rig, where the server copies each image out.
enum class Stores { cached, streamed };

template <Stores stores>
__attribute__((target("avx2"))) void storeLine256(std::uint8_t* bytes, __m256i value) {
  if constexpr (stores == Stores::streamed) {
    _mm256_stream_si256(reinterpret_cast<__m256i*>(bytes), value);
  } else {
    store256(bytes, value);
  }
}

// Two blocks, a cache line of pixels, down the run. As with 128 bits, the
// blocks stay in registers only if the loop calls nothing and reads no field
// of the run.
template <Stores stores>
__attribute__((target("avx2"))) void blendTwoBlocksAvx2(const RowRun& run, int block) {
  const BlockAvx2 first = loadBlockAvx2(run, block);
  const BlockAvx2 second = loadBlockAvx2(run, block + 1);
  const std::int16_t* weightLanes = run.weightLanes;
  const std::int16_t* lastWeightLanes = weightLanes + run.rowCount * kWeightLanes;
  const std::ptrdiff_t bytesPerLine = run.bytesPerLine;
  std::uint8_t* out = run.pixels + block * kBlockBytes;
  for (; weightLanes != lastWeightLanes; weightLanes += kWeightLanes, out += bytesPerLine) {
    const __m256i weight = load256(weightLanes);
    storeLine256<stores>(out, blendBlockAvx2(first, weight));
    storeLine256<stores>(out + kBlockBytes, blendBlockAvx2(second, weight));
  }
}

__attribute__((target("avx2"))) void blendWholeBlockAvx2(const RowRun& run, int block) {
  const BlockAvx2 pair = loadBlockAvx2(run, block);
  const std::int16_t* weightLanes = run.weightLanes;
  const std::int16_t* lastWeightLanes = weightLanes + run.rowCount * kWeightLanes;
  const std::ptrdiff_t bytesPerLine = run.bytesPerLine;
  std::uint8_t* out = run.pixels + block * kBlockBytes;
  for (; weightLanes != lastWeightLanes; weightLanes += kWeightLanes, out += bytesPerLine) {
    store256(out, blendBlockAvx2(pair, load256(weightLanes)));
  }
}

// The block that runs past the region, of which only `pixelCount` pixels are stored.
__attribute__((target("avx2"))) void blendPartBlockAvx2(const RowRun& run, int block, int pixelCount) {
  const BlockAvx2 pair = loadBlockAvx2(run, block);
  std::uint8_t* out = run.pixels + block * kBlockBytes;
  for (int row = 0; row < run.rowCount; ++row, out += run.bytesPerLine) {
    std::array<std::uint8_t, kBlockBytes> bytes{};
    store256(bytes.data(), blendBlockAvx2(pair, load256(run.weightLanes + row * kWeightLanes)));
    std::memcpy(out, bytes.data(), static_cast<std::size_t>(pixelCount) * 4);
  }
}

__attribute__((target("avx2"))) void blendRunAvx2(const RowRun& run) {
  const int wholeBlocks = run.pixelCount / kBlockPixels;
  int block = 0;
  const bool linesAligned = reinterpret_cast<std::uintptr_t>(run.pixels) % 64 == 0 && run.bytesPerLine % 64 == 0;
  if (linesAligned) {
    for (; block + 2 <= wholeBlocks; block += 2) blendTwoBlocksAvx2<Stores::streamed>(run, block);
    // Streamed stores are weakly ordered: they must all be out before
    // whoever shows the image is told to read it.
    _mm_sfence();
  }
  for (; block + 2 <= wholeBlocks; block += 2) blendTwoBlocksAvx2<Stores::cached>(run, block);
  if (block < wholeBlocks) blendWholeBlockAvx2(run, block);
  const int tailPixels = run.pixelCount % kBlockPixels;
  if (tailPixels != 0) blendPartBlockAvx2(run, wholeBlocks, tailPixels);
}

constexpr UpscalerKernels kAvx2Kernels{kPackOrder, expandRowAvx2, blendRunAvx2};

#endif

const UpscalerKernels& kernelsFor(UpscalerInstructions instructions) {
  switch (instructions) {
#if defined(TARVELO_UPSCALER_SSE2)
    case UpscalerInstructions::sse2:
      return kSse2Kernels;
#endif
#if defined(TARVELO_UPSCALER_AVX2)
    case UpscalerInstructions::avx2:
      return kAvx2Kernels;
#endif
    case UpscalerInstructions::portable:
      return kPortableKernels;
    default:
      fatalError("light upscaler: instructions not available");
  }
}

bool processorHasAvx2() {
#if defined(TARVELO_UPSCALER_AVX2)
  __builtin_cpu_init();
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

int toInt(std::int64_t value) {
  if (value > INT_MAX) fatalError("light upscaler: size out of range");
  return static_cast<int>(value);
}

}  // namespace

bool LightUpscaler::isAvailable(UpscalerInstructions instructions) {
  switch (instructions) {
    case UpscalerInstructions::fastest:
    case UpscalerInstructions::portable:
      return true;
    case UpscalerInstructions::sse2:
#if defined(TARVELO_UPSCALER_SSE2)
      return true;
#else
      return false;
#endif
    case UpscalerInstructions::avx2:
      return processorHasAvx2();
  }
  return false;
}

LightUpscaler::LightUpscaler(UpscalerInstructions instructions) : instructions_(instructions) {
  if (instructions_ == UpscalerInstructions::fastest) {
    instructions_ = isAvailable(UpscalerInstructions::avx2)   ? UpscalerInstructions::avx2
                    : isAvailable(UpscalerInstructions::sse2) ? UpscalerInstructions::sse2
                                                              : UpscalerInstructions::portable;
  }
  if (!isAvailable(instructions_)) fatalError("light upscaler: instructions not available on this processor");
}

void LightUpscaler::stretch(const RgbaPictureView& picture, const LightRect& placement,
                            const Argb32ImageView& image, PixelRegion region) {
  const int left = std::max(region.left, 0);
  const int top = std::max(region.top, 0);
  const int right = std::min(region.right, image.width);
  const int bottom = std::min(region.bottom, image.height);
  if (left >= right || top >= bottom) return;
  if (picture.width <= 0 || picture.height <= 0) return;
  const bool placementIsFinite = std::isfinite(placement.x) && std::isfinite(placement.y) &&
                                 std::isfinite(placement.width) && std::isfinite(placement.height);
  if (!placementIsFinite || !(placement.width > 0.0) || !(placement.height > 0.0)) return;

  if (picture.pixels == nullptr) fatalError("light upscaler: picture without pixels");
  if (picture.bytesPerLine < checkedMul(picture.width, 4)) fatalError("light upscaler: picture rows overlap");
  if (image.pixels == nullptr) fatalError("light upscaler: image without pixels");
  if (image.bytesPerLine < checkedMul(image.width, 4) || image.bytesPerLine % 4 != 0) {
    fatalError("light upscaler: image rows overlap or are not whole pixels");
  }

  const UpscalerKernels& kernels = kernelsFor(instructions_);
  const int regionWidth = right - left;
  const std::int64_t blockCount = regionWidth / kBlockPixels + (regionWidth % kBlockPixels != 0 ? 1 : 0);
  slotCount_ = toInt(checkedMul(blockCount, kBlockPixels));
  const auto lanes = static_cast<std::size_t>(toInt(checkedMul(slotCount_, kLanes)));

  texelRamps_.resize(static_cast<std::size_t>(toInt(checkedMul(picture.width, kRampLanes))));
  slotRampOffsets_.resize(static_cast<std::size_t>(slotCount_));
  slotWeights_.resize(lanes);
  upperRow_.resize(lanes);
  lowerRow_.resize(lanes);

  // The slots past the region's right edge repeat its last pixel; they are
  // expanded with their block but never written.
  for (int slot = 0; slot < slotCount_; ++slot) {
    const int block = slot / kBlockPixels;
    const int pixel = std::min(block * kBlockPixels + kernels.slotOrder[slot % kBlockPixels], regionWidth - 1);
    const TexelBlend blend =
        texelBlendAt(texelPosition(left + pixel, placement.x, placement.width, picture.width), picture.width);
    slotRampOffsets_[static_cast<std::size_t>(slot)] = blend.index * kRampLanes;
    std::fill_n(slotWeights_.begin() + slot * kLanes, kLanes, static_cast<std::int16_t>(blend.weight));
  }

  const auto rowBlendAt = [&](int y) {
    return texelBlendAt(texelPosition(y, placement.y, placement.height, picture.height), picture.height);
  };
  // The picture is new with every call: nothing expanded before is valid.
  upperRowIndex_ = lowerRowIndex_ = -1;
  alignas(32) std::array<std::int16_t, kMaxRunRows * kWeightLanes> weightLanes;
  auto* imageBytes = reinterpret_cast<std::uint8_t*>(image.pixels);
  TexelBlend blend = rowBlendAt(top);
  for (int y = top; y < bottom;) {
    const int pairRow = blend.index;
    expandRowPair(picture, pairRow);
    int rowCount = 0;
    do {
      std::fill_n(weightLanes.begin() + rowCount * kWeightLanes, kWeightLanes,
                  static_cast<std::int16_t>(blend.weight));
      ++rowCount;
      if (y + rowCount < bottom) blend = rowBlendAt(y + rowCount);
    } while (y + rowCount < bottom && rowCount < kMaxRunRows && blend.index == pairRow);

    RowRun run;
    run.upper = upperRow_.data();
    run.lower = lowerIsUpper_ ? upperRow_.data() : lowerRow_.data();
    run.weightLanes = weightLanes.data();
    run.rowCount = rowCount;
    run.pixelCount = regionWidth;
    run.pixels = imageBytes + y * image.bytesPerLine + std::ptrdiff_t{4} * left;
    run.bytesPerLine = image.bytesPerLine;
    kernels.blendRun(run);
    y += rowCount;
  }
}

void LightUpscaler::expandRowPair(const RgbaPictureView& picture, int row) {
  const int below = std::min(row + 1, picture.height - 1);
  // Walking down the image, the lower row of one pair is the upper of the next.
  if (lowerRowIndex_ == row) {
    std::swap(upperRow_, lowerRow_);
    std::swap(upperRowIndex_, lowerRowIndex_);
  }
  if (upperRowIndex_ != row) {
    expandRow(picture, row, upperRow_);
    upperRowIndex_ = row;
  }
  lowerIsUpper_ = below == row;
  if (!lowerIsUpper_ && lowerRowIndex_ != below) {
    expandRow(picture, below, lowerRow_);
    lowerRowIndex_ = below;
  }
}

void LightUpscaler::expandRow(const RgbaPictureView& picture, int row, std::vector<std::int16_t>& expanded) {
  const std::uint8_t* texels = picture.pixels + row * picture.bytesPerLine;
  // Alpha is opaque whatever the picture says: the image is drawn as is.
  for (int column = 0; column < picture.width; ++column) {
    const std::uint8_t* texel = texels + 4 * column;
    const std::uint8_t* next = column + 1 < picture.width ? texel + 4 : texel;
    std::int16_t* ramp = texelRamps_.data() + column * kRampLanes;
    for (int lane = 0; lane < 3; ++lane) {
      // Lanes are blue, green, red: the picture's bytes in reverse.
      const int channel = 2 - lane;
      ramp[lane] = static_cast<std::int16_t>(texel[channel] * kChannelScale);
      ramp[kLanes + lane] = static_cast<std::int16_t>((next[channel] - texel[channel]) * kStepScale);
    }
    ramp[3] = kOpaqueAlpha;
    ramp[kLanes + 3] = 0;
  }
  kernelsFor(instructions_)
      .expandRow(texelRamps_.data(), slotRampOffsets_.data(), slotWeights_.data(), slotCount_, expanded.data());
}

}  // namespace tarvelo
