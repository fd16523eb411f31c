#pragma once

#include <QQmlEngine>

namespace tarvelo::ui {

// The one QML engine that every view of the program shares (the HUD, the tray
// panel, Settings): one JavaScript heap, one cache of compiled components and
// one Theme, instead of an engine per window. It serves the views' symbols
// (image://tarvelo-icons/…), and a view's Qt.quit() (the panel's Quit, after it
// has stopped the lights) ends the application's event loop. It must outlive
// every view made with it.
class ViewEngine final : public QQmlEngine {
 public:
  ViewEngine();
};

}  // namespace tarvelo::ui
