#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "app/app_platform.h"

namespace tarvelo {

class X11ShortcutGrab;
class XkbLocalKeyFilter;

// Key-down monitors for the X11 desktop. The global one holds passive grabs of
// the application's shortcuts on the root window (see X11ShortcutGrab); the
// local one watches the key presses Qt delivers to our own windows. Both speak
// the key handler's terms: X keycodes are keyboard positions and become the
// virtual key codes of the same positions; Super is Command.
//
// A shortcut is never seen twice: the grab takes a grabbed combination away
// from the focused window, ours included, so it reaches only the global
// monitor; everything else reaches only the local one, and only when one of
// our windows has the focus. The price is that a grabbed shortcut typed into
// one of our windows is not also delivered to its focused control; none of
// our controls reacts to Super combinations, so nothing is lost. If another
// program already holds a combination, the grab skips it and the key stays
// with the focused window: in our own windows the local monitor still sees it.
//
// Installs and removes monitors on the main thread. The local monitor needs a
// QGuiApplication on the xcb platform (its native scan codes are X keycodes).
class X11KeyMonitors final : public KeyMonitors {
 public:
  X11KeyMonitors();
  // Removes the monitors still installed.
  ~X11KeyMonitors() override;

  X11KeyMonitors(const X11KeyMonitors&) = delete;
  X11KeyMonitors& operator=(const X11KeyMonitors&) = delete;

  // Absent when the X server cannot be reached or every shortcut is already
  // grabbed by another client. The handler runs on the grab's own thread.
  std::optional<MonitorToken> addGlobalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override;
  // Absent when there is no QGuiApplication. The handler runs on the main
  // thread, before the key reaches the focused control, which still gets it.
  std::optional<MonitorToken> addLocalKeyDownMonitor(std::function<void(const KeyEvent&)> handler) override;
  // Releases the grabs (and waits for the grab's thread) or uninstalls the
  // filter; an unknown token is ignored.
  void removeMonitor(MonitorToken token) override;

 private:
  MonitorToken nextToken_ = 1;
  std::map<MonitorToken, std::unique_ptr<X11ShortcutGrab>> globalMonitors_;
  std::map<MonitorToken, std::unique_ptr<XkbLocalKeyFilter>> localMonitors_;
};

}  // namespace tarvelo
