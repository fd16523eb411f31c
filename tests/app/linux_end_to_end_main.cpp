#include <QGuiApplication>
#include <QTemporaryDir>

#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

#include "app/linux_platform.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  // Listing the tests happens at build time, where there is no X server.
  if (::testing::GTEST_FLAG(list_tests)) return RUN_ALL_TESTS();

  // Settings go to a directory of the run's own, never the user's.
  QTemporaryDir configHome;
  setenv("XDG_CONFIG_HOME", configHome.path().toLocal8Bit().constData(), 1);
  // Without a session bus, libdbus tries to start one through the X server
  // and leaks when that fails; there is nothing on the bus the tests need.
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 0);

  tarvelo::LinuxPlatform::chooseSceneGraphBackend();  // draw as the program does
  // Kept to the end of the process: tearing it down unloads Mesa's driver,
  // whose remaining allocations the leak checker could then not attribute.
  [[maybe_unused]] static QGuiApplication* application = new QGuiApplication(argc, argv);
  QGuiApplication::setOrganizationName(QStringLiteral("Tarvelo"));
  QGuiApplication::setApplicationName(QStringLiteral("Tarvelo"));
  return RUN_ALL_TESTS();
}
