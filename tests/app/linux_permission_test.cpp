#include <gtest/gtest.h>

#include <memory>

#include "app/app_state.h"
#include "app/linux_permission.h"
#include "app_test_support.h"

namespace tarvelo::testing {
namespace {

TEST(LinuxPermissionTest, CaptureIsAlwaysAllowed) {
  LinuxPermission permission;
  EXPECT_TRUE(permission.preflight());
  permission.request();
  EXPECT_TRUE(permission.preflight());
}

TEST(LinuxPermissionTest, ThereIsNoPrivacySettingsPage) {
  LinuxPermission permission;
  EXPECT_EQ(permission.privacySettingsUrl(), std::nullopt);
}

class LinuxPermissionWithAppStateTest : public ::testing::Test, protected AppStateHarness {
 protected:
  ~LinuxPermissionWithAppStateTest() override { appState.reset(); }

  AppState& createWithLinuxPermission() {
    platform = std::make_unique<AppPlatform>(AppPlatform{fakes.mainQueue, fakes.settings, fakes.displays,
                                                         fakes.screens, fakes.capture, fakes.output, fakes.keys,
                                                         fakes.loginItems, permission, fakes.urls,
                                                         fakes.settingsWindows});
    appState = std::make_unique<AppState>(*platform);
    return *appState;
  }

  LinuxPermission permission;
  std::unique_ptr<AppPlatform> platform;
};

TEST_F(LinuxPermissionWithAppStateTest, TheStateHasPermissionFromCreationOn) {
  EXPECT_TRUE(createWithLinuxPermission().hasPermission());
}

TEST_F(LinuxPermissionWithAppStateTest, RequestingPermissionOpensNothing) {
  AppState& state = createWithLinuxPermission();
  state.requestPermission();
  EXPECT_TRUE(state.hasPermission());
  EXPECT_TRUE(fakes.urls.opened.empty());
}

}  // namespace
}  // namespace tarvelo::testing
