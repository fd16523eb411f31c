#pragma once

#include <cstdint>
#include <vector>

#include "capture/pixel_rect.h"
#include "pipeline/frame.h"

namespace tarvelo {

// The byte order of a 32-bit pixel in a picture a compositor shares; "x" bytes
// carry nothing.
enum class MemoryPixelOrder { bgrx, bgra, rgbx, rgba };

// A view of a full-size picture in memory (a mapped shared-memory buffer). It
// never owns the pixels.
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
// Not thread-safe: one thread at a time (the capture's delivery thread) uses it.
class MemoryFrameScaler {
 public:
  // width x height is the frame's size; samplesX x samplesY the 2 x 2 box
  // samples per output pixel and axis, as the X11 capture takes them.
  MemoryFrameScaler(std::int64_t width, std::int64_t height, std::int64_t samplesX, std::int64_t samplesY);

  // Scales `source` (picture coordinates; clipped to the picture) and returns a
  // view of the scaler's own frame, valid until the next call. Throws
  // std::invalid_argument for a picture without pixels or a rectangle outside it.
  Frame scale(const MappedPicture& picture, const PixelRect& source);

 private:
  std::int64_t width_;
  std::int64_t height_;
  std::int64_t samplesX_;
  std::int64_t samplesY_;
  std::vector<std::uint8_t> frame_;
};

}  // namespace tarvelo
