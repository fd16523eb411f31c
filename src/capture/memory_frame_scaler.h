#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "capture/downscale_plan.h"
#include "capture/pixel_rect.h"
#include "pipeline/frame.h"

namespace tarvelo {

// The byte order of a 32-bit pixel in a picture a compositor shares; "x" bytes
// carry nothing.
enum class MemoryPixelOrder { bgrx, bgra, rgbx, rgba };

// A view of a full-size picture in memory (a mapped shared-memory buffer). It
// never owns the pixels. Row r starts at bytes + r * bytesPerRow; only the
// first 4 * width bytes of a row are pixels, so padding after them (and after
// the last row) is never read.
struct MappedPicture {
  const std::uint8_t* bytes = nullptr;
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t bytesPerRow = 0;
  MemoryPixelOrder order = MemoryPixelOrder::bgrx;
};

// Scales a rectangle of a picture in memory down to a small opaque BGRA frame
// whose every pixel is an area average of the part of the rectangle it covers.
// It reads only the pixels its samples need, never the whole picture, so a 4K
// picture costs what the small frame costs.
//
// The samples are those of the X11 capture's first pass (see DownscalePlan):
// samplesX x samplesY per output pixel, spread evenly over the area it covers,
// each the mean of the 2 x 2 pixels around the pixel corner nearest to where
// that pass would put it. An output pixel is the mean of all its samples,
// rounded once, so a flat colour comes out exactly. Samples never reach past
// the rectangle: a crop sees nothing of the picture around it.
//
// Not thread-safe: one thread at a time (the capture's delivery thread) uses it.
class MemoryFrameScaler {
 public:
  // No compositor shares a picture larger than this on a side; the bound keeps
  // every offset and sum far from overflow.
  static constexpr std::int64_t kMaxPictureSide = 65536;

  // width x height is the frame's size; samplesX x samplesY the 2 x 2 box
  // samples per output pixel and axis, as the X11 capture takes them (rounded
  // down to powers of two, fewer where the rectangle is too small to give each
  // its own pixels). Throws std::invalid_argument for a size or sample count
  // below 1 or a frame side above kMaxPictureSide.
  MemoryFrameScaler(std::int64_t width, std::int64_t height, std::int64_t samplesX, std::int64_t samplesY);

  // Scales `source` (picture coordinates; clipped to the picture) and returns a
  // view of the scaler's own frame, valid until the next call. The picture may
  // change its address, stride and byte order from one call to the next.
  // Throws std::invalid_argument for a picture without pixels, with a size
  // below 1 or above kMaxPictureSide, with fewer than 4 * width bytes per row,
  // or a rectangle with no pixel inside it.
  Frame scale(const MappedPicture& picture, const PixelRect& source);
  // As scale(), for a picture that differs from the one scaled last only
  // inside `changed` (picture coordinates, as a compositor reports damage):
  // only the output rows whose samples meet a changed rectangle are read
  // again, the others keep what the last call gave them. Returns none, and
  // reads nothing, when no changed rectangle meets the source rectangle. When
  // the last call scaled another rectangle, or a picture of another size or
  // byte order (or there was none), it scales everything, as scale() does.
  std::optional<Frame> rescale(const MappedPicture& picture, const PixelRect& source,
                               std::span<const PixelRect> changed);

  // The sample layout of the last scaled rectangle (empty before the first).
  const DownscalePlan& plan() const { return plan_; }

 private:
  // What the frame shows: a picture of this size and byte order, scaled from
  // the prepared rectangle.
  struct ScaledPicture {
    std::int64_t width = 0;
    std::int64_t height = 0;
    MemoryPixelOrder order = MemoryPixelOrder::bgrx;
    friend bool operator==(const ScaledPicture&, const ScaledPicture&) = default;
  };

  void prepare(const PixelRect& clipped);
  // Scales the output rows marked in rowsToScale (all of them without it).
  void scaleRows(const MappedPicture& picture, const std::vector<char>* rowsToScale);

  std::int64_t width_;
  std::int64_t height_;
  std::int64_t samplesX_;
  std::int64_t samplesY_;
  std::vector<std::uint8_t> frame_;

  // The layout below serves this clipped rectangle; it is laid out again only
  // when the rectangle changes.
  std::optional<PixelRect> preparedSource_;
  std::optional<ScaledPicture> scaledPicture_;  // none until a whole frame is scaled from the prepared rectangle
  std::vector<char> rowsToScale_;
  DownscalePlan plan_;
  // Byte offset within a row of the left pixel of each sample, width_ *
  // plan_.samplesX of them, output pixel by output pixel.
  std::vector<std::size_t> sampleColumnOffsets_;
  // Top row of each sample, height_ * plan_.samplesY of them, output row by
  // output row.
  std::vector<std::int64_t> sampleRows_;
  // A sample's second pixel is the next one along each axis, except where the
  // rectangle is a single pixel across: then it reads that pixel twice.
  bool hasNeighbourColumns_ = true;
  std::int64_t secondRow_ = 1;  // rows from a sample's first row to its second
  // Per output pixel of the row in progress: sums of bytes 0, 1 and 2.
  std::vector<std::uint64_t> sums_;
  // The pixel rows the samples of two output rows read.
  std::vector<const std::uint8_t*> rowPointers_;
};

}  // namespace tarvelo
