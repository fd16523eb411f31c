#pragma once

#include <cstdint>

namespace tarvelo {

// A view of one captured picture: 32-bit BGRA pixels (bytes B, G, R, A), row 0
// at the top, `bytesPerRow` bytes from one row to the next (at least 4 × width).
// It never owns the pixels; the producer keeps them alive while the view is in
// use. `bytes` is null when the platform handed over a frame without memory.
struct Frame {
  const std::uint8_t* bytes = nullptr;
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t bytesPerRow = 0;
};

}  // namespace tarvelo
