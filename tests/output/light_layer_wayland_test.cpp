// The light as a layer surface on the headless Wayland rig
// (scripts/virtual-wayland.sh): HEADLESS-1 (3840 x 2160, the movie screen)
// over HEADLESS-2 (1920 x 1080, the light screen). What the compositor shows
// is read back with grim and held to the exact light the model describes.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QImage>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "exact_light.h"
#include "light_probes.h"
#include "output/wayland/wayland_layer_light.h"
#include "output/picture_light_view.h"
#include "pipeline/zone_color.h"
#include "rig/nested_sway.h"
#include "rig/wayland_rig_session.h"

namespace tarvelo {
namespace {

using namespace std::chrono_literals;
using testing::ProbeRange;

// The compositor stretches the picture with a filter of its own (wlroots'
// software renderer samples the nearest texel, GPU renderers blend), so a
// pixel shows the light from up to a texel away: each probe is held to the
// range of the exact light within one texel of it, give or take the
// reduced picture's exact-light tolerance (see the view's tests).
constexpr int kTolerance = 3;

bool run(const std::string& command) {
  const int status = std::system((command + " > /dev/null 2>&1").c_str());
  return status == 0;
}

using testing::useRigLayout;

// Every zone and channel different, none saturating at brightness 1.4.
ZoneColorList distinctZones(float shift) {
  ZoneColorList zones;
  for (std::size_t i = 0; i < kZoneCount; ++i) {
    const float step = static_cast<float>(i);
    zones.push_back(ZoneColor{0.05F + 0.04F * step, 0.6F - 0.03F * step - shift, 0.15F + 0.025F * step + shift, 1.0F});
  }
  return zones;
}

class LayerLightOnWayland : public ::testing::Test {
 protected:
  void SetUp() override {
    useRigLayout("4k-over-hd");
    char pattern[] = "/tmp/tarvelo-light-layer-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    shots_ = pattern;
  }

  void TearDown() override {
    view_.reset();
    light_.reset();
    if (std::getenv("TARVELO_KEEP_SHOTS") == nullptr) run("rm -rf '" + shots_ + "'");
    useRigLayout("4k-over-hd");
  }

  WaylandLayerLight& open(const std::string& output = "HEADLESS-2", const std::string& display = {}) {
    view_.reset();
    light_.reset();
    WaylandLayerLight::OpenResult opened = WaylandLayerLight::open(output, display);
    EXPECT_TRUE(opened.error.empty()) << opened.error;
    light_ = std::move(opened.light);
    if (!light_) throw std::runtime_error("no light: " + opened.error);
    view_ = std::make_unique<PictureLightView>(*light_);
    return *light_;
  }

  // What the output shows now.
  QImage screenshot(const std::string& output) {
    const std::string file = shots_ + "/" + output + ".png";
    if (!run("grim -o " + output + " '" + file + "'")) return {};
    return QImage(QString::fromStdString(file)).convertToFormat(QImage::Format_RGB32);
  }

  // Keeps the connection going until HEADLESS-2 shows what `settled` wants.
  QImage waitForLight(const std::function<bool(const QImage&)>& settled) {
    QImage shot;
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (std::chrono::steady_clock::now() < deadline) {
      light_->dispatch(50ms);
      QCoreApplication::processEvents();  // the glide's frames
      shot = screenshot("HEADLESS-2");
      if (!shot.isNull() && settled(shot)) break;
    }
    return shot;
  }

  // A screenshot of HEADLESS-2 in the light's units, where the model is laid
  // out: its pixels, unless the output is scaled.
  QImage inLightUnits(const QImage& shot) const {
    const QSize units(light_->width(), light_->height());
    return shot.size() == units ? shot : shot.scaled(units, Qt::IgnoreAspectRatio, Qt::FastTransformation);
  }

  // Waits until every probe agrees with the model, and returns the screenshot
  // (the ranges it was held to are in ranges_).
  QImage waitForModelsLight() {
    const int width = light_->width();
    const int height = light_->height();
    const double texel = std::max(static_cast<double>(width) / (view_->pictureWidth() - 2),
                                  static_cast<double>(height) / (view_->pictureHeight() - 2));
    ranges_ = testing::exactRangesNear(view_->model(), width, height, texel);
    return waitForLight([&](const QImage& shot) {
      if (shot.size() != QSize(1920, 1080)) return false;
      const QImage units = inLightUnits(shot);
      return std::all_of(ranges_.begin(), ranges_.end(),
                         [&](const ProbeRange& range) { return testing::isWithin(units, range, kTolerance); });
    });
  }

  void expectModelsLight(const QImage& shot) {
    ASSERT_EQ(shot.size(), QSize(1920, 1080));
    testing::expectWithinRanges(inLightUnits(shot), ranges_, kTolerance);
  }

