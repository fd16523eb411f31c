#include <gtest/gtest.h>

#include <QGuiApplication>

// The light view needs a GUI application. Unless the environment picks a
// platform (the X11 rig runs these tests again with xcb and OpenGL), it draws
// offscreen with Qt Quick's software renderer, so no display is needed.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
