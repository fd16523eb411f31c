#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "output/ambient_gradient_model.h"

namespace tarvelo {

// A picture of opaque texels, bytes red, green, blue, alpha, rows `bytesPerLine` apart.
struct RgbaPictureView {
  const std::uint8_t* pixels = nullptr;
  int width = 0;
  int height = 0;
  std::ptrdiff_t bytesPerLine = 0;
};

// A 32-bit image whose pixels are native-endian 0xAARRGGBB words (Qt's
// Format_RGB32 / ARGB32_Premultiplied). `bytesPerLine` is a multiple of 4.
struct Argb32ImageView {
  std::uint32_t* pixels = nullptr;
  int width = 0;
  int height = 0;
  std::ptrdiff_t bytesPerLine = 0;
};

// The image pixels to write: columns [left, right), rows [top, bottom);
// clipped to the image.
struct PixelRegion {
  int left = 0;
  int top = 0;
  int right = 0;
  int bottom = 0;

  friend bool operator==(const PixelRegion&, const PixelRegion&) = default;
};

// The instructions a LightUpscaler blends with. All give bit-identical
// images; only the speed differs.
enum class UpscalerInstructions {
  // The fastest this processor runs.
  fastest,
  // Plain C++, for any processor.
  portable,
  // x86-64's baseline vector instructions.
  sse2,
  // 256-bit vectors, where the processor has them.
  avx2,
};

// Stretches the light's small picture over a 32-bit image the way a GPU's
// linear texture filter with clamp-to-edge does, for drawing without a GPU.
//
// The stretch is separable: each picture row that the region needs is
// expanded across once per call into a fixed-point row of the region's width,
// and every image row is then one blend of two expanded rows with a single
// weight, so the per-pixel work is a multiply and an add per channel. Every
// channel is within 1 (of 255) of the exact bilinear value rounded.
class LightUpscaler {
 public:
  // Requesting instructions the processor lacks is a programming error.
  explicit LightUpscaler(UpscalerInstructions instructions = UpscalerInstructions::fastest);

  // Whether this build on this processor can blend with `instructions`.
  static bool isAvailable(UpscalerInstructions instructions);

  // The instructions actually used (never `fastest`).
  UpscalerInstructions instructions() const { return instructions_; }

  // Writes every pixel of `region` (clipped to the image) with the picture
  // stretched over `placement` (where the whole picture lies on the image, in
  // image pixels; fractional, and it may reach beyond the image), sampled
  // bilinearly at pixel centres with clamp-to-edge, alpha 0xFF. Pixels outside the region are left as they
  // are. An empty picture, a placement without area (or not finite) or an
  // empty region writes nothing. Reuses its buffers: after the first call
  // for a given size it allocates nothing.
  void stretch(const RgbaPictureView& picture, const LightRect& placement, const Argb32ImageView& image,
               PixelRegion region);

 private:
  // Expands picture rows `row` and the one below it (clamped) into
  // upperRow_ and lowerRow_, reusing whichever is expanded already.
  void expandRowPair(const RgbaPictureView& picture, int row);
  void expandRow(const RgbaPictureView& picture, int row, std::vector<std::int16_t>& expanded);

  UpscalerInstructions instructions_;

  // Per texel of the row being expanded: its channels and the step to its
  // right-hand neighbour, in fixed point (see the source for the units).
  std::vector<std::int16_t> texelRamps_;
  // Per slot of an expanded row: which texel's ramp it starts from (as an
  // offset into texelRamps_) and how far along that ramp it lies.
  std::vector<std::int32_t> slotRampOffsets_;
  std::vector<std::int16_t> slotWeights_;
  int slotCount_ = 0;
  // The two picture rows the image rows are blended from, and which rows
  // they are; the lower one is unused when the picture ends at the upper.
  std::vector<std::int16_t> upperRow_;
  std::vector<std::int16_t> lowerRow_;
  int upperRowIndex_ = -1;
  int lowerRowIndex_ = -1;
  bool lowerIsUpper_ = false;
};

}  // namespace tarvelo