  // Bright all along the top edge (the strips are opaque there under white
  // zones), lit in every corner and down both sides: no pixel of the output
  // is left uncovered.
  static void expectEveryEdgeLit(const QImage& shot) {
    ASSERT_EQ(shot.size(), QSize(1920, 1080));
    for (int x = 0; x < 1920; ++x) ASSERT_GT(qGray(shot.pixel(x, 0)), 200) << x;
    for (int y = 0; y < 1080; ++y) {
      ASSERT_GT(qGray(shot.pixel(0, y)), 40) << y;
      ASSERT_GT(qGray(shot.pixel(1919, y)), 40) << y;
    }
    for (int x = 0; x < 1920; ++x) ASSERT_GT(qGray(shot.pixel(x, 1079)), 40) << x;
  }

  std::string shots_;
  std::vector<ProbeRange> ranges_;
  std::unique_ptr<WaylandLayerLight> light_;
  std::unique_ptr<PictureLightView> view_;
};

TEST_F(LayerLightOnWayland, CoversTheLightScreenExactly) {
  WaylandLayerLight& light = open();
  EXPECT_EQ(light.width(), 1920);
  EXPECT_EQ(light.height(), 1080);
  // The picture the compositor stretches is small: texels a third of the blur's sigma.
  EXPECT_LT(view_->pictureWidth() * view_->pictureHeight(), 1920 * 1080 / 100);

  view_->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 1.0F, 1.0F, 1.0F}), 1.0, 60.0, 1.0);
  const QImage shot = waitForModelsLight();
  expectModelsLight(shot);
  expectEveryEdgeLit(shot);
}

// At a fractional scale the light is laid out in the output's units (1280 x
// 720 at 1.5) and the compositor stretches it over every one of its pixels.
TEST_F(LayerLightOnWayland, CoversAFractionallyScaledOutputExactly) {
  ASSERT_TRUE(run("swaymsg output HEADLESS-2 scale 1.5"));
  WaylandLayerLight& light = open();
  EXPECT_EQ(light.width(), 1280);
  EXPECT_EQ(light.height(), 720);

  view_->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 1.0F, 1.0F, 1.0F}), 1.0, 60.0, 1.0);
  const QImage white = waitForModelsLight();
  expectModelsLight(white);
  expectEveryEdgeLit(white);
  view_->updateColors(distinctZones(0.0F), 1.4, 60.0, 0.85);
  expectModelsLight(waitForModelsLight());
}

TEST_F(LayerLightOnWayland, ShowsTheModelsLightAtEveryProbeAndLeavesTheMovieScreenAlone) {
  // Whatever the movie screen shows (other tests paint it), the light leaves it as it was.
  const QImage topBefore = screenshot("HEADLESS-1");
  ASSERT_EQ(topBefore.size(), QSize(3840, 2160));
  open();
  view_->updateColors(distinctZones(0.0F), 1.4, 60.0, 0.85);
  expectModelsLight(waitForModelsLight());
  const QImage topAfter = screenshot("HEADLESS-1");
  EXPECT_TRUE(topAfter == topBefore) << "the movie screen changed while the light was shown";
}

TEST_F(LayerLightOnWayland, FollowsNewColoursAndSettings) {
  open();
  view_->updateColors(distinctZones(0.0F), 1.4, 60.0, 0.85);
  const QImage first = waitForModelsLight();
  expectModelsLight(first);

  // Other colours, a smaller blur and a wider spread: the screen follows.
  view_->updateColors(distinctZones(0.3F), 1.2, 30.0, 1.3);
  const QImage second = waitForModelsLight();
  expectModelsLight(second);
  EXPECT_NE(first.pixel(960, 540), second.pixel(960, 540));

  // A burst of changes faster than the compositor releases buffers ends on the last one.
  for (int i = 0; i < 20; ++i) view_->updateColors(distinctZones(0.01F * static_cast<float>(i)), 1.4, 30.0, 0.85);
  view_->updateColors(distinctZones(0.2F), 1.4, 30.0, 0.85);
  expectModelsLight(waitForModelsLight());
}

