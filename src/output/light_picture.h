#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "output/ambient_gradient_model.h"
#include "output/gaussian_blur.h"
#include "output/light_rasterizer.h"

namespace tarvelo {

// How finely the light is drawn before the GPU scales it to the view.
enum class LightResolution {
  // Texels about a third of the blur's standard deviation wide: the blurred
  // light has no detail finer than that, so scaling it up with linear
  // filtering gives the same picture at a small fraction of the work.
  reduced,
  // One texel per view unit: the reference the reduced picture is checked against.
  full,
};

// The blurred ambient light as a small opaque RGBA picture: the model's
// layers drawn into its container, the container blurred as a whole by a
// Gaussian whose standard deviation is the model's blur radius, over opaque
// black. The picture covers the view plus one texel on every side, so that a
// linear-filtered scale-up has a real neighbour to blend with at the view's
// edges; texel k (of either axis) is centred at (k − 0.5) × texel size in
// view coordinates.
//
// layout() does the geometry work (on a size or blur change); render() is the
// per-frame part and allocates nothing.
class LightPicture {
 public:
  // Texels per standard deviation of the blur at reduced resolution. With a
  // blur this wide in texels, linear interpolation between texels is within
  // 0.4 % of the exact blurred light (see the renderer's tests).
  static constexpr double kBlurSigmaInTexels = 3.0;

  // Places the picture for the model's current layers and blur radius in a
  // view of `viewWidth` × `viewHeight`. A model that is not laid out, or a
  // view without area, gives an empty picture.
  void layout(const AmbientGradientModel& model, double viewWidth, double viewHeight, LightResolution resolution);

  bool isEmpty() const { return width_ == 0 || height_ == 0; }
  // Picture size in texels, the one-texel rim included.
  int width() const { return width_; }
  int height() const { return height_; }
  // Size of one texel in view units.
  double texelWidth() const { return grid_.texelWidth; }
  double texelHeight() const { return grid_.texelHeight; }
  // How many colours render() takes: every layer's colours, back to front.
  std::size_t colorCount() const { return rasterizer_.colorCount(); }
  // Texels in each plane the light is drawn and blurred in: the picture and
  // the blur's reach around it. Never much more than the view's pixels.
  std::size_t workingTexelCount() const { return planes_[0].size(); }

  // Draws the light with `colors` (each layer's colours in turn, back to
  // front) into `rgba`: width() × height() pixels of bytes red, green, blue,
  // 255, rows `bytesPerLine` apart, top row first.
  void render(std::span<const LightColor> colors, std::uint8_t* rgba, std::ptrdiff_t bytesPerLine);

 private:
  LightRasterizer rasterizer_;
  LightTexelGrid grid_;
  GaussianKernel kernelAcross_;
  GaussianKernel kernelDown_;
  int width_ = 0;
  int height_ = 0;
  // Where the picture starts inside the grid (the blur's reach before it).
  int firstColumn_ = 0;
  int firstRow_ = 0;
  std::array<std::vector<float>, 3> planes_;
  std::array<std::vector<float>, 3> blurredAcross_;
};

}  // namespace tarvelo
