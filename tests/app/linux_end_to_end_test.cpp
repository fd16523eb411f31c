// The whole program on real RandR outputs of the virtual rig: the real Linux
// platform, the test film on the movie screen, and what the light screen then
// shows, read back from the X server.
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QStandardPaths>

#include <memory>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "app/app_state.h"
#include "app/linux_platform.h"
#include "displays/x11/x11_display_source.h"
#include "end_to_end_support.h"
#include "output/ambient_gradient_model.h"
#include "pipeline/color_processing_engine.h"
#include "test_film_scenes.h"
#include "ui/ui_resources.h"

namespace tarvelo::testing {
namespace {

using namespace std::chrono_literals;

const QRect kTopOutput(0, 0, 1920, 1080);
const QRect kBottomOutput(0, 1080, 1920, 1080);

// The light has settled on a still picture once the light screen shows the
// same pixels twice, a quarter of a second apart, and something is lit.
bool waitForSteadyLight() {
  QImage previous = grabScreen(kBottomOutput);
  return waitUntil(
      [&] {
        QElapsedTimer clock;
        clock.start();
        waitUntil([&] { return clock.elapsed() > 250; }, 1s);
        QImage current = grabScreen(kBottomOutput);
        const bool steady = current == previous && current.pixelColor(960, 30) != QColor(Qt::black);
        previous = std::move(current);
        return steady;
      },
      20s);
}

class LinuxEndToEndTest : public ::testing::Test {
 protected:
  void SetUp() override {
    runRigScript({QStringLiteral("layout"), QStringLiteral("stacked")});
    // Each test starts from a fresh settings file.
    QFile::remove(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                  QStringLiteral("/Tarvelo/Tarvelo.conf"));
    platform_ = std::make_unique<LinuxPlatform>(ui::settingsViewUrl());
  }

  void TearDown() override {
    if (appState_) appState_->stop();
    appState_.reset();
    platform_.reset();
    runRigScript({QStringLiteral("layout"), QStringLiteral("stacked")});
  }

  AppState& makeAppState() {
    appState_ = std::make_unique<AppState>(platform_->services());
    return *appState_;
  }

  static DisplayId outputId(const std::string& name) { return X11DisplaySource().outputIdForName(name).value(); }

  // Waits until the rig's layout change has reached the state through the
  // display-change notices.
  bool waitForDisplayCount(AppState& state, std::size_t count) {
    return waitUntil([&] { return state.availableDisplays().size() == count; }, 10s);
  }

