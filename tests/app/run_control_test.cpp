#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "app/app_state.h"
#include "app/persisted_settings.h"
#include "app_test_support.h"
#include "capture/capture_error.h"
#include "capture/screen_capture_service.h"
#include "output/ambient_light_window.h"
#include "pipeline/color_processing_engine.h"

namespace tarvelo::testing {
namespace {

namespace keys = settings_keys;

constexpr char kPermissionText[] =
    "Screen Recording permission required. Enable in System Settings, then restart Tarvelo.";
constexpr char kNoDisplaysText[] = "No displays available to start Tarvelo.";
constexpr char kTargetNotFoundText[] = "Target display not found. Try refreshing displays.";

class RunControlTest : public ::testing::Test, protected AppStateHarness {
 protected:
  FakeLightView& lightView(std::size_t index = 0) { return *fakes.output.lightWindows.at(index)->view; }

  // Delivers `picture` on the capture worker and runs the update it sends to the main queue.
  void deliverAndShow(const TestPicture& picture) {
    fakes.capture.deliver(picture.frame());
    fakes.capture.flush();
    fakes.mainQueue.waitAndRunPending();
  }
};

// ---- Start ----

TEST_F(RunControlTest, StartWhileRunningReturnsAtOnceAndLeavesErrorMessageUntouched) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();
  ASSERT_TRUE(state.isRunning());
  int errorAnnouncements = 0;
  QObject::connect(&state, &AppState::errorMessageChanged, [&errorAnnouncements] { ++errorAnnouncements; });
  const int preflights = fakes.permission.preflightCalls;
  const std::size_t refreshes = fakes.displays.onlineDisplaysCalls;

  state.start();
  fakes.mainQueue.runPending();

  EXPECT_EQ(errorAnnouncements, 0);
  EXPECT_EQ(fakes.permission.preflightCalls, preflights);
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls, refreshes);
  EXPECT_EQ(fakes.capture.queryCount(), 1U);
  EXPECT_EQ(fakes.output.lightWindows.size(), 1U);
}

TEST_F(RunControlTest, StartWithoutPermissionRequestsItSetsThePermissionTextAndDoesNotRefresh) {
  useStackedDisplays();
  AppState& state = create();
  fakes.permission.granted = false;
  const std::size_t refreshes = fakes.displays.onlineDisplaysCalls;

  state.start();

  EXPECT_EQ(fakes.permission.requestCalls, 1);
  EXPECT_EQ(fakes.urls.opened, std::vector<std::string>{"settings://privacy/screen-capture"});
  EXPECT_FALSE(state.hasPermission());
  EXPECT_EQ(state.errorMessage(), std::optional<std::string>(kPermissionText));
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls, refreshes);
  EXPECT_TRUE(fakes.output.lightWindows.empty());
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
  EXPECT_FALSE(state.isRunning());
}

TEST_F(RunControlTest, StartReadsThePermissionAfreshEveryTime) {
  useStackedDisplays();
  fakes.permission.granted = false;
  AppState& state = create();
  EXPECT_FALSE(state.hasPermission());
  fakes.permission.granted = true;
  startAndSettle();
  EXPECT_TRUE(state.hasPermission());
  EXPECT_TRUE(state.isRunning());
}

TEST_F(RunControlTest, OneDisplayWithAutomaticArrangementLightsTheDisplayItCaptures) {
  fakes.displays.displays = {onlineDisplay(9, {0, 0, 1920, 1080}, "Only")};
  fakes.screens.list = {screenFor(9, {0, 0, 1920, 1080})};
  fakes.capture.shareableDisplays = {9};
  AppState& state = create();
  EXPECT_EQ(state.arrangementDescription(), "Single display detected");

  startAndSettle();

  EXPECT_TRUE(state.isRunning());
  EXPECT_EQ(fakes.capture.lastDisplay(), std::optional<DisplayId>(9));
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_EQ(fakes.output.lightWindows[0]->screen.displayNumber, std::optional<DisplayId>(9));
}

TEST_F(RunControlTest, NoDisplayFoundAndBothIdsZeroFailsWithNoDisplaysText) {
  fakes.screens.list = {screenFor(1, kTopBounds)};
  AppState& state = create();
  state.start();
  EXPECT_EQ(state.errorMessage(), std::optional<std::string>(kNoDisplaysText));
  EXPECT_FALSE(state.isRunning());
  EXPECT_TRUE(fakes.output.lightWindows.empty());
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
}

