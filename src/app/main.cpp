#include <QApplication>

#include <exception>
#include <iostream>

#include "app/tarvelo_app.h"
#include "displays/x11_display_source.h"

int main(int argc, char** argv) {
  // Qt gives up on a missing display by aborting; ask the server first so the
  // user gets one readable line instead.
  try {
    tarvelo::X11DisplaySource probe;
  } catch (const std::exception& error) {
    std::cerr << "tarvelo: " << error.what() << std::endl;
    return 1;
  }

  tarvelo::LinuxPlatform::chooseSceneGraphBackend();
  QApplication application(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("Tarvelo"));
  QApplication::setApplicationName(QStringLiteral("Tarvelo"));
  // A tray utility: closing the Settings window or the panel must not end it.
  QApplication::setQuitOnLastWindowClosed(false);
  try {
    tarvelo::TarveloApp app(QUrl(QStringLiteral("qrc:/tarvelo/ui/MenuBarView.qml")),
                            QUrl(QStringLiteral("qrc:/tarvelo/ui/SettingsView.qml")));
    return QApplication::exec();
  } catch (const std::exception& error) {
    std::cerr << "tarvelo: " << error.what() << std::endl;
    return 1;
  }
}