TEST_F(LayerLightOnWayland, NewColoursGlideInFromAPictureAlreadyOnItsWay) {
  open();
  view_->setMaximumFrameRate(30);
  view_->updateColors(distinctZones(0.0F), 1.4, 60.0, 0.85);
  expectModelsLight(waitForModelsLight());
  const std::vector<LightColor> before(view_->shownColors().begin(), view_->shownColors().end());
  const int picturesBefore = view_->pictureShowCount();

  view_->updateColors(distinctZones(0.3F), 1.4, 60.0, 0.85);
  // At once, one picture partway: neither the old colours nor yet the new.
  EXPECT_EQ(view_->pictureShowCount(), picturesBefore + 1);
  EXPECT_TRUE(view_->isGliding());
  EXPECT_FALSE(std::ranges::equal(view_->shownColors(), before));
  EXPECT_FALSE(std::ranges::equal(view_->shownColors(), view_->targetColors()));

  // A glide, not a jump: a later picture lands on the new colours (held to
  // the frame rate, it may come a little after the glide's end).
  const auto runFor = [&](std::chrono::milliseconds time, const std::function<bool()>& done) {
    const QDeadlineTimer deadline(time);
    while (!done() && !deadline.hasExpired()) {
      QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
      light_->dispatch(5ms);
    }
  };
  runFor(2000ms, [&] { return !view_->isGliding() && view_->pictureShowCount() >= picturesBefore + 2; });
  EXPECT_FALSE(view_->isGliding());
  EXPECT_TRUE(std::ranges::equal(view_->shownColors(), view_->targetColors()));
  EXPECT_GE(view_->pictureShowCount(), picturesBefore + 2);
  // At 30 frames a second, the 0.04 s glide has no room for more than three.
  runFor(200ms, [] { return false; });
  EXPECT_LE(view_->pictureShowCount(), picturesBefore + 3);
  expectModelsLight(waitForModelsLight());
}

// The rig's outputs cannot be unplugged: this one is on a compositor nested
// in the rig, WL-1 (1280 x 720) over WL-2 (640 x 360).
TEST_F(LayerLightOnWayland, ReportsTheLossOfItsOutputAndOutlivesIt) {
  testing::NestedSway nested;
  WaylandLayerLight& light = open("WL-2", nested.waylandDisplay());
  EXPECT_EQ(light.width(), 640);
  std::vector<std::string> reasons;
  light.onLost = [&](const std::string& reason) { reasons.push_back(reason); };
  view_->updateColors(distinctZones(0.0F), 1.4, 60.0, 0.85);
  light.dispatch(100ms);
  ASSERT_FALSE(light.isLost());

  nested.unplug("WL-2");
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  while (!light.isLost() && std::chrono::steady_clock::now() < deadline) light.dispatch(100ms);
  ASSERT_TRUE(light.isLost());
  light.dispatch(100ms);
  ASSERT_EQ(reasons.size(), 1u);
  EXPECT_EQ(reasons[0], light.lossReason());
  EXPECT_FALSE(light.lossReason().empty());

  // Colours after the loss are dropped quietly, and the loss is told once.
  view_->updateColors(distinctZones(0.2F), 1.4, 60.0, 0.85);
  EXPECT_FALSE(light.dispatch(100ms));
  EXPECT_EQ(reasons.size(), 1u);

  // With a display plugged in again, a new light opens there.
  nested.plugIn();
  const auto plugged = std::chrono::steady_clock::now() + 10s;
  while (!nested.hasOutput("WL-3") && std::chrono::steady_clock::now() < plugged) std::this_thread::sleep_for(50ms);
  EXPECT_EQ(open("WL-3", nested.waylandDisplay()).width(), 640);
  view_.reset();
  light_.reset();
}

TEST_F(LayerLightOnWayland, ReportsABrokenConnectionOnceAndShowsNothingMore) {
  WaylandLayerLight& light = open();
  std::vector<std::string> reasons;
  light.onLost = [&](const std::string& reason) { reasons.push_back(reason); };
  ASSERT_TRUE(light.dispatch(50ms));
  // The compositor's end of the socket gone, as when it exits or crashes.
  ASSERT_EQ(shutdown(light.fileDescriptor(), SHUT_RDWR), 0);
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  while (!light.isLost() && std::chrono::steady_clock::now() < deadline) light.dispatch(50ms);
  ASSERT_TRUE(light.isLost());
  EXPECT_EQ(reasons.size(), 1u);
  EXPECT_EQ(light.lossReason().rfind("The Wayland connection broke", 0), 0u) << light.lossReason();
  view_->updateColors(distinctZones(0.2F), 1.4, 60.0, 0.85);
  EXPECT_FALSE(light.dispatch(50ms));
  EXPECT_EQ(reasons.size(), 1u);
}

TEST(LayerLightOpening, NamesTheOutputsWhenTheOneAskedForIsMissing) {
  const WaylandLayerLight::OpenResult opened = WaylandLayerLight::open("HEADLESS-9");
  EXPECT_EQ(opened.light, nullptr);
  EXPECT_EQ(opened.failure, WaylandLayerLight::Failure::noSuchOutput);
  EXPECT_EQ(opened.error, "No output named HEADLESS-9 (outputs: HEADLESS-1, HEADLESS-2)");
}

TEST(LayerLightOpening, SaysSoWhenNoCompositorAnswers) {
  const WaylandLayerLight::OpenResult opened = WaylandLayerLight::open("HEADLESS-2", "tarvelo-no-such-wayland");
  EXPECT_EQ(opened.light, nullptr);
  EXPECT_EQ(opened.failure, WaylandLayerLight::Failure::noCompositor);
  EXPECT_EQ(opened.error, "No Wayland compositor answers on tarvelo-no-such-wayland");
}

}  // namespace
}  // namespace tarvelo
