#include "output/gaussian_blur.h"

#include <algorithm>
#include <cmath>

namespace tarvelo {

namespace {

// Beyond 3.5 standard deviations a Gaussian holds less than 0.05 % of its
// weight: under a tenth of an 8-bit step on a full-white light.
constexpr double kKernelReachInSigmas = 3.5;

}  // namespace

// The two passes are most of a frame's arithmetic for narrow blurs; where the
// processor has AVX2 they run eight floats at a time instead of four. Each
// output is the same sequence of multiplies and adds either way.
#define TARVELO_WIDEST_VECTORS __attribute__((target_clones("avx2", "default")))

GaussianKernel makeGaussianKernel(double sigma) {
  GaussianKernel kernel;
  if (!(sigma > 0.0)) return kernel;
  kernel.radius = static_cast<int>(std::ceil(sigma * kKernelReachInSigmas));
  kernel.weights.assign(static_cast<std::size_t>(2 * kernel.radius + 1), 0.0F);
  std::vector<double> exact(kernel.weights.size());
  double sum = 0.0;
  for (int offset = -kernel.radius; offset <= kernel.radius; ++offset) {
    const double weight = std::exp(-0.5 * (offset * offset) / (sigma * sigma));
    exact[static_cast<std::size_t>(offset + kernel.radius)] = weight;
    sum += weight;
  }
  // Normalised so a uniform light keeps its level exactly where the kernel fits.
  for (std::size_t i = 0; i < exact.size(); ++i) kernel.weights[i] = static_cast<float>(exact[i] / sum);
  return kernel;
}

// Both passes run tap by tap over whole rows, so the inner loop is a plain
// multiply-add across contiguous floats that the compiler vectorises.
TARVELO_WIDEST_VECTORS void blurRows(const FloatPlaneView& source, const FloatPlaneView& target, int columnBegin,
                                     int columnEnd, const GaussianKernel& kernel) {
  columnBegin = std::max(columnBegin, 0);
  columnEnd = std::min(columnEnd, target.width);
  if (columnBegin >= columnEnd) return;
  const int radius = kernel.radius;
  for (int row = 0; row < source.height; ++row) {
    const float* in = source.pixels + static_cast<std::ptrdiff_t>(row) * source.width;
    float* out = target.pixels + static_cast<std::ptrdiff_t>(row) * target.width;
    std::fill(out + columnBegin, out + columnEnd, 0.0F);
    for (int tap = 0; tap <= 2 * radius; ++tap) {
      const float weight = kernel.weights[static_cast<std::size_t>(tap)];
      const int shift = tap - radius;
      // Only the output columns whose source sample lies inside the row.
      const int begin = std::max(columnBegin, -shift);
      const int end = std::min(columnEnd, source.width - shift);
      for (int column = begin; column < end; ++column) out[column] += weight * in[column + shift];
    }
  }
}

TARVELO_WIDEST_VECTORS void blurColumns(const FloatPlaneView& source, const FloatPlaneView& target, int rowBegin,
                                        int rowEnd, int columnBegin, int columnEnd, const GaussianKernel& kernel) {
  rowBegin = std::max(rowBegin, 0);
  rowEnd = std::min(rowEnd, target.height);
  columnBegin = std::max(columnBegin, 0);
  columnEnd = std::min({columnEnd, target.width, source.width});
  if (rowBegin >= rowEnd || columnBegin >= columnEnd) return;
  const int radius = kernel.radius;
  for (int row = rowBegin; row < rowEnd; ++row) {
    float* out = target.pixels + static_cast<std::ptrdiff_t>(row) * target.width;
    std::fill(out + columnBegin, out + columnEnd, 0.0F);
    const int firstTap = std::max(0, radius - row);
    const int lastTap = std::min(2 * radius, source.height - 1 - row + radius);
    for (int tap = firstTap; tap <= lastTap; ++tap) {
      const float weight = kernel.weights[static_cast<std::size_t>(tap)];
      const float* in = source.pixels + static_cast<std::ptrdiff_t>(row + tap - radius) * source.width;
      for (int column = columnBegin; column < columnEnd; ++column) out[column] += weight * in[column];
    }
  }
}

}  // namespace tarvelo
