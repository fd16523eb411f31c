#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "app/persisted_settings.h"
#include "app_test_support.h"

namespace tarvelo::testing {
namespace {

namespace keys = settings_keys;
using std::chrono::milliseconds;

// Passes everything on to the fake display source and notes the calls in the shared log.
class RecordingDisplaySource final : public DisplaySource {
 public:
  RecordingDisplaySource(FakeDisplaySource& inner, CallLog& log) : inner_(inner), log_(log) {}

  std::vector<OnlineDisplay> onlineDisplays() override {
    log_.record("displays.online");
    return inner_.onlineDisplays();
  }

  void setReconfigurationHandler(ReconfigurationHandler handler) override {
    log_.record(handler ? "displays.register" : "displays.unregister");
    inner_.setReconfigurationHandler(std::move(handler));
  }

 private:
  FakeDisplaySource& inner_;
  CallLog& log_;
};

// Passes everything on to the fake main queue and notes the submissions in the shared log.
class RecordingMainQueue final : public MainQueue {
 public:
  RecordingMainQueue(FakeMainQueue& inner, CallLog& log) : inner_(inner), log_(log) {}

  void post(std::function<void()> job) override {
    log_.record("main.post");
    inner_.post(std::move(job));
  }

  void postAfter(milliseconds delay, std::function<void()> job) override {
    log_.record("main.postAfter " + std::to_string(delay.count()));
    inner_.postAfter(delay, std::move(job));
  }

  std::unique_ptr<OneShotTimer> scheduleTimer(milliseconds delay, std::function<void()> fire) override {
    log_.record("main.scheduleTimer " + std::to_string(delay.count()));
    return inner_.scheduleTimer(delay, std::move(fire));
  }

 private:
  FakeMainQueue& inner_;
  CallLog& log_;
};

class CreationSequenceTest : public ::testing::Test, protected AppStateHarness {};

TEST_F(CreationSequenceTest, CreationRunsItsStepsInOrder) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoStartOnLaunch, true);
  CallLog log;
  fakes.settings.log = &log;
  fakes.loginItems.log = &log;
  fakes.permission.log = &log;
  fakes.keys.log = &log;
  RecordingDisplaySource displaySource(fakes.displays, log);
  RecordingMainQueue mainQueue(fakes.mainQueue, log);
  AppPlatform platform{mainQueue,         fakes.settings,   displaySource,      fakes.screens,
                       fakes.capture,     fakes.output,     fakes.keys,         fakes.loginItems,
                       fakes.permission,  fakes.urls,       fakes.settingsWindows};

  {
    AppState state(platform);

    const std::vector<std::string> expected{
        // the display manager registers for reconfiguration notices
        "displays.register",
        // saved settings, one presence test per key, in the load order
        "settings.contains " + std::string(keys::kBrightness),
        "settings.contains " + std::string(keys::kVibrancy),
        "settings.contains " + std::string(keys::kSpread),
        "settings.contains " + std::string(keys::kBlurRadius),
        "settings.contains " + std::string(keys::kSmoothing),
        "settings.contains " + std::string(keys::kCaptureRate),
        "settings.contains " + std::string(keys::kAutoStartOnLaunch),
        "settings.readBool " + std::string(keys::kAutoStartOnLaunch),
        "settings.write " + std::string(keys::kAutoStartOnLaunch),
        "settings.contains " + std::string(keys::kShowFloatingHUD),
        "settings.contains " + std::string(keys::kAutoDetectArrangement),
        "settings.contains " + std::string(keys::kSourceDisplayID),
        "settings.contains " + std::string(keys::kTargetDisplayID),
        // ending with the login-item sync
        "login.status",
        // the display refresh
        "displays.online",
        "settings.write " + std::string(keys::kSourceDisplayID),
        "settings.write " + std::string(keys::kTargetDisplayID),
        // the permission preflight
        "permission.preflight",
        // the key monitors, global first
        "keys.addGlobal",
        "keys.addLocal",
        // and the auto-start, 0.6 seconds later
        "main.postAfter 600",
    };
    EXPECT_EQ(log.entries(), expected);
  }
  fakes.mainQueue.advance(milliseconds(600));  // the weakly held auto-start finds nothing to start
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
}