TEST_F(RunControlTest, OnlyOneIdZeroIsEnoughToFailWithNoDisplaysText) {
  fakes.settings.put(keys::kAutoDetectArrangement, false);
  AppState& state = create();
  state.setSourceDisplayID(1);
  state.start();
  EXPECT_EQ(state.errorMessage(), std::optional<std::string>(kNoDisplaysText));
}

TEST_F(RunControlTest, TargetDisplayWithoutPlatformScreenFailsWithTargetNotFoundText) {
  useStackedDisplays();
  fakes.screens.list = {screenFor(kTopDisplay, kTopBounds), Screen{std::nullopt, "No number", kBottomBounds}};
  AppState& state = create();
  state.start();
  EXPECT_EQ(state.errorMessage(), std::optional<std::string>(kTargetNotFoundText));
  EXPECT_FALSE(state.isRunning());
  EXPECT_TRUE(fakes.output.lightWindows.empty());
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
}

TEST_F(RunControlTest, TheTargetScreenIsTheFirstWhoseNumberMatches) {
  useStackedDisplays();
  const DisplayRect elsewhere{5000, 5000, 800, 600};
  fakes.screens.list = {Screen{std::nullopt, "None", kTopBounds}, screenFor(kBottomDisplay, kBottomBounds),
                        screenFor(kBottomDisplay, elsewhere)};
  create();
  startAndSettle();
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_EQ(fakes.output.lightWindows[0]->screen.frame, kBottomBounds);
}

struct CaptureFailureCase {
  const char* name;
  void (*configure)(FakeCaptureBackend&);
  const char* description;
};

class CaptureStartFailureTest : public RunControlTest, public ::testing::WithParamInterface<CaptureFailureCase> {};

TEST_P(CaptureStartFailureTest, CaptureStartThatThrowsLeavesEverythingStoppedWithLogLineAndText) {
  useStackedDisplays();
  GetParam().configure(fakes.capture);
  AppState& state = create();

  ::testing::internal::CaptureStdout();
  startAndSettle();
  const std::string output = ::testing::internal::GetCapturedStdout();

  const std::string description = GetParam().description;
  EXPECT_EQ(output, "[Tarvelo] Failed to start capture: " + description + "\n");
  EXPECT_EQ(state.errorMessage(), std::optional<std::string>("Failed to start capture: " + description));
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.ambientWindow(), nullptr);
  EXPECT_EQ(state.captureService(), nullptr);
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_TRUE(fakes.output.lightWindows[0]->orderedOut);
  EXPECT_TRUE(fakes.output.lightWindows[0]->destroyed);
  EXPECT_EQ(fakes.capture.liveStreamCount(), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    EveryWayTheCaptureCanFail, CaptureStartFailureTest,
    ::testing::Values(
        CaptureFailureCase{"ContentQueryFails",
                           [](FakeCaptureBackend& capture) {
                             capture.queryError =
                                 std::make_exception_ptr(std::runtime_error("The user declined TCCs for application"));
                           },
                           "The user declined TCCs for application"},
        CaptureFailureCase{"DisplayNotShareable",
                           [](FakeCaptureBackend& capture) { capture.shareableDisplays = {kBottomDisplay}; },
                           "Could not find the selected display for capture."},
        CaptureFailureCase{"AddingTheOutputFails",
                           [](FakeCaptureBackend& capture) {
                             capture.addStreamOutputError = std::make_exception_ptr(std::runtime_error("no output"));
                           },
                           "no output"},
        CaptureFailureCase{"StartingTheStreamFails",
                           [](FakeCaptureBackend& capture) {
                             capture.startCaptureError =
                                 std::make_exception_ptr(std::runtime_error("The stream failed to start"));
                           },
                           "The stream failed to start"}),
    [](const ::testing::TestParamInfo<CaptureFailureCase>& info) { return std::string(info.param.name); });

