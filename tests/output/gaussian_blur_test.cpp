#include "output/gaussian_blur.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <vector>

namespace tarvelo {
namespace {

TEST(GaussianBlurTest, KernelIsSymmetricSumsToOneAndReachesThreeAndAHalfSigmas) {
  const GaussianKernel kernel = makeGaussianKernel(3.0);
  EXPECT_EQ(kernel.radius, 11);  // ceil(3 × 3.5)
  ASSERT_EQ(kernel.weights.size(), 23U);
  EXPECT_NEAR(std::accumulate(kernel.weights.begin(), kernel.weights.end(), 0.0), 1.0, 1e-6);
  for (int i = 0; i < kernel.radius; ++i) {
    EXPECT_EQ(kernel.weights[static_cast<std::size_t>(i)],
              kernel.weights[static_cast<std::size_t>(2 * kernel.radius - i)]);
  }
  // exp(−1/2) between the centre and one sigma out.
  EXPECT_NEAR(kernel.weights[14] / kernel.weights[11], std::exp(-0.5), 1e-6);
}

TEST(GaussianBlurTest, ZeroOrNegativeOrNanSigmaIsTheIdentity) {
  for (const double sigma : {0.0, -2.0, std::nan("")}) {
    const GaussianKernel kernel = makeGaussianKernel(sigma);
    EXPECT_EQ(kernel.radius, 0);
    EXPECT_EQ(kernel.weights, std::vector<float>{1.0F});
  }
}

TEST(GaussianBlurTest, BlurringAnImpulseAlongRowsGivesTheKernelAndZeroOutsideTheRange) {
  const GaussianKernel kernel = makeGaussianKernel(2.0);
  const int width = 31;
  std::vector<float> source(2 * width, 0.0F);
  source[15] = 1.0F;           // row 0
  source[width + 3] = 1.0F;    // row 1, near the left edge: the kernel is cut off there
  std::vector<float> target(2 * width, -1.0F);
  blurRows({source.data(), width, 2}, {target.data(), width, 2}, 2, 29, kernel);
  for (int column = 2; column < 29; ++column) {
    const int offset = column - 15;
    const float expected =
        std::abs(offset) <= kernel.radius ? kernel.weights[static_cast<std::size_t>(offset + kernel.radius)] : 0.0F;
    EXPECT_FLOAT_EQ(target[static_cast<std::size_t>(column)], expected) << column;
  }
  EXPECT_EQ(target[0], -1.0F);   // outside [2, 29): untouched
  EXPECT_EQ(target[29], -1.0F);
  EXPECT_FLOAT_EQ(target[width + 2], kernel.weights[static_cast<std::size_t>(kernel.radius - 1)]);
}

TEST(GaussianBlurTest, BlurringColumnsTreatsRowsBeyondThePlaneAsTransparent) {
  const GaussianKernel kernel = makeGaussianKernel(1.5);
  const int height = 20;
  std::vector<float> source(static_cast<std::size_t>(height) * 2, 1.0F);  // 2 columns, all ones
  std::vector<float> target(source.size(), 0.0F);
  blurColumns({source.data(), 2, height}, {target.data(), 2, height}, 0, height, 0, 2, kernel);
  // Far from the ends a uniform plane stays uniform; at the ends half the kernel sees nothing.
  EXPECT_NEAR(target[2 * 10], 1.0F, 1e-6);
  float half = 0.0F;
  for (int tap = kernel.radius; tap <= 2 * kernel.radius; ++tap) half += kernel.weights[static_cast<std::size_t>(tap)];
  EXPECT_NEAR(target[0], half, 1e-6);
  EXPECT_NEAR(target[2 * (height - 1) + 1], half, 1e-6);
}


// What each output must be: zero, then every tap inside the plane multiplied
// and added in turn, first tap first, in single precision.
std::vector<float> referenceBlur(const std::vector<float>& source, int width, int height, const GaussianKernel& kernel,
                                 bool alongRows) {
  std::vector<float> result(source.size(), 0.0F);
  const int radius = kernel.radius;
  for (int row = 0; row < height; ++row) {
    for (int column = 0; column < width; ++column) {
      float sum = 0.0F;
      for (int tap = 0; tap <= 2 * radius; ++tap) {
        const int x = alongRows ? column + tap - radius : column;
        const int y = alongRows ? row : row + tap - radius;
        if (x < 0 || x >= width || y < 0 || y >= height) continue;
        const float product = kernel.weights[static_cast<std::size_t>(tap)] *
                              source[static_cast<std::size_t>(y) * static_cast<std::size_t>(width) +
                                     static_cast<std::size_t>(x)];
        sum += product;
      }
      result[static_cast<std::size_t>(row) * static_cast<std::size_t>(width) + static_cast<std::size_t>(column)] = sum;
    }
  }
  return result;
}

TEST(GaussianBlurTest, BothPassesGiveExactlyTheTapByTapSumAtEveryColumnAndRowEdgesIncluded) {
  std::mt19937 random(7);
  std::uniform_real_distribution<float> level(0.0F, 1.0F);
  // Widths that are and are not whole multiples of the vector lanes, one
  // narrower than the kernel, and kernels of several reaches.
  for (const int width : {5, 8, 37, 64, 117}) {
    for (const double sigma : {0.8, 2.0, 3.0}) {
      const int height = 29;
      const GaussianKernel kernel = makeGaussianKernel(sigma);
      std::vector<float> source(static_cast<std::size_t>(width * height));
      for (float& value : source) value = level(random);

      std::vector<float> across(source.size(), -1.0F);
      blurRows({source.data(), width, height}, {across.data(), width, height}, 0, width, kernel);
      EXPECT_EQ(across, referenceBlur(source, width, height, kernel, true)) << width << " wide, sigma " << sigma;

      std::vector<float> down(source.size(), -1.0F);
      blurColumns({source.data(), width, height}, {down.data(), width, height}, 0, height, 0, width, kernel);
      EXPECT_EQ(down, referenceBlur(source, width, height, kernel, false)) << width << " wide, sigma " << sigma;
    }
  }
}

}  // namespace
}  // namespace tarvelo
