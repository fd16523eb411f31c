#include "capture/memory_frame_scaler.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <stdexcept>
#include <string>

namespace tarvelo {

namespace {

// The sums below read two pixels as one 64-bit word and take its bytes apart
// by position, which assumes the first byte in memory is the lowest.
static_assert(std::endian::native == std::endian::little, "the pixel sums assume a little-endian processor");

std::string sizeText(std::int64_t width, std::int64_t height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

void checkPicture(const MappedPicture& picture) {
  if (picture.bytes == nullptr) throw std::invalid_argument("a mapped picture needs pixels, got a null address");
  if (picture.width <= 0 || picture.height <= 0) {
    throw std::invalid_argument("a mapped picture needs a positive size, got " +
                                sizeText(picture.width, picture.height));
  }
  if (picture.width > MemoryFrameScaler::kMaxPictureSide || picture.height > MemoryFrameScaler::kMaxPictureSide) {
    throw std::invalid_argument("a mapped picture is at most " + std::to_string(MemoryFrameScaler::kMaxPictureSide) +
                                " pixels a side, got " + sizeText(picture.width, picture.height));
  }
  if (picture.bytesPerRow < 4 * picture.width) {
    throw std::invalid_argument("a mapped picture " + std::to_string(picture.width) + " pixels wide needs at least " +
                                std::to_string(4 * picture.width) + " bytes per row, got " +
                                std::to_string(picture.bytesPerRow));
  }
  std::int64_t lastRowStart = 0;
  if (__builtin_mul_overflow(picture.bytesPerRow, picture.height - 1, &lastRowStart)) {
    throw std::invalid_argument("a mapped picture of " + std::to_string(picture.height) + " rows of " +
                                std::to_string(picture.bytesPerRow) + " bytes cannot be addressed");
  }
}

// Where a span of `length` from `origin` ends, held at the largest value
// rather than wrapping.
std::int64_t spanEnd(std::int64_t origin, std::int64_t length) {
  std::int64_t end = 0;
  return __builtin_add_overflow(origin, length, &end) ? INT64_MAX : end;
}

PixelRect clipToPicture(const PixelRect& source, const MappedPicture& picture) {
  const std::int64_t left = std::max<std::int64_t>(source.x, 0);
  const std::int64_t top = std::max<std::int64_t>(source.y, 0);
  const std::int64_t right = std::min(spanEnd(source.x, source.width), picture.width);
  const std::int64_t bottom = std::min(spanEnd(source.y, source.height), picture.height);
  if (source.isEmpty() || left >= right || top >= bottom) {
    throw std::invalid_argument("the source rectangle " + sizeText(source.width, source.height) + " at " +
                                std::to_string(source.x) + "," + std::to_string(source.y) +
                                " has no pixel inside the " + sizeText(picture.width, picture.height) + " picture");
  }
  return PixelRect{left, top, right - left, bottom - top};
}

// The first pixel of each sample along one axis: the sample sits on the pixel
// corner nearest to where the plan's first pass puts it (an exact two-pixel
// average there), moved inwards where that would reach past the span.
std::vector<std::int64_t> samplePairStarts(std::int64_t count, double offset, double scale, std::int64_t origin,
                                           std::int64_t length) {
  std::vector<std::int64_t> starts(static_cast<std::size_t>(count));
  const std::int64_t lastStart = origin + std::max<std::int64_t>(length - 2, 0);
  for (std::int64_t index = 0; index < count; ++index) {
    const double centre = offset + scale * (static_cast<double>(index) + 0.5);
    const auto corner = static_cast<std::int64_t>(std::floor(centre + 0.5));
    starts[static_cast<std::size_t>(index)] = std::clamp(corner - 1, origin, lastStart);
  }
  return starts;
}

// Each lane of a summed word below holds 16 bits; a chunk adds at most
// 2 * kSamplesPerChunk bytes into one lane, 255 each, well under 65536.
constexpr std::int64_t kSamplesPerChunk = 64;
constexpr std::uint64_t kEvenBytes = 0x00FF00FF00FF00FFULL;

// The two pixels of a sample along a row: neighbours read as one word, or one
// pixel twice where the rectangle is a single pixel wide.
template <bool kNeighbours>
std::uint64_t loadPair(const std::uint8_t* pixel) {
  std::uint64_t pair = 0;
  if constexpr (kNeighbours) {
    std::memcpy(&pair, pixel, sizeof pair);
  } else {
    std::uint32_t single = 0;
    std::memcpy(&single, pixel, sizeof single);
    pair = single | (std::uint64_t{single} << 32);
  }
  return pair;
}

// Sums the samples of one output row into the sums of bytes 0, 1 and 2 of each
// of its pixels. `rows` holds the two pixel rows of each sample row, top then
// bottom. Bytes 0 and 2 of both pixels of a pair go to the four 16-bit lanes of
// one word, bytes 1 and 3 to another, so one addition sums four bytes. Every
// sample row of an output pixel is read before the next pixel, so the reads
// run along all the rows at once rather than one row after another.
template <bool kNeighbours>
void sumOutputRow(const std::uint8_t* const* rows, const std::uint8_t* const* nextRows, std::int64_t samplesY,
                  const std::size_t* columnOffsets, std::int64_t width, std::int64_t samplesX, std::uint64_t* sums) {
  for (std::int64_t u = 0; u < width; ++u) {
    const std::size_t* offsets = columnOffsets + u * samplesX;
    if (nextRows != nullptr) {
      for (std::int64_t row = 0; row < 2 * samplesY; ++row) {
        __builtin_prefetch(nextRows[row] + offsets[0]);
        __builtin_prefetch(nextRows[row] + offsets[samplesX - 1] + 4);
      }
    }
    std::uint64_t sum0 = 0;
    std::uint64_t sum1 = 0;
    std::uint64_t sum2 = 0;
    for (std::int64_t sampleRow = 0; sampleRow < samplesY; ++sampleRow) {
      const std::uint8_t* top = rows[2 * sampleRow];
      const std::uint8_t* bottom = rows[2 * sampleRow + 1];
      for (std::int64_t chunkStart = 0; chunkStart < samplesX; chunkStart += kSamplesPerChunk) {
        const std::int64_t chunkEnd = std::min(chunkStart + kSamplesPerChunk, samplesX);
        std::uint64_t even = 0;  // lanes: byte 0 and byte 2 of the left pixel, then of the right one
        std::uint64_t odd = 0;   // lanes: byte 1 and byte 3 likewise
        for (std::int64_t sample = chunkStart; sample < chunkEnd; ++sample) {
          const std::uint64_t upper = loadPair<kNeighbours>(top + offsets[sample]);
          const std::uint64_t lower = loadPair<kNeighbours>(bottom + offsets[sample]);
          even += (upper & kEvenBytes) + (lower & kEvenBytes);
          odd += ((upper >> 8) & kEvenBytes) + ((lower >> 8) & kEvenBytes);
        }
        sum0 += (even & 0xFFFF) + ((even >> 32) & 0xFFFF);
        sum2 += ((even >> 16) & 0xFFFF) + (even >> 48);
        sum1 += (odd & 0xFFFF) + ((odd >> 32) & 0xFFFF);
      }
    }
    sums[3 * u] = sum0;
    sums[3 * u + 1] = sum1;
    sums[3 * u + 2] = sum2;
  }
}

}  // namespace

MemoryFrameScaler::MemoryFrameScaler(std::int64_t width, std::int64_t height, std::int64_t samplesX,
                                     std::int64_t samplesY)
    : width_(width), height_(height), samplesX_(samplesX), samplesY_(samplesY) {
  if (width <= 0 || height <= 0 || width > kMaxPictureSide || height > kMaxPictureSide) {
    throw std::invalid_argument("a scaled frame needs a size from 1x1 to " + sizeText(kMaxPictureSide, kMaxPictureSide) +
                                ", got " + sizeText(width, height));
  }
  if (samplesX <= 0 || samplesY <= 0) {
    throw std::invalid_argument("a scaled frame needs at least one sample per pixel and axis, got " +
                                sizeText(samplesX, samplesY));
  }
  frame_.resize(static_cast<std::size_t>(width_ * height_ * 4));
  sums_.resize(static_cast<std::size_t>(width_ * 3));
}

void MemoryFrameScaler::prepare(const PixelRect& clipped) {
  // Asking for more samples than the rectangle has pixels changes nothing the
  // plan would not cut anyway, and keeps its products small.
  plan_ = planBoxDownscale(clipped, width_, height_, std::min(samplesX_, clipped.width),
                           std::min(samplesY_, clipped.height));
  const ScalePass& first = plan_.passes.front();
  const std::vector<std::int64_t> columns =
      samplePairStarts(first.width, first.offsetX, first.scaleX, clipped.x, clipped.width);
  sampleColumnOffsets_.resize(columns.size());
  std::transform(columns.begin(), columns.end(), sampleColumnOffsets_.begin(),
                 [](std::int64_t column) { return static_cast<std::size_t>(column) * 4; });
  sampleRows_ = samplePairStarts(first.height, first.offsetY, first.scaleY, clipped.y, clipped.height);
  hasNeighbourColumns_ = clipped.width > 1;
  secondRow_ = clipped.height > 1 ? 1 : 0;
  preparedSource_ = clipped;
  scaledPicture_.reset();
}

Frame MemoryFrameScaler::scale(const MappedPicture& picture, const PixelRect& source) {
  checkPicture(picture);
  const PixelRect clipped = clipToPicture(source, picture);
  if (preparedSource_ != clipped) prepare(clipped);
  scaleRows(picture, nullptr);
  scaledPicture_ = ScaledPicture{picture.width, picture.height, picture.order};
  return Frame{frame_.data(), width_, height_, width_ * 4};
}

std::optional<Frame> MemoryFrameScaler::rescale(const MappedPicture& picture, const PixelRect& source,
                                                std::span<const PixelRect> changed) {
  checkPicture(picture);
  const PixelRect clipped = clipToPicture(source, picture);
  if (preparedSource_ != clipped || scaledPicture_ != ScaledPicture{picture.width, picture.height, picture.order}) {
    return scale(picture, source);
  }
  // An output row reads the pixel rows from its first sample's top to its
  // last sample's bottom, and all of the rectangle's columns.
  const std::int64_t samplesY = plan_.samplesY;
  rowsToScale_.assign(static_cast<std::size_t>(height_), 0);
  bool isAnyRowChanged = false;
  for (const PixelRect& rectangle : changed) {
    if (rectangle.isEmpty() || !rectangle.intersects(clipped)) continue;
    const std::int64_t changeEnd = spanEnd(rectangle.y, rectangle.height);
    for (std::int64_t v = 0; v < height_; ++v) {
      const std::int64_t top = sampleRows_[static_cast<std::size_t>(v * samplesY)];
      const std::int64_t bottom = sampleRows_[static_cast<std::size_t>(v * samplesY + samplesY - 1)] + secondRow_;
      if (top < changeEnd && bottom >= rectangle.y) {
        rowsToScale_[static_cast<std::size_t>(v)] = 1;
        isAnyRowChanged = true;
      }
    }
  }
  if (!isAnyRowChanged) return std::nullopt;
  scaleRows(picture, &rowsToScale_);
  return Frame{frame_.data(), width_, height_, width_ * 4};
}

void MemoryFrameScaler::scaleRows(const MappedPicture& picture, const std::vector<char>* rowsToScale) {
  const std::int64_t samplesX = plan_.samplesX;
  const std::int64_t samplesY = plan_.samplesY;
  const std::uint64_t count = static_cast<std::uint64_t>(4 * samplesX * samplesY);
  const bool isRgb = picture.order == MemoryPixelOrder::rgbx || picture.order == MemoryPixelOrder::rgba;
  const std::size_t blueSum = isRgb ? 2 : 0;
  const std::size_t redSum = isRgb ? 0 : 2;

  // The pixel rows of every sample row of output row v, and of the row after.
  auto rowsOf = [&](std::int64_t v, const std::uint8_t** rows) {
    for (std::int64_t sample = 0; sample < samplesY; ++sample) {
      const std::int64_t row = sampleRows_[static_cast<std::size_t>(v * samplesY + sample)];
      rows[2 * sample] = picture.bytes + row * picture.bytesPerRow;
      rows[2 * sample + 1] = rows[2 * sample] + secondRow_ * picture.bytesPerRow;
    }
  };
  const auto samplesYSize = static_cast<std::size_t>(2 * samplesY);
  rowPointers_.resize(2 * samplesYSize);
  const std::uint8_t** rows = rowPointers_.data();
  const std::uint8_t** nextRows = rowPointers_.data() + samplesYSize;
  const auto isToScale = [&](std::int64_t v) {
    return rowsToScale == nullptr || (*rowsToScale)[static_cast<std::size_t>(v)] != 0;
  };
  rowsOf(0, rows);
  for (std::int64_t v = 0; v < height_; ++v) {
    const bool hasNext = v + 1 < height_;
    if (hasNext) rowsOf(v + 1, nextRows);
    if (!isToScale(v)) {
      std::swap(rows, nextRows);
      continue;
    }
    const std::uint8_t* const* prefetched = hasNext && isToScale(v + 1) ? nextRows : nullptr;
    if (hasNeighbourColumns_) {
      sumOutputRow<true>(rows, prefetched, samplesY, sampleColumnOffsets_.data(), width_, samplesX, sums_.data());
    } else {
      sumOutputRow<false>(rows, prefetched, samplesY, sampleColumnOffsets_.data(), width_, samplesX, sums_.data());
    }
    std::swap(rows, nextRows);
    std::uint8_t* out = frame_.data() + v * width_ * 4;
    for (std::int64_t u = 0; u < width_; ++u) {
      const std::uint64_t* pixelSums = sums_.data() + 3 * u;
      out[4 * u] = static_cast<std::uint8_t>((pixelSums[blueSum] + count / 2) / count);
      out[4 * u + 1] = static_cast<std::uint8_t>((pixelSums[1] + count / 2) / count);
      out[4 * u + 2] = static_cast<std::uint8_t>((pixelSums[redSum] + count / 2) / count);
      out[4 * u + 3] = 255;
    }
  }
}

}  // namespace tarvelo