TEST_F(RunControlTest, WhileTheCaptureStartsTheWindowIsUpButNothingRunsAndTheCallerIsNotHeld) {
  useStackedDisplays();
  fakes.capture.completesAsynchronously = true;
  AppState& state = create();

  state.start();  // returns before the capture has answered
  EXPECT_FALSE(state.isRunning());
  EXPECT_NE(state.ambientWindow(), nullptr);
  EXPECT_EQ(state.captureService(), nullptr);

  fakes.capture.joinCompletionThreads();
  EXPECT_FALSE(state.isRunning());  // the answer waits for the main queue
  fakes.mainQueue.runPending();
  EXPECT_TRUE(state.isRunning());
  EXPECT_NE(state.captureService(), nullptr);
  EXPECT_FALSE(state.errorMessage().has_value());
}

TEST_F(RunControlTest, SuccessfulStartClearsAnEarlierErrorMessage) {
  useStackedDisplays();
  fakes.screens.list.clear();
  AppState& state = create();
  state.start();
  ASSERT_EQ(state.errorMessage(), std::optional<std::string>(kTargetNotFoundText));
  useStackedDisplays();
  startAndSettle();
  EXPECT_TRUE(state.isRunning());
  EXPECT_FALSE(state.errorMessage().has_value());
}

TEST_F(RunControlTest, CaptureIsStartedOnTheSourceDisplayAtTheCaptureRate) {
  useStackedDisplays();
  AppState& state = create();
  state.setCaptureRate(15);
  startAndSettle();
  EXPECT_EQ(fakes.capture.lastDisplay(), std::optional<DisplayId>(kTopDisplay));
  EXPECT_EQ(fakes.capture.lastConfiguration()->minimumFrameInterval, (FrameInterval{1, 15}));
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_EQ(fakes.output.lightWindows[0]->screen.displayNumber, std::optional<DisplayId>(kBottomDisplay));
}

TEST_F(RunControlTest, OverlappingStartsBothRunAndTheLaterSuccessWins) {
  useStackedDisplays();
  AppState& state = create();

  state.start();
  state.start();  // the first answer is still on the main queue
  EXPECT_EQ(fakes.capture.queryCount(), 2U);
  fakes.mainQueue.runPending();

  EXPECT_TRUE(state.isRunning());
  ASSERT_EQ(fakes.output.lightWindows.size(), 2U);
  // The first start's window was released without being closed; the second is the one kept.
  EXPECT_TRUE(fakes.output.lightWindows[0]->destroyed);
  EXPECT_FALSE(fakes.output.lightWindows[0]->orderedOut);
  EXPECT_FALSE(fakes.output.lightWindows[1]->destroyed);
  EXPECT_EQ(state.ambientWindow()->ambientView(), fakes.output.lightWindows[1]->view.get());
  // The first service was released, not stopped.
  EXPECT_EQ(fakes.capture.streamsMade(), 2U);
  EXPECT_EQ(fakes.capture.liveStreamCount(), 1U);
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 0U);
}

TEST_F(RunControlTest, AStopWhileTheCaptureStartsWinsOverItsLaterAnswer) {
  useStackedDisplays();
  AppState& state = create();

  state.start();  // its answer waits on the main queue
  state.stop();
  fakes.mainQueue.runPending();

  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.captureService(), nullptr);
  EXPECT_EQ(state.ambientWindow(), nullptr);
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 1U);
  EXPECT_EQ(fakes.capture.liveStreamCount(), 0U);
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_TRUE(fakes.output.lightWindows[0]->orderedOut);
}

// A quick run of toggles: a start that succeeds, a second start that is
// still waiting for the capture, and a stop in between. The waiting start
// must not bring the run back without its window.
TEST_F(RunControlTest, AStartAnsweredAfterAStopLeavesNothingRunning) {
  useStackedDisplays();
  AppState& state = create();

  state.start();         // answer 1 is queued
  state.toggleLights();  // queued behind it: by then the lights run, so it stops them
  state.start();         // answer 2 is queued behind the toggle
  ASSERT_EQ(fakes.mainQueue.readyCount(), 3U);
  fakes.mainQueue.runPending();

  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.captureService(), nullptr);
  EXPECT_EQ(state.ambientWindow(), nullptr);
  EXPECT_EQ(fakes.capture.liveStreamCount(), 0U);
  ASSERT_EQ(fakes.output.lightWindows.size(), 2U);
  EXPECT_TRUE(fakes.output.lightWindows[1]->orderedOut);
  EXPECT_FALSE(state.errorMessage().has_value());

  // And the next start runs as usual.
  state.start();
  fakes.mainQueue.runPending();
  EXPECT_TRUE(state.isRunning());
  EXPECT_NE(state.ambientWindow(), nullptr);
}

