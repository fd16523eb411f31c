#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QQuickWindow>

// The views need a GUI application. Unless the environment picks a platform,
// they are drawn offscreen with Qt Quick's software renderer.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  QGuiApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
