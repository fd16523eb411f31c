// The program's face over the tests' own views, as a process of its own so
// tests can drive it through real tray hosts and watch it exit. A line
// "show-controls" on standard input does what a second launch asks for; the
// lights' state changes are written to standard output.
#include <QApplication>
#include <QSocketNotifier>
#include <QUrl>
#include <exception>
#include <iostream>
#include <string>
#include <unistd.h>

#include "app/linux_platform.h"
#include "app/tarvelo_app.h"

int main(int argc, char** argv) {
  tarvelo::LinuxPlatform::chooseSceneGraphBackend();
  QApplication application(argc, argv);
  QApplication::setOrganizationName(QStringLiteral("Tarvelo"));
  QApplication::setApplicationName(QStringLiteral("Tarvelo"));
  QApplication::setQuitOnLastWindowClosed(false);
  try {
    tarvelo::TarveloApp app(QUrl(QStringLiteral("qrc:/tarvelo/test/PanelTestView.qml")),
                            QUrl(QStringLiteral("qrc:/tarvelo/test/SettingsTestView.qml")));
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
      std::string line;
      if (!std::getline(std::cin, line)) {
        input.setEnabled(false);
        return;
      }
      if (line == "show-controls") app.showControls();
    });
    tarvelo::AppState& state = app.appState();
    QObject::connect(&state, &tarvelo::AppState::isRunningChanged, [&state] {
      std::cout << (state.isRunning() ? "lights running" : "lights stopped") << std::endl;
    });
    std::cout << "ready" << std::endl;
    return QApplication::exec();
  } catch (const std::exception& error) {
    std::cerr << "tarvelo: " << error.what() << std::endl;
    return 1;
  }
}
