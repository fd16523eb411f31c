#pragma once

#include <gtest/gtest.h>

#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>

#include "rig/wayland_rig_session.h"

namespace tarvelo::testing {

// The main() of a test that runs on a compositor nested in the Wayland rig
// (NestedSway, NestedWeston): inside the rig, a compositor of the process's
// own (each test runs in a process of its own, so each starts from the
// compositor's first state), `running` pointed at it, then a QGuiApplication
// on the wayland platform connected to it, then the tests. The compositor
// outlives the application.
template <typename Compositor>
int runTestsOnNestedCompositor(int argc, char** argv, Compositor*& running) {
  if (isListingTests(argc, argv)) {
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
  }
  if (!joinWaylandRig(argc, argv)) return 1;
  std::unique_ptr<Compositor> compositor;
  try {
    compositor = std::make_unique<Compositor>();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
  running = compositor.get();
  setenv("WAYLAND_DISPLAY", compositor->waylandDisplay().c_str(), 1);
  setenv("QT_QPA_PLATFORM", "wayland", 1);
  QGuiApplication application(argc, argv);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}

}  // namespace tarvelo::testing
