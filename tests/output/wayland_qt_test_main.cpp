// The main() of the Wayland output tests that need Qt's GUI: inside the rig,
// on Qt's wayland platform (the light may be a Qt window there), drawing in
// software as the program does on a machine without a GPU, as the rig is.
#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QQuickWindow>
#include <QSGRendererInterface>

#include <cstdlib>

#include "rig/wayland_rig_session.h"

int main(int argc, char** argv) {
  if (tarvelo::testing::isListingTests(argc, argv)) {
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
  }
  if (!tarvelo::testing::joinWaylandRig(argc, argv)) return 1;
  setenv("QT_QPA_PLATFORM", "wayland", 1);
  QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
  QGuiApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
