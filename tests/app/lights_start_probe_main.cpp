// The real Linux platform and application state on $DISPLAY: starts the
// lights once, lets the program run a moment longer, and writes how the start
// ended on standard output ("isRunning=", "hasPermission=", "errorMessage="
// lines, after whatever the program itself logged). A Qt application stays on
// one X server for its life, so tests that need several servers run this once
// per server.
#include <QApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>

#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>

#include "app/app_state.h"
#include "app/linux_platform.h"
#include "ui/ui_resources.h"

namespace {

void runEventsFor(qint64 milliseconds, const std::function<bool()>& done) {
  QElapsedTimer clock;
  clock.start();
  while (!done() && clock.elapsed() < milliseconds) {
    QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    QThread::msleep(10);
  }
}

}  // namespace

int main(int argc, char** argv) {
  // Settings go to a directory of the run's own, never the user's.
  QTemporaryDir configHome;
  setenv("XDG_CONFIG_HOME", configHome.path().toLocal8Bit().constData(), 1);
  setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 0);

  tarvelo::LinuxPlatform::chooseSceneGraphBackend();
  // Kept to the end of the process: tearing it down unloads the graphics
  // driver, whose remaining allocations the leak checker could then not
  // attribute.
  [[maybe_unused]] static QApplication* application = new QApplication(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("Tarvelo"));
  QApplication::setApplicationName(QStringLiteral("Tarvelo"));
  try {
    tarvelo::LinuxPlatform platform(tarvelo::ui::settingsViewUrl());
    tarvelo::AppState state(platform.services());
    state.start();
    runEventsFor(20000, [&] { return state.isRunning() || state.errorMessage().has_value(); });
    // Whatever the start left behind (a light window, the HUD) runs a while.
    runEventsFor(1500, [] { return false; });
    std::cout << "isRunning=" << state.isRunning() << "\n"
              << "hasPermission=" << state.hasPermission() << "\n"
              << "errorMessage=" << state.errorMessage().value_or("") << "\n"
              << std::flush;
    state.stop();
    return 0;
  } catch (const std::exception& error) {
    std::cout << "failed: " << error.what() << std::endl;
    return 1;
  }
}
