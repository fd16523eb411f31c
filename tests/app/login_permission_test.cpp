#include <gtest/gtest.h>

#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "app/app_state.h"
#include "app_test_support.h"

namespace tarvelo::testing {
namespace {

constexpr int kNotRegistered = 0;
constexpr int kRequiresApproval = 2;

class LoginItemTest : public ::testing::Test, protected AppStateHarness {};

TEST_F(LoginItemTest, LoginItemEnabledOutsideTheProgramShowsOnWithoutARegisterCall) {
  fakes.loginItems.currentStatus = LoginItemService::kEnabled;
  AppState& state = create();
  EXPECT_TRUE(state.launchAtLogin());
  EXPECT_EQ(fakes.loginItems.registerCalls, 0);
  EXPECT_EQ(fakes.loginItems.unregisterCalls, 0);
}

TEST_F(LoginItemTest, LoginItemNotRegisteredShowsOff) {
  AppState& state = create();
  EXPECT_FALSE(state.launchAtLogin());
  EXPECT_EQ(fakes.loginItems.registerCalls + fakes.loginItems.unregisterCalls, 0);
}

TEST_F(LoginItemTest, SwitchingOnWhileAlreadyEnabledMakesNoPlatformCall) {
  fakes.loginItems.currentStatus = LoginItemService::kEnabled;
  AppState& state = create();
  state.setLaunchAtLoginEnabled(true);
  EXPECT_EQ(fakes.loginItems.registerCalls, 0);
  EXPECT_EQ(fakes.loginItems.unregisterCalls, 0);
}

TEST_F(LoginItemTest, SwitchingOnRegistersAndSwitchingOffUnregisters) {
  AppState& state = create();
  state.setLaunchAtLoginEnabled(true);
  EXPECT_EQ(fakes.loginItems.registerCalls, 1);
  EXPECT_EQ(fakes.loginItems.currentStatus, LoginItemService::kEnabled);
  state.setLaunchAtLoginEnabled(false);
  EXPECT_EQ(fakes.loginItems.unregisterCalls, 1);
  state.setLaunchAtLoginEnabled(false);  // already off: nothing to do
  EXPECT_EQ(fakes.loginItems.unregisterCalls, 1);
}

TEST_F(LoginItemTest, AFailingRegisterLeavesTheToggleOnAndWritesOneLogLine) {
  AppState& state = create();
  fakes.loginItems.registerFailure = "Operation not permitted";

  ::testing::internal::CaptureStdout();
  state.setLaunchAtLoginEnabled(true);
  const std::string output = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(output, "[Tarvelo] Failed to change launch at login: Operation not permitted\n");
  EXPECT_TRUE(state.launchAtLogin());
  EXPECT_FALSE(state.errorMessage().has_value());
  EXPECT_EQ(fakes.loginItems.registerCalls, 1);
}

TEST_F(LoginItemTest, AFailingUnregisterLeavesTheToggleOffAndWritesOneLogLine) {
  fakes.loginItems.currentStatus = LoginItemService::kEnabled;
  AppState& state = create();
  fakes.loginItems.unregisterFailure = "Service not found";

  ::testing::internal::CaptureStdout();
  state.setLaunchAtLoginEnabled(false);
  const std::string output = ::testing::internal::GetCapturedStdout();

  EXPECT_EQ(output, "[Tarvelo] Failed to change launch at login: Service not found\n");
  EXPECT_FALSE(state.launchAtLogin());
}

TEST_F(LoginItemTest, RequiresApprovalReadsAsOffAndSwitchingOnRegistersAgain) {
  fakes.loginItems.currentStatus = kRequiresApproval;
  AppState& state = create();
  EXPECT_FALSE(state.launchAtLogin());
  state.setLaunchAtLoginEnabled(true);
  EXPECT_EQ(fakes.loginItems.registerCalls, 1);
}

TEST_F(LoginItemTest, SyncFollowsTheRegistryWithoutTouchingIt) {
  AppState& state = create();
  fakes.loginItems.currentStatus = LoginItemService::kEnabled;
  state.syncLaunchAtLoginStatus();
  EXPECT_TRUE(state.launchAtLogin());
  fakes.loginItems.currentStatus = kNotRegistered;
  state.syncLaunchAtLoginStatus();
  EXPECT_FALSE(state.launchAtLogin());
  EXPECT_EQ(fakes.loginItems.registerCalls + fakes.loginItems.unregisterCalls, 0);
}

TEST_F(LoginItemTest, ViewsSwitchTheLoginItemThroughTheProperty) {
  AppState& state = create();
  EXPECT_TRUE(state.setProperty("launchAtLogin", true));
  EXPECT_TRUE(state.launchAtLogin());
  EXPECT_EQ(fakes.loginItems.registerCalls, 1);
}

class PermissionTest : public ::testing::Test, protected AppStateHarness {};

TEST_F(PermissionTest, RequestStillMissingOpensThePrivacyPane) {
  fakes.permission.granted = false;
  AppState& state = create();
  state.requestPermission();
  EXPECT_EQ(fakes.permission.requestCalls, 1);
  EXPECT_FALSE(state.hasPermission());
  EXPECT_EQ(fakes.urls.opened, std::vector<std::string>{"settings://privacy/screen-capture"});
}

TEST_F(PermissionTest, RequestThatIsGrantedOpensNothing) {
  fakes.permission.granted = false;
  fakes.permission.grantsOnRequest = true;
  AppState& state = create();
  state.requestPermission();
  EXPECT_TRUE(state.hasPermission());
  EXPECT_TRUE(fakes.urls.opened.empty());
}

TEST_F(PermissionTest, PrivacyUrlThatCannotBeFormedDoesNothingMore) {
  fakes.permission.granted = false;
  fakes.permission.url.reset();
  AppState& state = create();
  state.requestPermission();
  EXPECT_FALSE(state.hasPermission());
  EXPECT_TRUE(fakes.urls.opened.empty());
}

TEST_F(PermissionTest, NothingPollsForAGrantBetweenStartsAndRequests) {
  fakes.permission.granted = false;
  AppState& state = create();
  fakes.permission.granted = true;
  fakes.mainQueue.advance(std::chrono::seconds(60));
  EXPECT_FALSE(state.hasPermission());
  EXPECT_EQ(fakes.permission.preflightCalls, 1);
}

TEST_F(PermissionTest, AStartWaitingForTheDesktopsGrantGoesOnWhenItComes) {
  useStackedDisplays();
  fakes.permission.granted = false;
  AppState& state = create();
  state.start();
  ASSERT_FALSE(state.hasPermission());
  ASSERT_TRUE(state.errorMessage().has_value());
  ASSERT_FALSE(state.isRunning());
  ASSERT_TRUE(fakes.permission.answered);

  fakes.permission.granted = true;
  fakes.permission.answered();
  fakes.capture.joinCompletionThreads();
  fakes.mainQueue.runPending();
  EXPECT_TRUE(state.hasPermission());
  EXPECT_EQ(state.errorMessage(), std::nullopt);
  EXPECT_TRUE(state.isRunning());
  EXPECT_EQ(fakes.output.lightWindows.size(), 1U);
}

TEST_F(PermissionTest, AGrantAskedForWithoutAStartOnlyTakesTheCardAway) {
  useStackedDisplays();
  fakes.permission.granted = false;
  AppState& state = create();
  state.requestPermission();
  fakes.permission.granted = true;
  fakes.permission.answered();
  EXPECT_TRUE(state.hasPermission());
  EXPECT_FALSE(state.isRunning());
}

TEST_F(PermissionTest, ARefusalAnsweredLaterKeepsTheCardAndItsError) {
  fakes.permission.granted = false;
  AppState& state = create();
  state.start();
  const std::optional<std::string> error = state.errorMessage();
  fakes.permission.answered();
  EXPECT_FALSE(state.hasPermission());
  EXPECT_EQ(state.errorMessage(), error);
}

TEST_F(PermissionTest, AGrantLeavesAnErrorOfAnotherKindAlone) {
  fakes.permission.granted = false;
  AppState& state = create();
  fakes.displays.displays.clear();
  fakes.permission.granted = true;
  state.start();
  const std::optional<std::string> error = state.errorMessage();
  ASSERT_TRUE(error.has_value());
  fakes.permission.answered();
  EXPECT_TRUE(state.hasPermission());
  EXPECT_EQ(state.errorMessage(), error);
}

TEST_F(PermissionTest, AStartTheDesktopRefusedShowsThePermissionCardAgain) {
  useStackedDisplays();
  AppState& state = create();
  ASSERT_TRUE(state.hasPermission());
  // The dialog came back at the start (the desktop had forgotten the share) and the user said no.
  fakes.capture.startCaptureError = std::make_exception_ptr(std::runtime_error("Screen sharing was refused."));
  state.start();
  fakes.permission.granted = false;  // the refusal took the kept grant back
  fakes.capture.joinCompletionThreads();
  fakes.mainQueue.runPending();
  EXPECT_FALSE(state.isRunning());
  EXPECT_FALSE(state.hasPermission());
  ASSERT_TRUE(state.errorMessage().has_value());
  EXPECT_NE(state.errorMessage()->find("Screen sharing was refused."), std::string::npos) << *state.errorMessage();
}

TEST_F(PermissionTest, AnAnswerAfterTheStateIsGoneReachesNothing) {
  create();
  ASSERT_TRUE(fakes.permission.answered);
  appState.reset();
  EXPECT_FALSE(fakes.permission.answered);
}

class SettingsWindowTest : public ::testing::Test, protected AppStateHarness {};

TEST_F(SettingsWindowTest, OpeningCreatesTheTitledWindowOnceBringsItForwardAndActivates) {
  AppState& state = create();
  state.openSettingsWindow();
  ASSERT_EQ(fakes.settingsWindows.windows.size(), 1U);
  const SettingsWindowRecord& window = *fakes.settingsWindows.windows[0];
  EXPECT_EQ(window.title, "Tarvelo Settings");
  EXPECT_EQ(window.width, 520);
  EXPECT_EQ(window.height, 600);
  EXPECT_EQ(window.appState, &state);
  EXPECT_EQ(window.broughtToFront, 1);
  EXPECT_EQ(fakes.settingsWindows.activations, 1);
}

TEST_F(SettingsWindowTest, OpeningTwiceCreatesOneWindowAndTheSecondCallOnlyBringsItForward) {
  AppState& state = create();
  state.openSettingsWindow();
  state.openSettingsWindow();
  EXPECT_EQ(fakes.settingsWindows.windows.size(), 1U);
  EXPECT_EQ(fakes.settingsWindows.windows[0]->broughtToFront, 2);
  EXPECT_EQ(fakes.settingsWindows.activations, 2);
}

TEST_F(SettingsWindowTest, ClosingAndOpeningAgainShowsTheSameWindow) {
  AppState& state = create();
  state.openSettingsWindow();
  // Closing only hides the window on the platform; the state keeps it.
  state.openSettingsWindow();
  state.openSettingsWindow();
  EXPECT_EQ(fakes.settingsWindows.windows.size(), 1U);
  EXPECT_EQ(fakes.settingsWindows.windows[0]->broughtToFront, 3);
}

}  // namespace
}  // namespace tarvelo::testing
