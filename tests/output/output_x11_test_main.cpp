#include <gtest/gtest.h>

#include <QGuiApplication>
#include <cstdlib>

// The windows under test need a QGuiApplication on the rig's X server. It is
// made only when tests run, so that listing them needs no server.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (GTEST_FLAG_GET(list_tests)) return RUN_ALL_TESTS();
  setenv("DISPLAY", TARVELO_TEST_DISPLAY, 1);
  setenv("QT_QPA_PLATFORM", "xcb", 1);
  // Never destroyed: the X connection stays open to the end, so Mesa keeps
  // its driver loaded and what the driver holds stays reachable, instead of
  // being reported by the leak checker from a module already unloaded.
  static QGuiApplication* application = new QGuiApplication(argc, argv);
  (void)application;
  return RUN_ALL_TESTS();
}
