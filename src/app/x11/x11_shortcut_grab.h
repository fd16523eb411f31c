#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "app/app_platform.h"
#include "app/x11/x11_key_mapping.h"

struct xcb_connection_t;

namespace tarvelo {

// The application's shortcuts taken from every window of the X server: passive
// key grabs on the root window, on a connection of their own, and a thread that
// turns each grabbed key press into a KeyEvent. A passive grab hands the key to
// us instead of to the focused window, our own windows included, so these
// combinations never also reach a local key monitor.
class X11ShortcutGrab {
 public:
  // Connects to $DISPLAY and grabs every shortcut it can; a combination that
  // another client already holds is skipped. Absent when the server cannot be
  // reached or not a single grab succeeded. `handler` runs on the grab's
  // own thread.
  static std::unique_ptr<X11ShortcutGrab> start(std::function<void(const KeyEvent&)> handler);

  X11ShortcutGrab(const X11ShortcutGrab&) = delete;
  X11ShortcutGrab& operator=(const X11ShortcutGrab&) = delete;

  // Stops the thread, releases the grabs (the server has processed the
  // release when this returns) and closes the connection.
  ~X11ShortcutGrab();

  const std::vector<X11KeyGrab>& heldGrabs() const { return heldGrabs_; }

 private:
  X11ShortcutGrab(xcb_connection_t* connection, std::uint32_t root, std::vector<X11KeyGrab> heldGrabs, int stopEvent,
                  std::function<void(const KeyEvent&)> handler);

  void listen();

  xcb_connection_t* connection_;
  std::uint32_t root_;
  std::vector<X11KeyGrab> heldGrabs_;
  int stopEvent_;
  std::function<void(const KeyEvent&)> handler_;
  std::thread listener_;
};

}  // namespace tarvelo
