#pragma once

#include <xcb/damage.h>

#include <chrono>
#include <optional>
#include <string>

#include "capture/pixel_rect.h"
#include "capture/x11/x11_connection.h"
#include "displays/display_info.h"

namespace tarvelo {

// What happened on the screen while a watcher waited.
struct ScreenChanges {
  bool changedInside = false;   // something was drawn inside the watched rectangle
  bool outputsChanged = false;  // the outputs or their layout changed
  bool connectionLost = false;  // the server is gone; nothing more will come
  bool woken = false;           // wake() was called

  bool any() const { return changedInside || outputsChanged || connectionLost || woken; }
};

// Listens on its own connection for drawing anywhere on the screen (Damage, as
// raw rectangles on the root window, so nothing accumulates on the server) and
// for output changes (RandR), and can be woken from another thread.
//
// One thread waits on it; wake() may be called from any thread.
class X11ScreenWatcher {
 public:
  using Clock = std::chrono::steady_clock;

  // Throws std::runtime_error when the server cannot be reached or refuses.
  explicit X11ScreenWatcher(const std::optional<std::string>& displayName);
  ~X11ScreenWatcher();

  X11ScreenWatcher(const X11ScreenWatcher&) = delete;
  X11ScreenWatcher& operator=(const X11ScreenWatcher&) = delete;

  enum class ScreenNews { now, later };

  // Blocks until something happens or `deadline` passes (no deadline: until
  // something happens). Drawing outside `watched` does not end the wait.
  // With news of the screen `later`, only wake() or the deadline ends it: a
  // caller that cannot start a capture before then needs no news of drawing,
  // and each would wake it (the film draws at its own rate, the light below
  // at the capture's). What the server reports meanwhile waits in the queue
  // for the next wait that takes news now.
  ScreenChanges wait(const PixelRect& watched, std::optional<Clock::time_point> deadline, ScreenNews news);
  void wake();

  // The output's rectangle now, or none when it shows nothing. Throws
  // std::runtime_error when the server does not answer.
  std::optional<PixelRect> outputRectangle(DisplayId output);

 private:
  void collectEvents(const PixelRect& watched, ScreenChanges& changes);

  X11Connection connection_;
  xcb_damage_damage_t damage_ = 0;
  int wakeDescriptor_ = -1;
};

}  // namespace tarvelo
