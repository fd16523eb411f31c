#include "output/ambient_gradient_view.h"

#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QImage>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <ostream>
#include <string>
#include <vector>

#include "exact_light.h"
#include "light_probes.h"
#include "output/drawable_light.h"
#include "output/offscreen_light_renderer.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;
using testing::ExactLight;
using testing::Rgb;
using testing::channel;
using testing::expectMatchesExactLight;

// Rendered pixels against the exact light, per channel, in 8-bit steps:
//  - the picture is stored in 8 bits before it is scaled up (±0.5 step),
//    and the scaled result is stored in 8 bits again (±0.5);
//  - linear interpolation between texels three blur sigmas apart misses the
//    light's curvature by at most h²/8 × f″ ≤ 0.242 / (8 × 3²) = 0.34 % of a
//    full step of light (< 0.9 step);
//  - the GPU's and QPainter's bilinear filters weigh texels with 8-bit
//    fractions (±0.5 step).
// Together under 2.5 steps; 3 allows for the blur kernel's sampled tail.
constexpr int kExactTolerance = 3;

constexpr double kDefaultBrightness = 1.4;
constexpr double kDefaultSpread = 0.85;
constexpr double kDefaultBlur = 60.0;

// Every zone and channel different, none saturating at brightness 1.4.
ZoneColorList distinctZones() {
  ZoneColorList zones;
  for (std::size_t i = 0; i < kZoneCount; ++i) {
    const float step = static_cast<float>(i);
    zones.push_back(ZoneColor{0.05F + 0.04F * step, 0.6F - 0.03F * step, 0.15F + 0.025F * step, 1.0F});
  }
  return zones;
}

ZoneColorList uniformZones(float red, float green, float blue) {
  return ZoneColorList(kZoneCount, ZoneColor{red, green, blue, 1.0F});
}

int largestDifference(const QImage& a, const QImage& b, double* mean = nullptr) {
  int worst = 0;
  double sum = 0.0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      for (std::size_t c = 0; c < 3; ++c) {
        const int d = std::abs(channel(a, x, y, c) - channel(b, x, y, c));
        worst = std::max(worst, d);
        sum += d;
      }
    }
  }
  if (mean != nullptr) *mean = sum / (3.0 * a.width() * a.height());
  return worst;
}

// --- What the pixels show ---

TEST(AmbientGradientViewTest, TopEdgeUnderTheMiddleStripIsThatStripsColourTimesBrightness) {
  // Spread 1 keeps the strips fully opaque down to 0.35 of the container;
  // the middle strip is clear of both side glows, and a blur of 10 reaches
  // neither the container's top nor the strip's visible sides: in a 1080-wide
  // container each strip is 120 wide plus 33 each side, and the next strip,
  // drawn over it, starts 87 past its slot, so strip 4 shows over
  // 447 − 60 … 447 + 60 in the view.
  OffscreenLightRenderer renderer(QSize(960, 540));
  ZoneColorList zones = uniformZones(0.1F, 0.1F, 0.1F);
  zones[4] = ZoneColor{0.6F, 0.3F, 0.1F, 1.0F};
  renderer.view().updateColors(zones, 1.5, 10.0, 1.0);
  const QImage image = renderer.renderSettled();
  const int middle = 447;
  for (const int y : {0, 20, 60}) {
    EXPECT_NEAR(qRed(image.pixel(middle, y)), 0.9 * 255, 1.0) << y;
    EXPECT_NEAR(qGreen(image.pixel(middle, y)), 0.45 * 255, 1.0) << y;
    EXPECT_NEAR(qBlue(image.pixel(middle, y)), 0.15 * 255, 1.0) << y;
  }
}

TEST(AmbientGradientViewTest, DefaultSettingsMatchTheExactLightAtEveryProbe) {
  OffscreenLightRenderer renderer(QSize(960, 540));
  renderer.view().updateColors(distinctZones(), kDefaultBrightness, kDefaultBlur, kDefaultSpread);
  expectMatchesExactLight(renderer.renderSettled(), renderer.view().model(), kExactTolerance);
}

struct LightSettings {
  const char* name;
  double brightness;
  double spread;
  double blur;
};

void PrintTo(const LightSettings& settings, std::ostream* out) {
  *out << "brightness " << settings.brightness << ", spread " << settings.spread << ", blur " << settings.blur;
}

class AmbientGradientViewSettingsTest : public ::testing::TestWithParam<LightSettings> {};

