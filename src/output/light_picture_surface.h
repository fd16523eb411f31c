#pragma once

#include "output/light_upscaler.h"

namespace tarvelo {

// Where a PictureLightView's pictures go: a surface of its own that shows
// the light's small picture stretched over the whole of it.
class LightPictureSurface {
 public:
  virtual ~LightPictureSurface() = default;
  // The surface's size, in the units the light is laid out in.
  virtual int width() const = 0;
  virtual int height() const = 0;
  // Shows `picture` (see LightPicture: its one-texel rim lies just outside
  // the surface) stretched over the surface with a linear filter.
  virtual void showPicture(const RgbaPictureView& picture) = 0;
};

}  // namespace tarvelo
