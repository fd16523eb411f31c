#pragma once

#include <QAction>
#include <QMenu>
#include <QObject>
#include <QSystemTrayIcon>

namespace tarvelo {

class AppState;

// The program's face in the system tray: a lit bulb while the lights run and
// a plain one otherwise. Activating it runs the toggle rule; its menu offers
// the toggle and "Quit", which stops the lights before the program ends.
class TrayIcon final : public QObject {
  Q_OBJECT

 public:
  explicit TrayIcon(AppState& appState, QObject* parent = nullptr);

  // False where no tray host is running; the lights still work through the
  // keyboard shortcuts then.
  static bool isAvailable();

 private:
  void showState();
  void quit();

  AppState& appState_;
  QMenu menu_;
  QAction* toggleAction_;
  QSystemTrayIcon icon_;
};

}  // namespace tarvelo
