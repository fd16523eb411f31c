#include <gtest/gtest.h>

#include "displays/gui_application.h"

// The Qt application, when a test made one, must go before the process's
// static objects do.
int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  const int result = RUN_ALL_TESTS();
  tarvelo::testing::destroyRigGuiApplication();
  return result;
}