TEST_P(AmbientGradientViewSettingsTest, MatchesTheExactLightAtEveryProbe) {
  const LightSettings settings = GetParam();
  OffscreenLightRenderer renderer(QSize(800, 450));
  renderer.view().updateColors(distinctZones(), settings.brightness, settings.blur, settings.spread);
  expectMatchesExactLight(renderer.renderSettled(), renderer.view().model(), kExactTolerance);
}

INSTANTIATE_TEST_SUITE_P(
    SpreadsBrightnessesAndBlurs, AmbientGradientViewSettingsTest,
    ::testing::Values(
        // Spread 0: wash and side glows clear; strips 1, 0.75, 0.35, 0.
        LightSettings{"Spread0", 1.0, 0.0, 30.0},
        // Spread 1; a blur of 20 leaves the margin at its floor of 60.
        LightSettings{"Spread1WithMarginFloor", 1.0, 1.0, 20.0},
        // Spread 2: every alpha limited to 1; brightness 2 saturates some colours.
        LightSettings{"Spread2Brightness2", 2.0, 2.0, 80.0},
        LightSettings{"WidestBlur150", 0.7, 0.5, 150.0},
        LightSettings{"NarrowestBlur10", 1.4, 0.85, 10.0}),
    [](const ::testing::TestParamInfo<LightSettings>& info) { return std::string(info.param.name); });

TEST(AmbientGradientViewTest, SideGlowsAreBrightestAtTheirEdgesAndTheBottomGlowAtTheBottom) {
  // Black everywhere except the glows' own zones, so each glow stands alone.
  OffscreenLightRenderer renderer(QSize(800, 450));
  ZoneColorList zones = uniformZones(0.0F, 0.0F, 0.0F);
  zones[kLeftUpperZone] = zones[kLeftLowerZone] = ZoneColor{1.0F, 0.0F, 0.0F, 1.0F};
  zones[kRightUpperZone] = zones[kRightLowerZone] = ZoneColor{0.0F, 0.0F, 1.0F, 1.0F};
  for (std::size_t i = kTopFirstZone; i < kZoneCount; ++i) zones[i] = ZoneColor{0.0F, 1.0F, 0.0F, 1.0F};
  renderer.view().updateColors(zones, 1.0, 30.0, 1.0);
  const QImage image = renderer.renderSettled();
  EXPECT_GT(qRed(image.pixel(0, 225)), qRed(image.pixel(200, 225)));
  EXPECT_GT(qRed(image.pixel(200, 225)), qRed(image.pixel(399, 225)));
  EXPECT_EQ(qBlue(image.pixel(0, 225)), 0);
  EXPECT_GT(qBlue(image.pixel(799, 225)), qBlue(image.pixel(600, 225)));
  EXPECT_EQ(qRed(image.pixel(799, 225)), 0);
  EXPECT_GT(qGreen(image.pixel(400, 449)), qGreen(image.pixel(400, 300)));
  EXPECT_EQ(qGreen(image.pixel(400, 0)), 0);  // the bottom glow stays low
  expectMatchesExactLight(image, renderer.view().model(), kExactTolerance);
}

// --- Reduced resolution against the full-resolution reference ---

TEST(AmbientGradientViewTest, ReducedResolutionPictureMatchesTheFullResolutionReference) {
  // 480 × 270 with a blur of 15 is the full-HD light at its default blur of
  // 60, a quarter the size: the reduced picture has the same texels (96 × 54
  // across the view), while the full-resolution reference stays cheap enough
  // to blur texel by texel. The tolerance is the exact-light tolerance: both
  // renderings are within it of the same light.
  const QSize size(480, 270);
  const ZoneColorList zones = distinctZones();
  OffscreenLightRenderer reduced(size, LightResolution::reduced);
  reduced.view().updateColors(zones, kDefaultBrightness, 15.0, kDefaultSpread);
  const QImage reducedImage = reduced.renderSettled();
  EXPECT_EQ(reduced.view().pictureSize(), QSize(96 + 2, 54 + 2));
  EXPECT_DOUBLE_EQ(reduced.view().pictureTexelSize().width(), 5.0);

  OffscreenLightRenderer full(size, LightResolution::full);
  full.view().updateColors(zones, kDefaultBrightness, 15.0, kDefaultSpread);
  const QImage fullImage = full.renderSettled();
  EXPECT_EQ(full.view().pictureSize(), QSize(480 + 2, 270 + 2));
  double mean = 0.0;
  const int worst = largestDifference(reducedImage, fullImage, &mean);
  std::cout << "reduced vs full resolution: largest difference " << worst << "/255, mean " << mean << "/255\n";
  EXPECT_LE(worst, kExactTolerance);
  EXPECT_LT(mean, 0.75);
}

