#include "output/light_picture.h"

#include <algorithm>
#include <cmath>

#include "support/checked_arithmetic.h"

namespace tarvelo {

namespace {

// A box-sampled texel already spreads the light by the variance of a unit
// box, 1/12 texel²; the blur adds only what is missing, so the two together
// have the variance of the requested Gaussian.
constexpr double kBoxSamplingVariance = 1.0 / 12.0;

double remainingBlurSigma(double sigmaInTexels) {
  const double variance = sigmaInTexels * sigmaInTexels - kBoxSamplingVariance;
  return variance > 0.0 ? std::sqrt(variance) : 0.0;
}

// How many texels of `texelSize` (a whole number, at least one) span `length`.
int texelCountFor(double length, double texelSize) {
  const std::int64_t count = truncateToInt64(std::round(length / texelSize));
  return static_cast<int>(std::clamp<std::int64_t>(count, 1, 1 << 20));
}

std::uint8_t toByte(float value) {
  if (!(value > 0.0F)) return 0;
  if (value >= 1.0F) return 255;
  return static_cast<std::uint8_t>(value * 255.0F + 0.5F);
}

}  // namespace

void LightPicture::layout(const AmbientGradientModel& model, double viewWidth, double viewHeight,
                          LightResolution resolution) {
  width_ = height_ = 0;
  if (!model.didSetupLayers() || !(viewWidth > 0.0) || !(viewHeight > 0.0)) return;

  // Without a blur filter the light is drawn sharp, at full resolution.
  const double sigma = model.hasBlur() ? model.drawnBlurRadius() : 0.0;
  const double targetTexel = resolution == LightResolution::reduced && sigma > 0.0
                                 ? orderedMax(sigma / kBlurSigmaInTexels, 1.0)
                                 : 1.0;
  // A whole number of texels spans the view exactly on each axis, so the
  // texels may be a little wider than tall; each axis gets its own blur.
  const int viewColumns = texelCountFor(viewWidth, targetTexel);
  const int viewRows = texelCountFor(viewHeight, targetTexel);
  const double texelWidth = viewWidth / viewColumns;
  const double texelHeight = viewHeight / viewRows;
  kernelAcross_ = makeGaussianKernel(remainingBlurSigma(sigma / texelWidth));
  kernelDown_ = makeGaussianKernel(remainingBlurSigma(sigma / texelHeight));

  // The grid reaches one blur radius beyond the picture, which itself has a
  // rim of one texel around the view.
  firstColumn_ = kernelAcross_.radius;
  firstRow_ = kernelDown_.radius;
  width_ = viewColumns + 2;
  height_ = viewRows + 2;
  grid_.texelWidth = texelWidth;
  grid_.texelHeight = texelHeight;
  grid_.columns = width_ + 2 * firstColumn_;
  grid_.rows = height_ + 2 * firstRow_;
  grid_.originX = -(firstColumn_ + 1) * texelWidth;
  grid_.originY = -(firstRow_ + 1) * texelHeight;

  const std::vector<const GradientLayer*> layers = model.layersBackToFront();
  rasterizer_.layout(layers, model.lightContainer(), grid_);

  const std::size_t texels = static_cast<std::size_t>(grid_.columns) * static_cast<std::size_t>(grid_.rows);
  for (std::vector<float>& plane : planes_) plane.assign(texels, 0.0F);
  for (std::vector<float>& plane : blurredAcross_) plane.assign(texels, 0.0F);
}

void LightPicture::render(std::span<const LightColor> colors, std::uint8_t* rgba, std::ptrdiff_t bytesPerLine) {
  if (isEmpty()) return;
  rasterizer_.rasterize(colors, planes_[0].data(), planes_[1].data(), planes_[2].data());

  // The container is blurred as a whole, then laid over opaque black: since
  // the planes are premultiplied, over black they are the picture as they are.
  const int lastColumn = firstColumn_ + width_;
  const int lastRow = firstRow_ + height_;
  for (std::size_t channel = 0; channel < planes_.size(); ++channel) {
    const FloatPlaneView raster{planes_[channel].data(), grid_.columns, grid_.rows};
    const FloatPlaneView across{blurredAcross_[channel].data(), grid_.columns, grid_.rows};
    blurRows(raster, across, firstColumn_, lastColumn, kernelAcross_);
    // The raster is not needed any more: the finished plane goes back into it.
    blurColumns(across, raster, firstRow_, lastRow, firstColumn_, lastColumn, kernelDown_);
  }

  const float* red = planes_[0].data();
  const float* green = planes_[1].data();
  const float* blue = planes_[2].data();
  for (int row = 0; row < height_; ++row) {
    std::uint8_t* out = rgba + row * bytesPerLine;
    const std::size_t offset =
        static_cast<std::size_t>(firstRow_ + row) * static_cast<std::size_t>(grid_.columns) +
        static_cast<std::size_t>(firstColumn_);
    for (int column = 0; column < width_; ++column) {
      const std::size_t texel = offset + static_cast<std::size_t>(column);
      out[4 * column + 0] = toByte(red[texel]);
      out[4 * column + 1] = toByte(green[texel]);
      out[4 * column + 2] = toByte(blue[texel]);
      out[4 * column + 3] = 255;
    }
  }
}

}  // namespace tarvelo
