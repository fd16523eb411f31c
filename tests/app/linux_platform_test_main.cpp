#include <gtest/gtest.h>

#include <QGuiApplication>

// The local key monitor and the URL opener need a QGuiApplication; these
// tests need no display, so it runs on the offscreen platform.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  static char program[] = "app_linux_platform_test";
  static char platformOption[] = "-platform";
  static char platform[] = "offscreen";
  static char* qtArgv[] = {program, platformOption, platform, nullptr};
  int qtArgc = 3;
  QGuiApplication application(qtArgc, qtArgv);
  return RUN_ALL_TESTS();
}
