#include "displays/gui_application.h"

#include <QGuiApplication>

#include <cstdlib>
#include <memory>

#include "displays/x11_rig.h"

namespace tarvelo::testing {

namespace {

std::unique_ptr<QGuiApplication>& application() {
  static std::unique_ptr<QGuiApplication> instance;
  return instance;
}

}  // namespace

QGuiApplication& rigGuiApplication() {
  if (!application()) {
    setenv("DISPLAY", rigDisplay().c_str(), 1);
    // QGuiApplication keeps references to these for its whole life.
    static int argc = 3;
    static char program[] = "displays_x11_test";
    static char platformOption[] = "-platform";
    static char platform[] = "xcb";
    static char* argv[] = {program, platformOption, platform, nullptr};
    application() = std::make_unique<QGuiApplication>(argc, argv);
  }
  return *application();
}

void destroyRigGuiApplication() { application().reset(); }

}  // namespace tarvelo::testing