TEST(AmbientGradientViewTest, ReducedPictureForFullHdAtTheDefaultBlurIsAboutAHundredTexelsWide) {
  OffscreenLightRenderer renderer(QSize(1920, 1080));
  renderer.view().updateColors(distinctZones(), kDefaultBrightness, kDefaultBlur, kDefaultSpread);
  // Texels a third of the blur's sigma wide: 96 × 54 over the view, plus the rim.
  EXPECT_EQ(renderer.view().pictureSize(), QSize(98, 56));
  EXPECT_DOUBLE_EQ(renderer.view().pictureTexelSize().width(), 20.0);
  EXPECT_DOUBLE_EQ(renderer.view().pictureTexelSize().height(), 1080.0 / 54.0);
}

// --- Values no slider offers ---

// A radius past what the view shows is drawn as the largest radius that does
// (see drawableBlurRadius), and that one as exactly as any other.
TEST(AmbientGradientViewTest, AHugeOrInfiniteRadiusIsDrawnAsTheLargestRadiusTheViewShows) {
  const QSize size(1920, 1080);
  const double largest = largestDrawnBlurRadius(size.width(), size.height());
  ASSERT_EQ(largest, 64.0 * 1920.0);
  AmbientGradientModel atLargest;
  atLargest.layout(size.width(), size.height());
  atLargest.updateColors(distinctZones(), kDefaultBrightness, largest, kDefaultSpread);

  const QImage huge = OffscreenLightRenderer::render(size, distinctZones(), kDefaultBrightness, kDefaultSpread, 1e308);
  const QImage infinite = OffscreenLightRenderer::render(size, distinctZones(), kDefaultBrightness, kDefaultSpread,
                                                         std::numeric_limits<double>::infinity());
  const QImage drawnLargest =
      OffscreenLightRenderer::render(size, distinctZones(), kDefaultBrightness, kDefaultSpread, largest);
  EXPECT_EQ(largestDifference(huge, drawnLargest), 0);
  EXPECT_EQ(largestDifference(infinite, drawnLargest), 0);
  expectMatchesExactLight(drawnLargest, atLargest, kExactTolerance);
}

// --- Colour lists, brightness, blur changes ---

TEST(AmbientGradientViewTest, AListOf15ColoursChangesNothing) {
  OffscreenLightRenderer renderer(QSize(640, 360));
  renderer.view().updateColors(distinctZones(), kDefaultBrightness, kDefaultBlur, kDefaultSpread);
  const QImage before = renderer.renderSettled();
  const int layouts = renderer.view().pictureLayoutCount();

  renderer.view().updateColors(ZoneColorList(15, ZoneColor{1.0F, 1.0F, 1.0F, 1.0F}), 2.0, 120.0, 2.0);
  EXPECT_FALSE(renderer.view().isAnimatingColors());
  EXPECT_EQ(renderer.view().pictureLayoutCount(), layouts);
  EXPECT_EQ(renderer.view().model().currentBlurRadius(), kDefaultBlur);
  EXPECT_EQ(renderer.renderFrame(40ms), before);
}

TEST(AmbientGradientViewTest, Brightness2WithAColourOf0Point6IsShownAsFull) {
  QImage limited;
  {
    OffscreenLightRenderer renderer(QSize(640, 360));
    renderer.view().updateColors(uniformZones(0.6F, 0.6F, 0.6F), 2.0, 30.0, 1.0);
    limited = renderer.renderSettled();
    EXPECT_EQ(renderer.view().model().stripLayers()[4].colors[0], (LightColor{1.0, 1.0, 1.0, 1.0}));
    expectMatchesExactLight(limited, renderer.view().model(), kExactTolerance);
  }
  // Exactly the light of full white at brightness 1, pixel for pixel.
  OffscreenLightRenderer renderer(QSize(640, 360));
  renderer.view().updateColors(uniformZones(1.0F, 1.0F, 1.0F), 1.0, 30.0, 1.0);
  EXPECT_EQ(renderer.renderSettled(), limited);
}

TEST(AmbientGradientViewTest, FirstUpdateWithBlur60DoesNotRebuildThePicture) {
  OffscreenLightRenderer renderer(QSize(640, 360));
  const int layouts = renderer.view().pictureLayoutCount();
  renderer.view().updateColors(distinctZones(), 1.0, 60.0, 1.0);
  EXPECT_EQ(renderer.view().pictureLayoutCount(), layouts);
}

