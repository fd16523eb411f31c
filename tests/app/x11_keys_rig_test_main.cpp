#include <gtest/gtest.h>

#include <QGuiApplication>

#include <cstdlib>
#include <memory>

#include "x11_rig_application.h"

namespace tarvelo::testing {

namespace {

std::unique_ptr<QGuiApplication>& application() {
  static std::unique_ptr<QGuiApplication> instance;
  return instance;
}

}  // namespace

QGuiApplication& rigApplication() {
  if (!application()) {
    // QGuiApplication keeps references to these for its whole life.
    static int argc = 3;
    static char program[] = "app_x11_keys_test";
    static char platformOption[] = "-platform";
    static char platform[] = "xcb";
    static char* argv[] = {program, platformOption, platform, nullptr};
    application() = std::make_unique<QGuiApplication>(argc, argv);
  }
  return *application();
}

}  // namespace tarvelo::testing

// The grabs and the key presses go to the rig's display; the Qt application,
// when a test made one, goes before the process's static objects do.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  setenv("DISPLAY", TARVELO_TEST_DISPLAY, 1);
  // The rig has no session bus. Without an address, libdbus tries to launch
  // one through the X server when Qt's accessibility bridge starts for the
  // first window, and leaks a buffer when that fails; an address that
  // plainly does not exist makes Qt go without, cleanly.
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/tarvelo-test-bus", 0);
  const int result = RUN_ALL_TESTS();
  tarvelo::testing::application().reset();
  return result;
}
