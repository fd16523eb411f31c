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

// Each output sums its taps in a register, eight outputs at a time (the
// compiler's own vectoriser leaves loops of unknown length alone at -O2), so
// a sample is loaded once per tap and an output stored once. Where the
// processor has AVX2 the eight lanes are one instruction, otherwise two.
// Every output is the same sum either way, and the same as one worked out
// alone: zero, then each tap's multiply and add, first tap first.
namespace {

using FloatLanes = float __attribute__((vector_size(32)));
constexpr int kLaneCount = static_cast<int>(sizeof(FloatLanes) / sizeof(float));

// out[i] = the sum over taps t of weights[t] × in[i + t × tapStride], for i in [0, count).
__attribute__((target_clones("avx2", "default"))) void convolve(float* out, const float* in, std::ptrdiff_t tapStride,
                                                                const float* weights, int taps, int count) {
  int index = 0;
  for (; index + kLaneCount <= count; index += kLaneCount) {
    FloatLanes sum{};
    const float* sample = in + index;
    for (int tap = 0; tap < taps; ++tap, sample += tapStride) {
      FloatLanes lanes;
      std::memcpy(&lanes, sample, sizeof lanes);
      sum += weights[tap] * lanes;
    }
    std::memcpy(out + index, &sum, sizeof sum);
  }
  for (; index < count; ++index) {
    float sum = 0.0F;
    const float* sample = in + index;
    for (int tap = 0; tap < taps; ++tap, sample += tapStride) sum += weights[tap] * *sample;
    out[index] = sum;
  }
}

}  // namespace

void blurRows(const FloatPlaneView& source, const FloatPlaneView& target, int columnBegin, int columnEnd,
              const GaussianKernel& kernel) {
  columnBegin = std::max(columnBegin, 0);
  columnEnd = std::min(columnEnd, target.width);
  if (columnBegin >= columnEnd) return;
  const int radius = kernel.radius;
  const float* weights = kernel.weights.data();
  // Columns whose every tap lies inside the row; the others skip the taps
  // that fall outside, one column at a time.
  const int innerBegin = std::clamp(radius, columnBegin, columnEnd);
  const int innerEnd = std::clamp(source.width - radius, innerBegin, columnEnd);
  const auto convolveEdgeColumns = [&](const float* in, float* out, int begin, int end) {
    for (int column = begin; column < end; ++column) {
      const int firstTap = std::max(0, radius - column);
      const int lastTap = std::min(2 * radius, source.width - 1 - column + radius);
      out[column] = 0.0F;
      if (firstTap <= lastTap) {
        convolve(out + column, in + column - radius + firstTap, 1, weights + firstTap, lastTap - firstTap + 1, 1);
      }
    }
  };
  for (int row = 0; row < source.height; ++row) {
    const float* in = source.pixels + static_cast<std::ptrdiff_t>(row) * source.width;
    float* out = target.pixels + static_cast<std::ptrdiff_t>(row) * target.width;
    convolveEdgeColumns(in, out, columnBegin, innerBegin);
    convolve(out + innerBegin, in + innerBegin - radius, 1, weights, 2 * radius + 1, innerEnd - innerBegin);
    convolveEdgeColumns(in, out, innerEnd, columnEnd);
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
    float* out = target.pixels + static_cast<std::ptrdiff_t>(row) * target.width + columnBegin;
    const int firstTap = std::max(0, radius - row);
    const int lastTap = std::min(2 * radius, source.height - 1 - row + radius);
    if (firstTap > lastTap) {
      std::fill(out, out + (columnEnd - columnBegin), 0.0F);
      continue;
    }
    const float* in = source.pixels + static_cast<std::ptrdiff_t>(row + firstTap - radius) * source.width + columnBegin;
    convolve(out, in, source.width, kernel.weights.data() + firstTap, lastTap - firstTap + 1, columnEnd - columnBegin);
  }
}

}  // namespace tarvelo
