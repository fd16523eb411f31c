// The light output of a Wayland session on the rig: the light window the run
// control asks for lands on the named output, is kept going by the
// application's event loop, and goes when it is ordered out.
#include "output/wayland/wayland_output_platform.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QImage>

#include <functional>
#include <string>

#include "app/app_state.h"
#include "app/app_test_support.h"
#include "output/light_view.h"
#include "pipeline/zone_color.h"
#include "rig_screenshots.h"
#include "ui/view_engine.h"

namespace tarvelo {
namespace {

class WaylandOutputPlatformTest : public ::testing::Test {
 protected:
  QImage screenshot(const std::string& output) { return shots_.take(output); }

  // Runs the event loop (and nothing else talks to the compositor) until the
  // light screen shows what `settled` wants.
  QImage waitForLightScreen(const std::function<bool(const QImage&)>& settled) {
    return shots_.waitFor("HEADLESS-2", settled);
  }

  static Screen lightScreen() { return Screen{7U, "Light", DisplayRect{960, 2160, 1920, 1080}}; }

  testing::RigScreenshots shots_;
  ui::ViewEngine views_;
};

TEST_F(WaylandOutputPlatformTest, TheLightLandsOnTheScreensOutputFollowsColoursAndGoesWhenOrderedOut) {
  std::vector<Screen> asked;
  WaylandOutputPlatform platform(views_, [&](const Screen& screen) {
    asked.push_back(screen);
    return std::string("HEADLESS-2");
  });
  const QImage before = screenshot("HEADLESS-2");
  ASSERT_EQ(before.size(), QSize(1920, 1080));

  std::unique_ptr<LightWindow> window = platform.createLightWindow(lightScreen(), 30);
  ASSERT_NE(window, nullptr);
  ASSERT_EQ(asked.size(), 1U);
  EXPECT_EQ(asked[0].displayNumber, std::optional<DisplayId>(7U));
  ASSERT_NE(window->view(), nullptr);

  // Pure red at full strength: the top edge, where the strips are opaque, is red.
  window->view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{1.0F, 0.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);
  const auto isRedAtTheTop = [](const QImage& shot) {
    const QRgb top = shot.pixel(960, 2);
    return qRed(top) > 200 && qGreen(top) < 30 && qBlue(top) < 30;
  };
  EXPECT_TRUE(isRedAtTheTop(waitForLightScreen(isRedAtTheTop)));

  // Then green: the event loop alone carries the buffers back and forth.
  window->view()->updateColors(ZoneColorList(kZoneCount, ZoneColor{0.0F, 1.0F, 0.0F, 1.0F}), 1.0, 60.0, 1.0);
  const auto isGreenAtTheTop = [](const QImage& shot) {
    const QRgb top = shot.pixel(960, 2);
    return qGreen(top) > 200 && qRed(top) < 30 && qBlue(top) < 30;
  };
  EXPECT_TRUE(isGreenAtTheTop(waitForLightScreen(isGreenAtTheTop)));

  window->orderOut();
  EXPECT_EQ(window->view(), nullptr);
  EXPECT_TRUE(waitForLightScreen([&](const QImage& shot) { return shot == before; }) == before)
      << "the light screen does not show what it showed before the light";
}

TEST_F(WaylandOutputPlatformTest, AnOutputTheCompositorLacksGivesNoWindowAndOneLine) {
  WaylandOutputPlatform platform(views_, [](const Screen&) { return std::string("NOWHERE-9"); });
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(platform.createLightWindow(lightScreen(), 30), nullptr);
  const std::string said = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(said.rfind("[Tarvelo] The light cannot be shown on NOWHERE-9: ", 0), 0U) << said;
  EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1);
}

TEST_F(WaylandOutputPlatformTest, AScreenNoOutputShowsGivesNoWindowAndOneLine) {
  WaylandOutputPlatform platform(views_, [](const Screen&) { return std::string(); });
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(platform.createLightWindow(lightScreen(), 30), nullptr);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "[Tarvelo] No Wayland output shows Light; the light stays off.\n");
}

TEST_F(WaylandOutputPlatformTest, WithoutALightThereIsNoHud) {
  WaylandOutputPlatform platform(views_, [](const Screen&) { return std::string("NOWHERE-9"); });
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(platform.createLightWindow(lightScreen(), 30), nullptr);
  ::testing::internal::GetCapturedStdout();
  testing::AppStateHarness harness;
  harness.create();
  EXPECT_EQ(platform.createHudWindow(DisplayRect{1660, 3162, 520, 50}, *harness.appState, [] {}), nullptr);
}

}  // namespace
}  // namespace tarvelo