// ---- Frames ----

TEST_F(RunControlTest, WholeCycleFromStoredSettingsThroughFramesToStop) {
  useStackedDisplays();
  fakes.settings.put(keys::kBrightness, 1.8);
  fakes.settings.put(keys::kVibrancy, 1.3);
  fakes.settings.put(keys::kSpread, 0.6);
  fakes.settings.put(keys::kBlurRadius, 45.0);
  fakes.settings.put(keys::kSmoothing, 0.5);
  fakes.settings.put(keys::kCaptureRate, std::int64_t{60});
  fakes.displays.displays = {onlineDisplay(kTopDisplay, {-960, 0, 3840, 2160}, "Wide"),
                             onlineDisplay(kBottomDisplay, {0, 2160, 1920, 1080}, "Light")};
  fakes.screens.list = {screenFor(kTopDisplay, {-960, 0, 3840, 2160}),
                        screenFor(kBottomDisplay, {0, 2160, 1920, 1080})};
  AppState& state = create();
  ASSERT_EQ(state.xOverlapStart(), 0.25);
  ASSERT_EQ(state.xOverlapEnd(), 0.75);

  startAndSettle();
  ASSERT_TRUE(state.isRunning());
  EXPECT_EQ(fakes.capture.lastConfiguration()->minimumFrameInterval, (FrameInterval{1, 60}));

  ColorProcessingEngine reference;
  const TestPicture red(200, 30, 20);
  const TestPicture blue(10, 40, 220);
  const ZoneColorList firstExpected = reference.process(red.frame(), 0.5F, 1.3F, 0.25, 0.75);
  const ZoneColorList secondExpected = reference.process(blue.frame(), 0.5F, 1.3F, 0.25, 0.75);

  deliverAndShow(red);
  deliverAndShow(blue);

  const FakeLightView& view = lightView();
  ASSERT_EQ(view.updates.size(), 2U);
  EXPECT_EQ(view.updates[0].colors, firstExpected);
  EXPECT_EQ(view.updates[1].colors, secondExpected);
  EXPECT_EQ(view.updates[1].colors.size(), kZoneCount);
  for (const auto& update : view.updates) {
    EXPECT_EQ(update.brightness, 1.8);
    EXPECT_EQ(update.blurRadius, 45.0);
    EXPECT_EQ(update.spread, 0.6);
    EXPECT_EQ(update.thread, std::this_thread::get_id());
  }

  state.stop();
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(state.captureService(), nullptr);
  EXPECT_EQ(state.ambientWindow(), nullptr);
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 1U);
  EXPECT_EQ(fakes.capture.liveStreamCount(), 0U);
  EXPECT_TRUE(fakes.output.lightWindows[0]->orderedOut);
}

TEST_F(RunControlTest, FirstFrameOfEveryRunIsShownUnblended) {
  useStackedDisplays();
  AppState& state = create();
  const TestPicture red(220, 10, 10);
  const TestPicture green(10, 220, 10);

  startAndSettle();
  deliverAndShow(red);
  state.stop();
  startAndSettle();
  deliverAndShow(green);

  ColorProcessingEngine fresh;
  const ZoneColorList raw = fresh.process(green.frame(), 0.3F, 1.7F, 0.0, 1.0);
  ASSERT_EQ(lightView(1).updates.size(), 1U);
  EXPECT_EQ(lightView(1).updates[0].colors, raw);
}

TEST_F(RunControlTest, ChangingBrightnessWhileRunningChangesTheNextFrame) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();
  const TestPicture picture(100, 100, 100);
  deliverAndShow(picture);
  state.setBrightness(2.6);
  state.setSpread(0.4);
  state.setBlurRadius(90.0);
  deliverAndShow(picture);
  ASSERT_EQ(lightView().updates.size(), 2U);
  EXPECT_EQ(lightView().updates[0].brightness, 1.4);
  EXPECT_EQ(lightView().updates[1].brightness, 2.6);
  EXPECT_EQ(lightView().updates[1].spread, 0.4);
  EXPECT_EQ(lightView().updates[1].blurRadius, 90.0);
}

