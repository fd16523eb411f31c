// The main() of a test that runs inside the Wayland rig: it joins the rig
// (unless gtest only lists the tests), then runs them under a Qt application,
// for QtDBus and the event loops the code under test answers through.
#include <gtest/gtest.h>

#include <QCoreApplication>

#include "rig/wayland_rig_session.h"

int main(int argc, char** argv) {
  if (!tarvelo::testing::isListingTests(argc, argv) && !tarvelo::testing::joinWaylandRig(argc, argv)) return 1;
  QCoreApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
