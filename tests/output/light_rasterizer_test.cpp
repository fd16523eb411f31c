#include "output/light_rasterizer.h"

#include <gtest/gtest.h>

#include <vector>

namespace tarvelo {
namespace {

// A 4 × 4 grid of unit texels from the view's origin.
constexpr LightTexelGrid kGrid{0.0, 0.0, 1.0, 1.0, 4, 4};
constexpr LightRect kContainerAtOrigin{0.0, 0.0, 4.0, 4.0};

GradientLayer layer(LightRect frame, LightPoint start, LightPoint end, std::vector<double> locations,
                    std::vector<LightColor> colors) {
  GradientLayer result;
  result.frame = frame;
  result.startPoint = start;
  result.endPoint = end;
  result.locations = std::move(locations);
  result.colors = std::move(colors);
  return result;
}

struct Planes {
  std::vector<float> red = std::vector<float>(16, -1.0F);
  std::vector<float> green = std::vector<float>(16, -1.0F);
  std::vector<float> blue = std::vector<float>(16, -1.0F);
  float r(int column, int row) const { return red[static_cast<std::size_t>(row * 4 + column)]; }
  float g(int column, int row) const { return green[static_cast<std::size_t>(row * 4 + column)]; }
  float b(int column, int row) const { return blue[static_cast<std::size_t>(row * 4 + column)]; }
};

Planes rasterize(const std::vector<GradientLayer>& layers, LightRect container = kContainerAtOrigin) {
  std::vector<const GradientLayer*> pointers;
  std::vector<LightColor> colors;
  for (const GradientLayer& l : layers) {
    pointers.push_back(&l);
    colors.insert(colors.end(), l.colors.begin(), l.colors.end());
  }
  LightRasterizer rasterizer;
  rasterizer.layout(pointers, container, kGrid);
  EXPECT_EQ(rasterizer.colorCount(), colors.size());
  Planes planes;
  rasterizer.rasterize(colors, planes.red.data(), planes.green.data(), planes.blue.data());
  return planes;
}

TEST(LightRasterizerTest, VerticalGradientTakesEachRowsCentre) {
  // Red at the top to blue at the bottom of a 4-texel-high frame: row centres at t = 1/8, 3/8, 5/8, 7/8.
  const Planes p = rasterize({layer({0, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{1, 0, 0, 1}, {0, 0, 1, 1}})});
  for (int row = 0; row < 4; ++row) {
    const float t = (row + 0.5F) / 4.0F;
    for (int column = 0; column < 4; ++column) {
      EXPECT_FLOAT_EQ(p.r(column, row), 1.0F - t);
      EXPECT_FLOAT_EQ(p.g(column, row), 0.0F);
      EXPECT_FLOAT_EQ(p.b(column, row), t);
    }
  }
}

TEST(LightRasterizerTest, FadingToClearInterpolatesStraightNotPremultipliedColour) {
  // White to clear (black with alpha 0), as the side glows end: halfway the
  // straight colour is grey 0.5 at alpha 0.5, so over black 0.25, not 0.5.
  const Planes p = rasterize({layer({0, 0, 4, 4}, {0, 0.5}, {1, 0.5}, {0, 1}, {{1, 1, 1, 1}, kClearLight})});
  EXPECT_FLOAT_EQ(p.r(0, 0), 0.875F * 0.875F);
  EXPECT_FLOAT_EQ(p.r(1, 2), 0.625F * 0.625F);
  EXPECT_FLOAT_EQ(p.g(2, 3), 0.375F * 0.375F);
  EXPECT_FLOAT_EQ(p.b(3, 1), 0.125F * 0.125F);
}

TEST(LightRasterizerTest, EndColoursPadBeyondTheFirstAndLastStop) {
  const Planes p =
      rasterize({layer({0, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {0.3, 0.7}, {{0, 1, 0, 1}, {1, 0, 0, 1}})});
  EXPECT_FLOAT_EQ(p.g(0, 0), 1.0F);  // t = 0.125, before the first stop
  EXPECT_FLOAT_EQ(p.r(0, 0), 0.0F);
  EXPECT_FLOAT_EQ(p.r(3, 3), 1.0F);  // t = 0.875, after the last stop
  EXPECT_FLOAT_EQ(p.g(3, 3), 0.0F);
  EXPECT_NEAR(p.r(1, 1), (0.375F - 0.3F) / 0.4F, 1e-6F);
}

TEST(LightRasterizerTest, GradientRunningRightToLeftStartsAtTheRightEdge) {
  // As the right glow: start (1, 0.5), end (0, 0.5), stops 0, 0.4, 1.
  const Planes p = rasterize({layer({0, 0, 4, 4}, {1, 0.5}, {0, 0.5}, {0, 0.4, 1},
                                    {{1, 1, 1, 1}, {1, 1, 1, 0.5}, kClearLight})});
  EXPECT_NEAR(p.r(3, 0), 1.0F - 0.125F / 0.4F * 0.5F, 1e-6F);   // t = 0.125
  const float f = (0.875F - 0.4F) / 0.6F;                       // t = 0.875
  EXPECT_NEAR(p.r(0, 0), (1.0F - f) * (1.0F - f) * 0.5F, 1e-6F);
}

TEST(LightRasterizerTest, FrameEdgesInsideATexelCoverItByArea) {
  // Opaque white over x 0.5 … 2.25: a quarter of texel 2 and half of texel 0.
  const Planes p = rasterize({layer({0.5, 0, 1.75, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{1, 1, 1, 1}, {1, 1, 1, 1}})});
  EXPECT_FLOAT_EQ(p.r(0, 1), 0.5F);
  EXPECT_FLOAT_EQ(p.r(1, 1), 1.0F);
  EXPECT_FLOAT_EQ(p.r(2, 1), 0.25F);
  EXPECT_FLOAT_EQ(p.r(3, 1), 0.0F);
}

TEST(LightRasterizerTest, LayersSharingAnEdgeInsideATexelDoNotCompoundTheirCoverage) {
  // Three layers all starting at x = 0.5: texel 0 is half covered by their
  // composite, not covered 1 − 0.5³ by three half-covering layers.
  const Planes p = rasterize({layer({0.5, 0, 3.5, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{1, 0, 0, 1}, {1, 0, 0, 1}}),
                              layer({0.5, 0, 3.5, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{0, 1, 0, 0.5}, {0, 1, 0, 0.5}}),
                              layer({0.5, 0, 1.0, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{0, 0, 1, 0.5}, {0, 0, 1, 0.5}})});
  EXPECT_FLOAT_EQ(p.r(0, 2), 0.5F * 0.25F);
  EXPECT_FLOAT_EQ(p.g(0, 2), 0.5F * 0.25F);
  EXPECT_FLOAT_EQ(p.b(0, 2), 0.5F * 0.5F);
  // Texel 1: the blue layer covers its left half only.
  EXPECT_FLOAT_EQ(p.r(1, 2), 0.5F * 0.25F + 0.5F * 0.5F);
  EXPECT_FLOAT_EQ(p.b(1, 2), 0.5F * 0.5F);
}

TEST(LightRasterizerTest, FramesAreInContainerCoordinates) {
  // The container sits one texel left of and above the view.
  const Planes p = rasterize({layer({1, 1, 1, 1}, {0.5, 0}, {0.5, 1}, {0, 1}, {{1, 1, 1, 1}, {1, 1, 1, 1}})},
                             LightRect{-1, -1, 6, 6});
  EXPECT_FLOAT_EQ(p.r(0, 0), 1.0F);
  EXPECT_FLOAT_EQ(p.r(1, 0), 0.0F);
  EXPECT_FLOAT_EQ(p.r(0, 1), 0.0F);
}

TEST(LightRasterizerTest, LaterLayersAreCompositedSourceOverEarlierOnes) {
  const Planes p = rasterize({layer({0, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{1, 0, 0, 1}, {1, 0, 0, 1}}),
                              layer({0, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{0, 1, 0, 0.25}, {0, 1, 0, 0.25}})});
  EXPECT_FLOAT_EQ(p.r(2, 2), 0.75F);
  EXPECT_FLOAT_EQ(p.g(2, 2), 0.25F);
  EXPECT_FLOAT_EQ(p.b(2, 2), 0.0F);
}

TEST(LightRasterizerTest, ComponentsAndAlphasOutsideZeroToOneAreClamped) {
  const Planes p = rasterize({layer({0, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{2, -1, 0.5, 3}, {2, -1, 0.5, 3}}),
                              layer({0, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{0, 1, 0, -2}, {0, 1, 0, -2}})});
  EXPECT_FLOAT_EQ(p.r(1, 1), 1.0F);
  EXPECT_FLOAT_EQ(p.g(1, 1), 0.0F);
  EXPECT_FLOAT_EQ(p.b(1, 1), 0.5F);
}

TEST(LightRasterizerTest, LayersOutsideTheGridOrWithoutColoursDrawNothing) {
  const Planes p = rasterize({layer({10, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {0, 1}, {{1, 1, 1, 1}, {1, 1, 1, 1}}),
                              layer({0, 0, 4, 4}, {0.5, 0}, {0.5, 1}, {}, {})});
  for (int row = 0; row < 4; ++row) {
    for (int column = 0; column < 4; ++column) EXPECT_EQ(p.r(column, row), 0.0F);
  }
}

}  // namespace
}  // namespace tarvelo