TEST(AmbientGradientViewTest, BlurChangeOf0Point4IsIgnoredAnd0Point6RebuildsWithTheWiderMargin) {
  OffscreenLightRenderer renderer(QSize(640, 360));
  renderer.view().updateColors(distinctZones(), 1.0, 60.0, 1.0);
  const int layouts = renderer.view().pictureLayoutCount();
  const QSize picture = renderer.view().pictureSize();
  renderer.view().updateColors(distinctZones(), 1.0, 60.4, 1.0);
  EXPECT_EQ(renderer.view().pictureLayoutCount(), layouts);
  renderer.view().updateColors(distinctZones(), 1.0, 60.6, 1.0);
  EXPECT_EQ(renderer.view().pictureLayoutCount(), layouts + 1);
  EXPECT_DOUBLE_EQ(renderer.view().model().containerMargin(), 90.9);
  EXPECT_EQ(renderer.view().pictureSize(), picture);  // 60.6 / 3 still rounds to the same texels
  expectMatchesExactLight(renderer.renderSettled(), renderer.view().model(), kExactTolerance);
}

TEST(AmbientGradientViewTest, Blur20DrawsWithTheMarginFloorOf60) {
  OffscreenLightRenderer renderer(QSize(640, 360));
  renderer.view().updateColors(distinctZones(), 1.0, 20.0, 1.0);
  EXPECT_EQ(renderer.view().model().containerMargin(), 60.0);
  EXPECT_EQ(renderer.view().pictureTexelSize().width(), 640.0 / 96.0);
  expectMatchesExactLight(renderer.renderSettled(), renderer.view().model(), kExactTolerance);
}

TEST(AmbientGradientViewTest, ResizingRebuildsThePictureForTheNewSize) {
  OffscreenLightRenderer renderer(QSize(640, 360));
  renderer.view().updateColors(distinctZones(), 1.0, 60.0, 1.0);
  const int layouts = renderer.view().pictureLayoutCount();
  renderer.view().setSize(QSizeF(320, 180));
  EXPECT_EQ(renderer.view().pictureLayoutCount(), layouts + 1);
  EXPECT_EQ(renderer.view().model().lightContainer(), (LightRect{-90.0, -90.0, 500.0, 360.0}));
  EXPECT_EQ(renderer.view().pictureSize(), QSize(16 + 2, 9 + 2));
}

TEST(AmbientGradientViewTest, ViewOfZeroWidthDrawsNothingUntilItHasASize) {
  OffscreenLightRenderer renderer(QSize(320, 180));
  renderer.view().setSize(QSizeF(0, 180));
  renderer.view().updateColors(uniformZones(1.0F, 1.0F, 1.0F), 1.0, 60.0, 1.0);
  const QImage empty = renderer.renderSettled();
  EXPECT_EQ(qRed(empty.pixel(160, 0)), 0);  // the window's black: no light drawn
  EXPECT_TRUE(renderer.view().pictureSize().isEmpty());

  renderer.view().setSize(QSizeF(320, 180));
  const QImage shown = renderer.renderSettled();
  EXPECT_GT(qRed(shown.pixel(160, 0)), 200);
  expectMatchesExactLight(shown, renderer.view().model(), kExactTolerance);
}

// --- The colour animation, driven frame by frame ---

TEST(AmbientGradientViewTest, ColourChangeReachesTheNewColoursAfter40Milliseconds) {
  const QSize size(320, 180);
  const ZoneColorList from = uniformZones(0.2F, 0.6F, 0.4F);
  const ZoneColorList to = uniformZones(0.8F, 0.2F, 0.0F);
  const QImage settledTarget = OffscreenLightRenderer::render(size, to, 1.0, 1.0, 60.0);
  OffscreenLightRenderer renderer(size);
  renderer.view().updateColors(from, 1.0, 60.0, 1.0);
  const QImage start = renderer.renderSettled();
  ASSERT_NE(start, settledTarget);

  renderer.view().updateColors(to, 1.0, 60.0, 1.0);
  EXPECT_TRUE(renderer.view().isAnimatingColors());
  EXPECT_EQ(renderer.renderFrame(0ms), start);  // a new colour begins where the old one is

  // Halfway (only colours change, so every pixel is halfway too, give or take rounding).
  const QImage halfway = renderer.renderFrame(20ms);
  for (const QPoint point : {QPoint(160, 0), QPoint(0, 90), QPoint(319, 179), QPoint(160, 120)}) {
    for (std::size_t c = 0; c < 3; ++c) {
      const int x = point.x();
      const int y = point.y();
      const double middle = 0.5 * (channel(start, x, y, c) + channel(settledTarget, x, y, c));
      EXPECT_NEAR(channel(halfway, x, y, c), middle, 1.5) << x << "," << y << " " << c;
    }
  }
  EXPECT_TRUE(renderer.view().isAnimatingColors());

  const QImage finished = renderer.renderFrame(20ms);
  EXPECT_EQ(finished, settledTarget);
  EXPECT_FALSE(renderer.view().isAnimatingColors());
  EXPECT_EQ(renderer.renderFrame(100ms), settledTarget);
}