TEST_F(RunControlTest, SmoothingAndVibrancyAreReadForEveryFrame) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();
  const TestPicture first(200, 50, 50);
  const TestPicture second(50, 50, 200);
  deliverAndShow(first);
  state.setSmoothing(0.9);
  state.setVibrancy(2.0);
  deliverAndShow(second);

  ColorProcessingEngine reference;
  reference.process(first.frame(), 0.3F, 1.7F, 0.0, 1.0);
  const ZoneColorList expected = reference.process(second.frame(), 0.9F, 2.0F, 0.0, 1.0);
  ASSERT_EQ(lightView().updates.size(), 2U);
  EXPECT_EQ(lightView().updates[1].colors, expected);
}

TEST_F(RunControlTest, ChangingCaptureRateOrOverlapWhileRunningWaitsForTheNextStart) {
  fakes.displays.displays = {onlineDisplay(kTopDisplay, {-960, 0, 3840, 2160}, "Wide"),
                             onlineDisplay(kBottomDisplay, {0, 2160, 1920, 1080}, "Light")};
  fakes.screens.list = {screenFor(kTopDisplay, {-960, 0, 3840, 2160}),
                        screenFor(kBottomDisplay, {0, 2160, 1920, 1080})};
  fakes.capture.shareableDisplays = {kTopDisplay, kBottomDisplay};
  AppState& state = create();
  startAndSettle();

  state.setCaptureRate(60);
  fakes.displays.displays[1].bounds = {-960, 2160, 3840, 2160};  // now the full width is shared
  state.refreshDisplays();
  ASSERT_EQ(state.xOverlapStart(), 0.0);
  ASSERT_EQ(state.xOverlapEnd(), 1.0);

  const TestPicture picture(30, 200, 90);
  deliverAndShow(picture);
  ColorProcessingEngine reference;
  ASSERT_EQ(lightView().updates.size(), 1U);
  EXPECT_EQ(lightView().updates[0].colors, reference.process(picture.frame(), 0.3F, 1.7F, 0.25, 0.75));
  EXPECT_EQ(fakes.capture.streamsMade(), 1U);
  EXPECT_EQ(fakes.capture.lastConfiguration()->minimumFrameInterval, (FrameInterval{1, 30}));

  state.stop();
  startAndSettle();
  EXPECT_EQ(fakes.capture.lastConfiguration()->minimumFrameInterval, (FrameInterval{1, 60}));
  deliverAndShow(picture);
  ColorProcessingEngine fresh;
  ASSERT_EQ(lightView(1).updates.size(), 1U);
  EXPECT_EQ(lightView(1).updates[0].colors, fresh.process(picture.frame(), 0.3F, 1.7F, 0.0, 1.0));
}

TEST_F(RunControlTest, DisplayAddedOrRemovedWhileRunningUpdatesRoutingButLeavesCaptureAndWindow) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();

  fakes.displays.displays.push_back(onlineDisplay(3, {0, 2160, 1920, 1080}, "Third"));
  fakes.displays.notify(3, 0);
  fakes.mainQueue.runPending();

  EXPECT_EQ(state.availableDisplays().size(), 3U);
  EXPECT_EQ(state.targetDisplayID(), 3U);
  EXPECT_TRUE(state.isRunning());
  EXPECT_EQ(fakes.capture.streamsMade(), 1U);
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 0U);
  ASSERT_EQ(fakes.output.lightWindows.size(), 1U);
  EXPECT_FALSE(fakes.output.lightWindows[0]->orderedOut);

  fakes.displays.displays.resize(1);
  fakes.displays.notify(kBottomDisplay, 0);
  fakes.mainQueue.runPending();
  EXPECT_EQ(state.availableDisplays().size(), 1U);
  EXPECT_EQ(state.arrangementDescription(), "Single display detected");
  EXPECT_TRUE(state.isRunning());
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 0U);
  EXPECT_FALSE(fakes.output.lightWindows[0]->orderedOut);
}

