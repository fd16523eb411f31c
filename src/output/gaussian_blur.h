#pragma once

#include <cstddef>
#include <vector>

namespace tarvelo {

// Weights of a sampled Gaussian, centred on index `radius`, summing to 1.
struct GaussianKernel {
  int radius = 0;
  std::vector<float> weights{1.0F};
};

// The kernel for a standard deviation of `sigma` samples, cut off where the
// tail no longer changes an 8-bit result. A sigma of zero or less (or NaN)
// gives the identity.
GaussianKernel makeGaussianKernel(double sigma);

// One image plane of floats, row after row, `width` per row.
struct FloatPlaneView {
  float* pixels = nullptr;
  int width = 0;
  int height = 0;
};

// Blurs along rows: for each row, output columns [columnBegin, columnEnd) of
// `target` receive the kernel applied to `source`; samples outside the plane
// count as zero (transparent). `target` must not alias `source`.
void blurRows(const FloatPlaneView& source, const FloatPlaneView& target, int columnBegin, int columnEnd,
              const GaussianKernel& kernel);

// Blurs along columns, writing rows [rowBegin, rowEnd) of `target` and only
// columns [columnBegin, columnEnd); the same rules as blurRows.
void blurColumns(const FloatPlaneView& source, const FloatPlaneView& target, int rowBegin, int rowEnd,
                 int columnBegin, int columnEnd, const GaussianKernel& kernel);

}  // namespace tarvelo