TEST(AmbientGradientViewTest, ColourChangeMidwayGlidesOnFromTheColoursOnScreen) {
  OffscreenLightRenderer renderer(QSize(320, 180));
  renderer.view().updateColors(uniformZones(0.9F, 0.9F, 0.9F), 1.0, 60.0, 1.0);
  renderer.renderSettled();
  renderer.view().updateColors(uniformZones(0.1F, 0.5F, 0.1F), 1.0, 60.0, 1.0);
  const QImage midway = renderer.renderFrame(10ms);
  renderer.view().updateColors(uniformZones(0.0F, 0.0F, 0.9F), 1.0, 60.0, 1.0);
  EXPECT_EQ(renderer.renderFrame(0ms), midway);
  EXPECT_NE(renderer.renderFrame(10ms), midway);
}

TEST(AmbientGradientViewTest, TheSameColoursAgainDrawNoNewPicture) {
  // A still picture gives the same colours frame after frame: nothing to draw.
  OffscreenLightRenderer renderer(QSize(320, 180));
  renderer.view().updateColors(distinctZones(), 1.0, 60.0, 1.0);
  const QImage settled = renderer.renderSettled();
  const int renders = renderer.view().pictureRenderCount();
  renderer.view().updateColors(distinctZones(), 1.0, 60.0, 1.0);
  EXPECT_FALSE(renderer.view().isAnimatingColors());
  EXPECT_EQ(renderer.renderFrame(20ms), settled);
  EXPECT_EQ(renderer.view().pictureRenderCount(), renders);
  // New colours do draw.
  renderer.view().updateColors(uniformZones(0.3F, 0.3F, 0.3F), 1.0, 60.0, 1.0);
  renderer.renderFrame(20ms);
  EXPECT_EQ(renderer.view().pictureRenderCount(), renders + 1);
}

// Under a frame-rate cap (the light window's: the capture rate), the first
// frame of new colours is drawn at once and already shows the glide under way,
// as far as it gets halfway through that frame's time on screen.
TEST(AmbientGradientViewTest, UnderAFrameRateCapNewColoursAreDrawnAtOnceAlreadyOnTheirWay) {
  const QSize size(320, 180);
  const ZoneColorList from = uniformZones(0.2F, 0.6F, 0.4F);
  const ZoneColorList to = uniformZones(0.8F, 0.2F, 0.0F);
  const QImage settledTarget = OffscreenLightRenderer::render(size, to, 1.0, 1.0, 60.0);
  OffscreenLightRenderer renderer(size);
  renderer.view().setMaximumFrameRate(30);
  renderer.view().updateColors(from, 1.0, 60.0, 1.0);
  const QImage start = renderer.renderSettled();
  const int renders = renderer.view().pictureRenderCount();

  renderer.view().updateColors(to, 1.0, 60.0, 1.0);
  const QImage first = renderer.renderFrame(0ms);
  EXPECT_EQ(renderer.view().pictureRenderCount(), renders + 1);
  const double progress = (1000.0 / 30.0 / 2.0) / 40.0;  // half a frame into a 40 ms glide
  for (const QPoint point : {QPoint(160, 0), QPoint(0, 90), QPoint(319, 179), QPoint(160, 120)}) {
    for (std::size_t c = 0; c < 3; ++c) {
      const int x = point.x();
      const int y = point.y();
      const double expected = channel(start, x, y, c) + progress * (channel(settledTarget, x, y, c) - channel(start, x, y, c));
      EXPECT_NEAR(channel(first, x, y, c), expected, 1.5) << x << "," << y << " " << c;
    }
  }
}

