#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "pipeline/frame.h"

namespace tarvelo::testing {

struct Bgr {
  std::uint8_t blue = 0;
  std::uint8_t green = 0;
  std::uint8_t red = 0;
};

// A BGRA picture that owns its bytes. The buffer ends right after the last
// pixel of the last row (padding only between rows), so the sanitizers catch
// any read past the frame.
class TestFrame {
 public:
  TestFrame(std::int64_t width, std::int64_t height, std::int64_t bytesPerRow = 0)
      : width_(width), height_(height), bytesPerRow_(bytesPerRow > 0 ? bytesPerRow : width * 4) {
    const std::int64_t size = height > 0 && width > 0 ? bytesPerRow_ * (height - 1) + width * 4 : 0;
    bytes_.assign(static_cast<std::size_t>(size), 0xEE);  // padding holds junk, never black
    fill(Bgr{});
  }

  void set(std::int64_t x, std::int64_t y, Bgr colour, std::uint8_t alpha = 0xFF) {
    std::uint8_t* pixel = bytes_.data() + y * bytesPerRow_ + x * 4;
    pixel[0] = colour.blue;
    pixel[1] = colour.green;
    pixel[2] = colour.red;
    pixel[3] = alpha;
  }

  void fill(Bgr colour) { fillRows(0, height_, colour); }

  void fillRows(std::int64_t firstRow, std::int64_t endRow, Bgr colour) {
    for (std::int64_t y = firstRow; y < endRow; ++y) {
      for (std::int64_t x = 0; x < width_; ++x) set(x, y, colour);
    }
  }

  std::uint8_t* row(std::int64_t y) { return bytes_.data() + y * bytesPerRow_; }

  Frame frame() const { return Frame{bytes_.empty() ? nullptr : bytes_.data(), width_, height_, bytesPerRow_}; }

 private:
  std::int64_t width_;
  std::int64_t height_;
  std::int64_t bytesPerRow_;
  std::vector<std::uint8_t> bytes_;
};

}  // namespace tarvelo::testing
