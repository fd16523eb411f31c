#pragma once

#include <QAction>
#include <QMenu>
#include <QObject>
#include <QRect>
#include <QSystemTrayIcon>
#include <functional>

namespace tarvelo {

class AppState;

// The program's face in the system tray, over either tray protocol (XEmbed
// or StatusNotifierItem, whichever the host speaks): a lit bulb while the
// lights run and a plain one otherwise. A click hands the icon's place to
// `onClicked`; the menu offers the light toggle, "Settings…" and "Quit",
// which stops the lights before the program ends.
class TrayIcon final : public QObject {
  Q_OBJECT

 public:
  TrayIcon(AppState& appState, std::function<void(const QRect& anchor)> onClicked, QObject* parent = nullptr);

  // False where no tray host is running.
  static bool isAvailable();

  // Where the icon is on the screen, for what drops from it: its geometry
  // where the tray reports one (XEmbed), otherwise the pointer, which at a
  // click is on the icon (StatusNotifierItem hosts keep the icon's place to
  // themselves), as a 1 × 1 rectangle; either stretched across the
  // thickness of the tray bar it lies in.
  QRect anchor() const;

  QMenu& menu() { return menu_; }

 private:
  void showState();
  void quit();

  AppState& appState_;
  std::function<void(const QRect&)> onClicked_;
  QMenu menu_;
  QAction* toggleAction_;
  QSystemTrayIcon icon_;
};

}  // namespace tarvelo
