#pragma once

#include <cstdint>

namespace tarvelo {

// A rectangle of whole pixels in root-window coordinates (origin at the top-left
// of the screen, y growing downward).
struct PixelRect {
  std::int64_t x = 0;
  std::int64_t y = 0;
  std::int64_t width = 0;
  std::int64_t height = 0;

  bool isEmpty() const { return width <= 0 || height <= 0; }

  // True when the two share at least one pixel.
  bool intersects(const PixelRect& other) const {
    if (isEmpty() || other.isEmpty()) return false;
    return x < other.x + other.width && other.x < x + width && y < other.y + other.height &&
           other.y < y + height;
  }

  friend bool operator==(const PixelRect&, const PixelRect&) = default;
};

}  // namespace tarvelo
