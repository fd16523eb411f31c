#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>

#include "pipeline/frame.h"

namespace tarvelo {

// The shape of a frame's bytes handed in from outside the capture stream (a
// recording, a fuzzer): pixels per row, rows, and bytes from one row to the
// next. The pipeline's integer zone arithmetic is sized for real displays and
// traps beyond them, so a layout is checked here, before any frame is made.
struct FrameLayout {
  std::int64_t width = 0;
  std::int64_t height = 0;
  std::int64_t bytesPerRow = 0;
};

// Far beyond any display this could capture, and far below anything that
// could overflow the zone arithmetic or a byte count.
inline constexpr std::int64_t kLargestFrameSide = 16384;
inline constexpr std::int64_t kLargestFrameBytes = kLargestFrameSide * kLargestFrameSide * 4;

// A layout or a byte buffer that cannot make a frame; what() is one line.
class InvalidFrame : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

// Throws InvalidFrame unless both sides are 1 to kLargestFrameSide pixels,
// rows are at least 4 × width bytes apart and the whole frame (height ×
// bytesPerRow bytes) is at most kLargestFrameBytes. Returns that byte count.
std::int64_t checkedFrameByteCount(const FrameLayout& layout);

// A view of `bytes` as a frame of `layout`; throws InvalidFrame unless the
// layout is valid and `bytes` holds exactly its byte count.
Frame frameOver(std::span<const std::uint8_t> bytes, const FrameLayout& layout);

}  // namespace tarvelo
