#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "app_test_support.h"
#include "output/ambient_light_window.h"

namespace tarvelo::testing {
namespace {

using std::chrono::milliseconds;

const Screen kLightScreen = screenFor(2, {0.0, 1080.0, 1920.0, 1080.0});
constexpr Point kOnLightScreen{960.0, 1500.0};
constexpr Point kOnMovieScreen{960.0, 500.0};

const AlphaAnimation kShow{1.0, 0.25};
const AlphaAnimation kHide{0.0, 0.5};
const AlphaAnimation kDismiss{0.0, std::nullopt};

class AmbientLightWindowTest : public ::testing::Test, protected AppStateHarness {
 protected:
  AmbientLightWindowTest() {
    create();
    controller = std::make_unique<AmbientLightWindow>(fakes.output, fakes.mainQueue);
  }
  ~AmbientLightWindowTest() override { controller.reset(); }

  // The pointer moves; the monitor's hop to the main queue runs.
  void moveTo(Point location) {
    fakes.output.moveMouse(location);
    fakes.mainQueue.runPending();
  }

  HudWindowRecord& hud() { return *fakes.output.hudWindows.at(0); }

  std::unique_ptr<AmbientLightWindow> controller;
};

TEST_F(AmbientLightWindowTest, SetupShowsTheLightWindowOnTheScreenAndExposesItsView) {
  EXPECT_EQ(controller->ambientView(), nullptr);
  controller->setup(kLightScreen, *appState);
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_EQ(fakes.output.lightWindows[0]->screen.frame, kLightScreen.frame);
  EXPECT_EQ(controller->ambientView(), fakes.output.lightWindows[0]->view.get());
}

TEST_F(AmbientLightWindowTest, TheLightIsRedrawnNoMoreOftenThanTheCaptureRate) {
  appState->setCaptureRate(15);
  controller->setup(kLightScreen, *appState);
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_EQ(fakes.output.lightWindows[0]->maximumFramesPerSecond, 15);
}

TEST_F(AmbientLightWindowTest, HudOffAtStartMeansNoHudNoMonitorNoTimerAndCloseStillWorks) {
  appState->setShowFloatingHUD(false);
  controller->setup(kLightScreen, *appState);
  EXPECT_TRUE(fakes.output.hudWindows.empty());
  EXPECT_EQ(fakes.output.mouseMonitorCount(), 0U);
  EXPECT_EQ(fakes.mainQueue.scheduledCount(), 0U);

  controller->close();
  EXPECT_TRUE(fakes.output.lightWindows[0]->orderedOut);
  EXPECT_TRUE(fakes.output.removedMonitors.empty());
  EXPECT_EQ(controller->ambientView(), nullptr);
}

TEST_F(AmbientLightWindowTest, HudSitsCentred28PointsAboveTheBottomOfTheLightDisplay) {
  controller->setup(kLightScreen, *appState);
  ASSERT_EQ(fakes.output.hudWindows.size(), 1U);
  // The light display at (0, -1080) in bottom-left coordinates is at (0, 1080) here; the
  // HUD's (700, -1052) there is (700, 2082) here: 28 above the bottom edge at 2160.
  EXPECT_EQ(hud().frame, (DisplayRect{700.0, 2082.0, 520.0, 50.0}));
  EXPECT_EQ(hud().appState, appState.get());
  EXPECT_EQ(hud().alpha, 1.0);
}

TEST_F(AmbientLightWindowTest, HudOnAnOffsetScreenIsCentredOnThatScreen) {
  controller->setup(screenFor(5, {-1920.0, -300.0, 1280.0, 800.0}), *appState);
  EXPECT_EQ(hud().frame, (DisplayRect{-1540.0, 422.0, 520.0, 50.0}));
}

TEST_F(AmbientLightWindowTest, HudStaysUpFor45SecondsAfterSetupThenFadesOutOverHalfASecond) {
  controller->setup(kLightScreen, *appState);
  fakes.mainQueue.advance(milliseconds(4499));
  EXPECT_TRUE(hud().animations.empty());
  fakes.mainQueue.advance(milliseconds(1));
  EXPECT_EQ(hud().animations, std::vector<AlphaAnimation>{kHide});
  EXPECT_EQ(hud().alpha, 0.0);
  EXPECT_FALSE(hud().orderedOut);  // only transparent
}

TEST_F(AmbientLightWindowTest, PointerMovingOnTheMovieDisplayDoesNotTouchTheHudOrItsTimer) {
  controller->setup(kLightScreen, *appState);
  fakes.mainQueue.advance(milliseconds(4000));
  moveTo(kOnMovieScreen);
  EXPECT_TRUE(hud().animations.empty());
  fakes.mainQueue.advance(milliseconds(500));
  EXPECT_EQ(hud().animations, std::vector<AlphaAnimation>{kHide});
}

TEST_F(AmbientLightWindowTest, PointerMovingOnTheLightDisplayEverySecondKeepsTheHudUpUntil35SecondsAfterTheLastMove) {
  controller->setup(kLightScreen, *appState);
  for (int second = 0; second < 6; ++second) {
    moveTo(kOnLightScreen);
    fakes.mainQueue.advance(milliseconds(1000));
  }
  EXPECT_EQ(hud().animations, std::vector<AlphaAnimation>(6, kShow));
  EXPECT_EQ(hud().alpha, 1.0);

  fakes.mainQueue.advance(milliseconds(2499));  // 3.499 s after the last move
  EXPECT_EQ(hud().alpha, 1.0);
  fakes.mainQueue.advance(milliseconds(1));
  EXPECT_EQ(hud().animations.back(), kHide);
  EXPECT_EQ(hud().animations.size(), 7U);
}

TEST_F(AmbientLightWindowTest, ThePointerMustBeInsideTheLightScreenFrame) {
  controller->setup(kLightScreen, *appState);
  moveTo(Point{1920.0, 1500.0});  // just past the right edge
  moveTo(Point{960.0, 2160.0});   // just past the bottom edge
  moveTo(Point{-1.0, 1500.0});
  EXPECT_TRUE(hud().animations.empty());
  moveTo(Point{0.0, 1080.0});  // the top-left corner is inside
  EXPECT_EQ(hud().animations, std::vector<AlphaAnimation>{kShow});
}

TEST_F(AmbientLightWindowTest, DismissFadesOutAtTheDefaultDurationAndStopsTheTimer) {
  controller->setup(kLightScreen, *appState);
  hud().onDismiss();
  EXPECT_EQ(hud().animations, std::vector<AlphaAnimation>{kDismiss});
  EXPECT_EQ(fakes.mainQueue.scheduledCount(), 0U);
  fakes.mainQueue.advance(milliseconds(10000));
  EXPECT_EQ(hud().animations.size(), 1U);
  EXPECT_FALSE(hud().orderedOut);
}

TEST_F(AmbientLightWindowTest, DismissThenAMoveOnTheLightDisplayFadesInAgainAndRestartsTheTimerAt35Seconds) {
  controller->setup(kLightScreen, *appState);
  hud().onDismiss();
  moveTo(kOnLightScreen);
  EXPECT_EQ(hud().animations, (std::vector<AlphaAnimation>{kDismiss, kShow}));
  EXPECT_EQ(hud().alpha, 1.0);
  fakes.mainQueue.advance(milliseconds(3499));
  EXPECT_EQ(hud().animations.size(), 2U);
  fakes.mainQueue.advance(milliseconds(1));
  EXPECT_EQ(hud().animations, (std::vector<AlphaAnimation>{kDismiss, kShow, kHide}));
}

TEST_F(AmbientLightWindowTest, TurningTheHudSettingOffWhileRunningStopsMovesButAVisibleHudStillFades) {
  controller->setup(kLightScreen, *appState);
  appState->setShowFloatingHUD(false);
  moveTo(kOnLightScreen);
  EXPECT_TRUE(hud().animations.empty());
  fakes.mainQueue.advance(milliseconds(4500));
  EXPECT_EQ(hud().animations, std::vector<AlphaAnimation>{kHide});
  moveTo(kOnLightScreen);
  EXPECT_EQ(hud().animations.size(), 1U);
}

TEST_F(AmbientLightWindowTest, TurningTheHudSettingOnWhileRunningWaitsForTheNextRun) {
  appState->setShowFloatingHUD(false);
  controller->setup(kLightScreen, *appState);
  appState->setShowFloatingHUD(true);
  moveTo(kOnLightScreen);
  EXPECT_TRUE(fakes.output.hudWindows.empty());
  EXPECT_EQ(fakes.output.mouseMonitorCount(), 0U);
  EXPECT_EQ(fakes.mainQueue.scheduledCount(), 0U);
}

TEST_F(AmbientLightWindowTest, WithoutAMonitorTokenTheHudNeverShowsAgainAfterItsFirstFade) {
  fakes.output.installsMouseMonitors = false;
  controller->setup(kLightScreen, *appState);
  fakes.mainQueue.advance(milliseconds(4500));
  fakes.output.moveMouse(kOnLightScreen);
  fakes.mainQueue.runPending();
  EXPECT_EQ(hud().animations, std::vector<AlphaAnimation>{kHide});
  controller->close();
  EXPECT_TRUE(fakes.output.removedMonitors.empty());
}

TEST_F(AmbientLightWindowTest, MovesAreIgnoredOnceTheStateIsGone) {
  controller->setup(kLightScreen, *appState);
  appState.reset();
  moveTo(kOnLightScreen);
  EXPECT_TRUE(hud().animations.empty());
  EXPECT_FALSE(fakes.output.lightWindows[0]->orderedOut);
}

TEST_F(AmbientLightWindowTest, CloseTearsDownInOrder) {
  controller->setup(kLightScreen, *appState);
  CallLog log;
  fakes.output.log = &log;
  controller->close();
  EXPECT_EQ(log.entries(), (std::vector<std::string>{"output.removeMonitor", "output.hudWindow.orderOut",
                                                     "output.lightWindow.orderOut"}));
  EXPECT_EQ(fakes.output.mouseMonitorCount(), 0U);
  EXPECT_EQ(fakes.mainQueue.scheduledCount(), 0U);
  EXPECT_TRUE(hud().destroyed);
  EXPECT_TRUE(fakes.output.lightWindows[0]->destroyed);
  EXPECT_EQ(controller->ambientView(), nullptr);
}

TEST_F(AmbientLightWindowTest, CloseTwiceOrBeforeSetupIsHarmless) {
  controller->close();
  controller->setup(kLightScreen, *appState);
  controller->close();
  controller->close();
  EXPECT_EQ(fakes.output.removedMonitors.size(), 1U);
  EXPECT_TRUE(fakes.output.lightWindows[0]->orderedOut);
}

TEST_F(AmbientLightWindowTest, LateEventsAfterCloseDoNothing) {
  controller->setup(kLightScreen, *appState);
  fakes.output.moveMouse(kOnLightScreen);  // queued, not yet run
  auto dismiss = hud().onDismiss;
  controller->close();
  fakes.mainQueue.runPending();
  dismiss();
  fakes.mainQueue.advance(milliseconds(10000));
  EXPECT_TRUE(hud().animations.empty());
  EXPECT_EQ(fakes.mainQueue.scheduledCount(), 0U);
}

TEST_F(AmbientLightWindowTest, LateEventsAfterTheControllerIsGoneDoNothing) {
  controller->setup(kLightScreen, *appState);
  fakes.output.moveMouse(kOnLightScreen);  // queued, not yet run
  auto dismiss = hud().onDismiss;
  controller.reset();
  fakes.mainQueue.runPending();
  dismiss();
  fakes.mainQueue.advance(milliseconds(10000));
  EXPECT_TRUE(hud().animations.empty());
  // A controller dropped without close() still gives its monitor back.
  EXPECT_EQ(fakes.output.mouseMonitorCount(), 0U);
}

}  // namespace
}  // namespace tarvelo::testing