TEST_F(RunControlTest, FramesArrivingAfterStopAreDropped) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();
  const TestPicture picture(1, 2, 3);  // alive until the delivery has run
  fakes.capture.deliver(picture.frame());
  fakes.capture.flush();
  ASSERT_EQ(fakes.mainQueue.readyCount(), 1U);

  state.stop();
  fakes.mainQueue.runPending();

  EXPECT_TRUE(lightView().updates.empty());
}

TEST_F(RunControlTest, AFrameAfterTheStateIsGoneIsDroppedWithoutAnyJob) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();
  const ScreenCaptureService::FrameCallback frameCallback = state.captureService()->onFrame;
  appState.reset();

  const TestPicture picture(9, 9, 9);
  frameCallback(picture.frame());

  EXPECT_EQ(fakes.mainQueue.readyCount(), 0U);
}

TEST_F(RunControlTest, AnUpdateThatFindsTheStateGoneIsDropped) {
  useStackedDisplays();
  create();
  startAndSettle();
  const TestPicture picture(1, 2, 3);  // alive until the delivery has run
  fakes.capture.deliver(picture.frame());
  fakes.capture.flush();
  std::shared_ptr<FakeLightView> view = fakes.output.lightWindows[0]->view;
  appState.reset();
  fakes.mainQueue.runPending();
  EXPECT_TRUE(view->updates.empty());
}

// ---- Stop ----

TEST_F(RunControlTest, StopTurnsRunningOffFirstThenStopsCaptureThenClosesTheWindow) {
  useStackedDisplays();
  AppState& state = create();
  startAndSettle();
  std::size_t stopsWhenAnnounced = 99;
  bool windowOutWhenAnnounced = true;
  QObject::connect(&state, &AppState::isRunningChanged, [&] {
    stopsWhenAnnounced = fakes.capture.stopCaptureCount();
    windowOutWhenAnnounced = fakes.output.lightWindows[0]->orderedOut;
  });
  CallLog log;
  fakes.output.log = &log;

  state.stop();

  EXPECT_EQ(stopsWhenAnnounced, 0U);
  EXPECT_FALSE(windowOutWhenAnnounced);
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 1U);
  EXPECT_EQ(log.entries(), (std::vector<std::string>{"output.removeMonitor", "output.hudWindow.orderOut",
                                                     "output.lightWindow.orderOut"}));
}

TEST_F(RunControlTest, StopLeavesErrorMessageRoutingAndSettingsAsTheyAre) {
  useStackedDisplays();
  AppState& state = create();
  fakes.screens.list.clear();
  state.start();
  ASSERT_TRUE(state.errorMessage().has_value());
  fakes.settings.clearWrites();
  state.stop();
  EXPECT_EQ(state.errorMessage(), std::optional<std::string>(kTargetNotFoundText));
  EXPECT_EQ(state.sourceDisplayID(), kTopDisplay);
  EXPECT_EQ(state.targetDisplayID(), kBottomDisplay);
  EXPECT_TRUE(fakes.settings.writes().empty());
}

TEST_F(RunControlTest, StopWhileStoppedIsHarmless) {
  useStackedDisplays();
  AppState& state = create();
  state.stop();
  state.stop();
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 0U);
}

// ---- Toggle ----

TEST_F(RunControlTest, ToggleStartsWhenStoppedAndStopsWhenRunningInAJobOfItsOwn) {
  useStackedDisplays();
  AppState& state = create();
  state.toggleLights();
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
  fakes.mainQueue.runPending();
  EXPECT_TRUE(state.isRunning());

  state.toggleLights();
  EXPECT_TRUE(state.isRunning());
  fakes.mainQueue.runPending();
  EXPECT_FALSE(state.isRunning());
  EXPECT_EQ(fakes.capture.stopCaptureCount(), 1U);
}

TEST_F(RunControlTest, IsRunningIsFalseBeforeTheFirstStartAndTrueWhileRunning) {
  useStackedDisplays();
  AppState& state = create();
  EXPECT_FALSE(state.property("isRunning").toBool());
  startAndSettle();
  EXPECT_TRUE(state.property("isRunning").toBool());
  state.stop();
  EXPECT_FALSE(state.property("isRunning").toBool());
}

}  // namespace
}  // namespace tarvelo::testing