  std::unique_ptr<LinuxPlatform> platform_;
  std::unique_ptr<AppState> appState_;
};

struct ProbePoint {
  const char* what;
  double x;
  double y;
};

// Points of the light screen (1920 × 1080, blur 10, so a margin of 60) where
// the unblurred model is linear for at least 3σ around: inside one strip's
// uncovered part near the top edge, in the side glows, in the wash above the
// bottom glow and in the bottom glow. There the blur returns the model's
// value, and the screen must show it.
std::vector<ProbePoint> probePoints() {
  const double containerWidth = 1920 + 2 * 60;
  const double strip = containerWidth / 9;
  std::vector<ProbePoint> points;
  static const char* kStrips[9] = {"strip 0", "strip 1", "strip 2", "strip 3", "strip 4",
                                   "strip 5", "strip 6", "strip 7", "strip 8"};
  for (int i = 0; i < 9; ++i) {
    // The part of strip i that strip i + 1 does not cover starts 0.275 of a
    // slot before its own slot and ends 0.725 into it.
    double x = strip * i + strip * 0.225 - 60;
    if (i == 0) x = 50;
    if (i == 8) x = 1800;
    points.push_back({kStrips[i], x, 30});
  }
  points.push_back({"left glow", 40, 540});
  points.push_back({"right glow", 1880, 540});
  points.push_back({"wash over strip 4", 960, 1000});
  points.push_back({"bottom glow", 960, 1060});
  return points;
}

// The zone colours the pipeline makes of the very picture the film shows,
// reduced to the capture size by an exact box filter.
ZoneColorList expectedZones(const QImage& picture, double xStart, double xEnd) {
  const QImage small = boxDownscale(picture, 160, 100);
  const Frame frame{small.constBits(), small.width(), small.height(), small.bytesPerLine()};
  ColorProcessingEngine engine;
  return engine.process(frame, 0.3F, 1.7F, xStart, xEnd);
}

class LightFollowsTheFilm : public LinuxEndToEndTest, public ::testing::WithParamInterface<const char*> {};

TEST_P(LightFollowsTheFilm, LightScreenShowsTheModelsColoursAtProbePoints) {
  const QString sceneName = QString::fromLatin1(GetParam());
  const film::Scene scene = film::parseScene(sceneName).value();
  const QImage picture = film::renderScene(scene, kTopOutput.size());
  FilmPlayer film(QStringLiteral("DUMMY0"), sceneName);
  ASSERT_TRUE(waitUntil([&] { return grabScreen(kTopOutput) == picture.convertToFormat(QImage::Format_RGB32); }, 10s))
      << "the film did not come up on the movie screen";

  AppState& state = makeAppState();
  state.setShowFloatingHUD(false);  // the probes near the bottom edge lie where the HUD would be
  state.setBlurRadius(10.0);
  state.start();
  ASSERT_TRUE(waitUntil([&] { return state.isRunning(); }, 10s)) << state.errorMessageText().toStdString();
  ASSERT_TRUE(waitForSteadyLight()) << "the light never settled";
  const QImage light = grabScreen(kBottomOutput);

  AmbientGradientModel model;
  model.layout(1920, 1080);
  model.updateColors(expectedZones(picture, state.xOverlapStart(), state.xOverlapEnd()), state.brightness(),
                     state.blurRadius(), state.spread());

  // Tolerance, per channel out of 255: the capture's downscale is within 3 of
  // an exact box filter, the HSV boost's value curve (x^0.65) at most doubles
  // that for the darkest zones here, brightness 1.4 scales it again unless the
  // channel is already limited at 1, and the screen adds 8-bit rounding and
  // the renderer's reduced-resolution drawing (about 1).
  constexpr double kTolerance = 10.0;
  for (const ProbePoint& probe : probePoints()) {
    const LightColor expected = evaluateLight(model, probe.x, probe.y);
    const MeanColour shown = meanAround(light, static_cast<int>(probe.x), static_cast<int>(probe.y));
    EXPECT_NEAR(shown.red, expected.red * 255, kTolerance) << probe.what;
    EXPECT_NEAR(shown.green, expected.green * 255, kTolerance) << probe.what;
    EXPECT_NEAR(shown.blue, expected.blue * 255, kTolerance) << probe.what;
  }
}

INSTANTIATE_TEST_SUITE_P(Scenes, LightFollowsTheFilm, ::testing::Values("bands", "letterbox", "solid:c04020"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                           std::string name = info.param;
                           return name.substr(0, name.find(':'));
                         });

TEST_F(LinuxEndToEndTest, AutomaticArrangementFollowsTheRigsLayouts) {
  AppState& state = makeAppState();
  const DisplayId top = outputId("DUMMY0");
  const DisplayId bottom = outputId("DUMMY1");
  const std::string stacked = "Auto-aligned: External Display (Top) \u2192 External Display (Bottom)";

  EXPECT_EQ(state.arrangementDescription(), stacked);
  EXPECT_EQ(state.sourceDisplayID(), top);
  EXPECT_EQ(state.targetDisplayID(), bottom);
  EXPECT_EQ(state.xOverlapStart(), 0.0);
  EXPECT_EQ(state.xOverlapEnd(), 1.0);

  runRigScript({QStringLiteral("layout"), QStringLiteral("4k-over-hd")});
  ASSERT_TRUE(waitUntil([&] { return state.xOverlapStart() == 0.25; }, 10s)) << "no display-change refresh arrived";
  EXPECT_EQ(state.arrangementDescription(), stacked);
  EXPECT_EQ(state.xOverlapEnd(), 0.75);
  EXPECT_EQ(state.availableDisplays().at(0).width, 3840);

  runRigScript({QStringLiteral("layout"), QStringLiteral("side-by-side")});
  ASSERT_TRUE(waitUntil([&] { return state.arrangementDescription().starts_with("Side-by-side: "); }, 10s));
  EXPECT_EQ(state.arrangementDescription(), "Side-by-side: External Display \u2192 External Display");
  EXPECT_EQ(state.sourceDisplayID(), top);
  EXPECT_EQ(state.targetDisplayID(), bottom);
  EXPECT_EQ(state.xOverlapStart(), 0.0);
  EXPECT_EQ(state.xOverlapEnd(), 1.0);
}

TEST_F(LinuxEndToEndTest, UnplugAndReplugWhileRunningKeepTheLightsRunning) {
  FilmPlayer film(QStringLiteral("DUMMY0"), QStringLiteral("moving"));
  AppState& state = makeAppState();
  const DisplayId source = state.sourceDisplayID();
  const DisplayId target = state.targetDisplayID();
  state.start();
  ASSERT_TRUE(waitUntil([&] { return state.isRunning(); }, 10s)) << state.errorMessageText().toStdString();

  runRigScript({QStringLiteral("layout"), QStringLiteral("single")});
  ASSERT_TRUE(waitForDisplayCount(state, 1));
  EXPECT_EQ(state.arrangementDescription(), "Single display detected");
  EXPECT_EQ(state.sourceDisplayID(), source) << "ids already chosen are kept";
  EXPECT_EQ(state.targetDisplayID(), target);
  EXPECT_TRUE(state.isRunning()) << "a display change neither stops nor restarts the lights";

  runRigScript({QStringLiteral("layout"), QStringLiteral("stacked")});
  ASSERT_TRUE(waitForDisplayCount(state, 2));
  EXPECT_TRUE(waitUntil([&] { return state.arrangementDescription().starts_with("Auto-aligned: "); }, 10s));
  EXPECT_TRUE(state.isRunning());

  state.stop();
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.ambientWindow(), nullptr);
}

TEST_F(LinuxEndToEndTest, StartWithoutTheTargetScreenSaysSo) {
  AppState& state = makeAppState();
  runRigScript({QStringLiteral("layout"), QStringLiteral("single")});
  ASSERT_TRUE(waitForDisplayCount(state, 1));

  state.start();
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.errorMessage(), std::optional<std::string>("Target display not found. Try refreshing displays."));
  EXPECT_EQ(state.ambientWindow(), nullptr);
}

TEST_F(LinuxEndToEndTest, StartWhenTheMovieScreenIsGoneFailsToStartCapture) {
  // The light screen above the movie screen makes the unplugged one the
  // source; its id is kept, so capture is asked for a display that is gone.
  runRigScript({QStringLiteral("layout"), QStringLiteral("reversed")});
  AppState& state = makeAppState();
  ASSERT_EQ(state.sourceDisplayID(), outputId("DUMMY1"));
  runRigScript({QStringLiteral("layout"), QStringLiteral("single")});
  ASSERT_TRUE(waitForDisplayCount(state, 1));

  ::testing::internal::CaptureStdout();
  state.start();
  const bool finished = waitUntil([&] { return state.errorMessage().has_value(); }, 10s);
  const std::string output = ::testing::internal::GetCapturedStdout();
  ASSERT_TRUE(finished);
  EXPECT_EQ(state.errorMessage(),
            std::optional<std::string>("Failed to start capture: Could not find the selected display for capture."));
  EXPECT_EQ(output, "[Tarvelo] Failed to start capture: Could not find the selected display for capture.\n");
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.ambientWindow(), nullptr);
  EXPECT_EQ(state.captureService(), nullptr);
}

}  // namespace
}  // namespace tarvelo::testing
