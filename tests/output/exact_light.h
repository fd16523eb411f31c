#pragma once

#include <array>

#include "output/ambient_gradient_model.h"

namespace tarvelo::testing {

// Red, green, blue of the light over black, 0 … 1.
using Rgb = std::array<double, 3>;

// The light a model describes, worked out from the model alone and by a
// different route from the renderer's: each layer is evaluated at a point,
// and the blur is the Gaussian integral over the continuous picture (Gauss–
// Legendre quadrature between the places where the picture has an edge or a
// gradient stop), not a sum over texels. It is slow and exact: the reference
// the rendered pixels are held to.
class ExactLight {
 public:
  explicit ExactLight(const AmbientGradientModel& model) : model_(model) {}

  // The container's layers composited at view point (x, y), over black,
  // before the blur.
  Rgb sharpAt(double x, double y) const;

  // The light at view point (x, y) after the container is blurred by a
  // Gaussian of standard deviation `sigma`.
  Rgb blurredAt(double x, double y, double sigma) const;

  // The pixel (column, row) of a rendering: the light at the pixel's centre.
  Rgb pixel(int column, int row) const {
    return blurredAt(column + 0.5, row + 0.5, model_.currentBlurRadius());
  }

 private:
  const AmbientGradientModel& model_;
};

}  // namespace tarvelo::testing