TEST_F(CreationSequenceTest, PermissionIsPreflightedIntoHasPermission) {
  fakes.permission.granted = false;
  AppState& state = create();
  EXPECT_FALSE(state.hasPermission());
  EXPECT_EQ(fakes.permission.preflightCalls, 1);
  EXPECT_EQ(fakes.permission.requestCalls, 0);
}

TEST_F(CreationSequenceTest, AutoStartWithPermissionStartsTheLightsSixTenthsOfASecondLater) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoStartOnLaunch, true);
  AppState& state = create();
  EXPECT_EQ(fakes.mainQueue.delayedRequests(), std::vector<milliseconds>{milliseconds(600)});

  fakes.mainQueue.advance(milliseconds(599));
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
  fakes.mainQueue.advance(milliseconds(1));
  EXPECT_EQ(fakes.capture.queryCount(), 1U);
  EXPECT_TRUE(state.isRunning());
}

TEST_F(CreationSequenceTest, NoAutoStartIsScheduledWhenAutoStartIsOff) {
  useStackedDisplays();
  create();
  EXPECT_TRUE(fakes.mainQueue.delayedRequests().empty());
  EXPECT_EQ(fakes.mainQueue.scheduledCount(), 0U);
}

TEST_F(CreationSequenceTest, NoAutoStartIsScheduledWithoutPermission) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoStartOnLaunch, true);
  fakes.permission.granted = false;
  create();
  EXPECT_TRUE(fakes.mainQueue.delayedRequests().empty());
  fakes.mainQueue.advance(milliseconds(1000));
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
  EXPECT_EQ(fakes.permission.requestCalls, 0);
}

TEST_F(CreationSequenceTest, AutoStartJobDoesNotKeepTheStateAlive) {
  useStackedDisplays();
  fakes.settings.put(keys::kAutoStartOnLaunch, true);
  create();
  appState.reset();
  fakes.mainQueue.advance(milliseconds(600));
  EXPECT_EQ(fakes.capture.queryCount(), 0U);
}

TEST_F(CreationSequenceTest, EachDisplayChangeNoticeRefreshesOnTheMainQueue) {
  useStackedDisplays();
  AppState& state = create();
  const std::size_t before = fakes.displays.onlineDisplaysCalls;
  fakes.displays.displays.pop_back();

  fakes.displays.notify(kBottomDisplay, 0);
  fakes.displays.notify(kTopDisplay, 0);
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls, before);  // nothing before the main queue runs
  EXPECT_EQ(state.availableDisplays().size(), 2U);

  fakes.mainQueue.runPending();
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls - before, 2U);
  EXPECT_EQ(state.availableDisplays().size(), 1U);
}

TEST_F(CreationSequenceTest, BeginConfigurationNoticeDoesNotRefresh) {
  useStackedDisplays();
  create();
  const std::size_t before = fakes.displays.onlineDisplaysCalls;
  fakes.displays.notify(kTopDisplay, DisplaySource::kBeginConfigurationFlag);
  fakes.mainQueue.runPending();
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls, before);
}

TEST_F(CreationSequenceTest, DisplayChangeArrivingAfterTheStateIsGoneDoesNothing) {
  useStackedDisplays();
  create();
  fakes.displays.notify(kTopDisplay, 0);
  appState.reset();
  const std::size_t before = fakes.displays.onlineDisplaysCalls;
  fakes.mainQueue.runPending();
  EXPECT_EQ(fakes.displays.onlineDisplaysCalls, before);
  EXPECT_FALSE(fakes.displays.handler());
}

}  // namespace
}  // namespace tarvelo::testing
