#include "output/gaussian_blur.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tarvelo {

namespace {

// Beyond 3.5 standard deviations a Gaussian holds less than 0.05 % of its
// weight: under a tenth of an 8-bit step on a full-white light.
constexpr double kKernelReachInSigmas = 3.5;

}  // namespace

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
// multiply-add across contiguous floats, written eight lanes at a time
// (the compiler's own vectoriser leaves a loop of unknown length alone at
// -O2). Where the processor has AVX2 the eight lanes are one instruction,
// otherwise two. Each output is the same multiply, then add, either way.
namespace {

using FloatLanes = float __attribute__((vector_size(32)));
constexpr int kLaneCount = static_cast<int>(sizeof(FloatLanes) / sizeof(float));

__attribute__((target_clones("avx2", "default"))) void multiplyAdd(float* out, const float* in, float weight,
                                                                   int count) {
  int index = 0;
  for (; index + kLaneCount <= count; index += kLaneCount) {
    FloatLanes sum;
    FloatLanes sample;
    std::memcpy(&sum, out + index, sizeof sum);
    std::memcpy(&sample, in + index, sizeof sample);
    sum += weight * sample;
    std::memcpy(out + index, &sum, sizeof sum);
  }
  for (; index < count; ++index) out[index] += weight * in[index];
}

}  // namespace

void blurRows(const FloatPlaneView& source, const FloatPlaneView& target, int columnBegin, int columnEnd,
              const GaussianKernel& kernel) {
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
      if (begin < end) multiplyAdd(out + begin, in + begin + shift, weight, end - begin);
    }
  }
}

void blurColumns(const FloatPlaneView& source, const FloatPlaneView& target, int rowBegin, int rowEnd,
                 int columnBegin, int columnEnd, const GaussianKernel& kernel) {
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
      multiplyAdd(out + columnBegin, in + columnBegin, weight, columnEnd - columnBegin);
    }
  }
}

}  // namespace tarvelo
