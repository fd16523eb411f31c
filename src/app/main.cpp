#include <QApplication>
#include <QStringList>

#include <exception>
#include <iostream>
#include <memory>

#include "app/application_identity.h"
#include "app/command_line.h"
#include "app/linux_platform.h"
#include "app/single_instance.h"
#include "app/tarvelo_app.h"
#include "displays/x11/x11_display_source.h"
#include "ui/ui_resources.h"

int main(int argc, char** argv) {
  tarvelo::applyApplicationIdentity();
  QGuiApplication::setDesktopFileName(QString::fromLatin1(tarvelo::kApplicationId.data(),
                                                          static_cast<qsizetype>(tarvelo::kApplicationId.size())));

  // The command line is read before anything talks to the X server, so
  // --help and --version work anywhere.
  QStringList arguments;
  for (int index = 0; index < argc; ++index) arguments << QString::fromLocal8Bit(argv[index]);
  const tarvelo::ParsedCommandLine commandLine = tarvelo::parseCommandLine(arguments);
  std::cout << commandLine.standardOutput << std::flush;
  std::cerr << commandLine.standardError << std::flush;
  if (!commandLine.launch) return commandLine.exitStatus;
  const tarvelo::LaunchOptions launch = *commandLine.launch;

  // One instance per user: a later launch hands its command to the running
  // one and ends before it could start a second capture.
  const std::unique_ptr<tarvelo::InstanceChannel> channel = tarvelo::LinuxPlatform::makeInstanceChannel();
  try {
    const tarvelo::InstanceCommand command = launch.command.value_or(tarvelo::InstanceCommand::ShowControls);
    if (tarvelo::forwardOrClaim(*channel, command) == tarvelo::LaunchRole::Forwarded) return 0;
  } catch (const std::exception& error) {
    std::cerr << "tarvelo: " << error.what() << std::endl;
    return 1;
  }

  // Qt gives up on a missing display by aborting; ask the X server first so
  // the user gets one readable line instead.
  if (!tarvelo::LinuxPlatform::useWaylandWhereTheSessionIsWayland()) {
    try {
      tarvelo::X11DisplaySource probe;
    } catch (const std::exception& error) {
      std::cerr << "tarvelo: " << error.what() << std::endl;
      return 1;
    }
  }

  tarvelo::LinuxPlatform::chooseSceneGraphBackend();
  QApplication application(argc, argv);
  // A tray utility: closing the Settings window or the panel must not end it.
  QApplication::setQuitOnLastWindowClosed(false);
  try {
    tarvelo::TarveloApp app(tarvelo::ui::menuBarViewUrl(), tarvelo::ui::settingsViewUrl(), launch.verbose);
    channel->listen([&app](tarvelo::InstanceCommand command) { app.perform(command); });
    if (launch.command) app.perform(*launch.command);
    return QApplication::exec();
  } catch (const std::exception& error) {
    std::cerr << "tarvelo: " << error.what() << std::endl;
    return 1;
  }
}