// However low the cap, the glide is drawn in two frames at least: the
// second comes a glide's length later at most and ends on the new colours.
TEST(AmbientGradientViewTest, UnderALowFrameRateCapTheGlidesLastFrameIsDrawnLaterNotDropped) {
  OffscreenLightRenderer renderer(QSize(320, 180));
  renderer.view().setMaximumFrameRate(2);
  renderer.view().updateColors(uniformZones(0.9F, 0.1F, 0.1F), 1.0, 60.0, 1.0);
  renderer.renderSettled();

  renderer.view().updateColors(uniformZones(0.1F, 0.1F, 0.9F), 1.0, 60.0, 1.0);
  const QImage first = renderer.renderFrame(0ms);
  EXPECT_GT(qBlue(first.pixel(160, 0)), 60) << "halfway: a glide, not a jump";
  EXPECT_LT(qBlue(first.pixel(160, 0)), 200);
  const int renders = renderer.view().pictureRenderCount();
  // The glide is over by its own pace (20 ms from its halfway start), but
  // its last frame waits for the interval: a glide's length, 40 ms.
  EXPECT_EQ(renderer.renderFrame(30ms), first);
  EXPECT_EQ(renderer.view().pictureRenderCount(), renders);
  EXPECT_TRUE(renderer.view().isAnimatingColors());

  const QImage later = renderer.renderFrame(10ms);
  EXPECT_EQ(renderer.view().pictureRenderCount(), renders + 1);
  EXPECT_FALSE(renderer.view().isAnimatingColors());
  EXPECT_GT(qBlue(later.pixel(160, 0)), 200);
  EXPECT_LT(qRed(later.pixel(160, 0)), 60);
}

TEST(AmbientGradientViewTest, BeforeAnyFrameTheLightIsBlack) {
  OffscreenLightRenderer renderer(QSize(320, 180));
  const QImage image = renderer.renderFrame();
  EXPECT_EQ(image.pixel(0, 0), qRgb(0, 0, 0));
  EXPECT_EQ(image.pixel(160, 90), qRgb(0, 0, 0));
}

// --- The renderer itself ---

TEST(OffscreenLightRendererTest, DrawsWithOpenGlOnAnX11DisplayAndWithSoftwareOffscreen) {
  OffscreenLightRenderer renderer(QSize(64, 36));
  if (QGuiApplication::platformName() == QStringLiteral("xcb")) {
    EXPECT_TRUE(renderer.usesOpenGL());
  } else if (qEnvironmentVariableIsEmpty("DISPLAY")) {
    EXPECT_FALSE(renderer.usesOpenGL());
  }
  EXPECT_EQ(renderer.renderFrame().size(), QSize(64, 36));
}

TEST(OffscreenLightRendererTest, RenderGivesTheSettledLightForOneFramesColours) {
  const QImage image = OffscreenLightRenderer::render(QSize(400, 225), distinctZones(), kDefaultBrightness,
                                                      kDefaultSpread, kDefaultBlur);
  EXPECT_EQ(image.size(), QSize(400, 225));
  AmbientGradientModel model;
  model.layout(400, 225);
  model.updateColors(distinctZones(), kDefaultBrightness, kDefaultBlur, kDefaultSpread);
  expectMatchesExactLight(image, model, kExactTolerance);
}

TEST(OffscreenLightRendererTest, RejectsAnEmptySize) {
  EXPECT_THROW(OffscreenLightRenderer(QSize(0, 10)), std::runtime_error);
}

// Time in a rendering moves only with that renderer's frames.
TEST(OffscreenLightRendererTest, EachRendererKeepsItsOwnClock) {
  OffscreenLightRenderer gliding(QSize(32, 18));
  gliding.view().updateColors(uniformZones(0.9F, 0.1F, 0.1F), 1.0, 60.0, 1.0);
  gliding.renderSettled();
  gliding.view().updateColors(uniformZones(0.1F, 0.1F, 0.9F), 1.0, 60.0, 1.0);
  const QImage start = gliding.renderFrame();

  OffscreenLightRenderer other(QSize(32, 18));
  other.view().updateColors(uniformZones(0.5F, 0.5F, 0.5F), 1.0, 60.0, 1.0);
  EXPECT_EQ(other.renderFrame(100ms).size(), QSize(32, 18));

  EXPECT_EQ(gliding.renderFrame(), start);
  EXPECT_TRUE(gliding.view().isAnimatingColors());
  EXPECT_NE(gliding.renderFrame(40ms), start);
  EXPECT_FALSE(gliding.view().isAnimatingColors());
}

}  // namespace
}  // namespace tarvelo
