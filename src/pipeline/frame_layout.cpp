#include "pipeline/frame_layout.h"

#include <string>

namespace tarvelo {
namespace {

std::string describe(const FrameLayout& layout) {
  return std::to_string(layout.width) + "x" + std::to_string(layout.height) + " with stride " +
         std::to_string(layout.bytesPerRow);
}

}  // namespace

std::int64_t checkedFrameByteCount(const FrameLayout& layout) {
  const std::string side = std::to_string(kLargestFrameSide);
  if (layout.width < 1 || layout.height < 1) {
    throw InvalidFrame("frame " + describe(layout) + " has no pixels: width and height must be at least 1");
  }
  if (layout.width > kLargestFrameSide || layout.height > kLargestFrameSide) {
    throw InvalidFrame("frame " + describe(layout) + " is larger than " + side + " x " + side + " pixels");
  }
  // Both sides are bounded now, so 4 × width cannot overflow.
  if (layout.bytesPerRow < layout.width * 4) {
    throw InvalidFrame("frame " + describe(layout) + " has a stride less than 4 x width (" +
                       std::to_string(layout.width * 4) + ")");
  }
  // Checked as a division so that a huge stride cannot overflow the product.
  if (layout.bytesPerRow > kLargestFrameBytes / layout.height) {
    throw InvalidFrame("frame " + describe(layout) + " is more than " + std::to_string(kLargestFrameBytes) +
                       " bytes (" + side + " x " + side + " pixels)");
  }
  return layout.bytesPerRow * layout.height;
}

Frame frameOver(std::span<const std::uint8_t> bytes, const FrameLayout& layout) {
  const std::int64_t needed = checkedFrameByteCount(layout);
  if (bytes.size() != static_cast<std::size_t>(needed)) {
    throw InvalidFrame("frame " + describe(layout) + " needs exactly " + std::to_string(needed) + " bytes, got " +
                       std::to_string(bytes.size()));
  }
  return Frame{bytes.data(), layout.width, layout.height, layout.bytesPerRow};
}

}  // namespace tarvelo
