#pragma once

#include <QObject>

#include <functional>

#include "app/app_platform.h"

class QEvent;

namespace tarvelo {

// The local key monitor of a desktop whose keyboard Qt reads through XKB, as
// on X11 and Wayland alike: a key press's native scan code is its XKB keycode
// and its native modifiers the XKB state, so both become the key handler's
// terms the same way (keyEventFromX11).
//
// Sees every event of the application before its receiver does. Qt hands a key
// press to the window first and then re-sends it to the focused item or widget
// and, if unhandled, to its parents; only the window's copy counts, so one
// press runs the handler once. Needs a QCoreApplication while it lives.
class XkbLocalKeyFilter final : public QObject {
 public:
  explicit XkbLocalKeyFilter(std::function<void(const KeyEvent&)> handler);
  ~XkbLocalKeyFilter() override;

  XkbLocalKeyFilter(const XkbLocalKeyFilter&) = delete;
  XkbLocalKeyFilter& operator=(const XkbLocalKeyFilter&) = delete;

 protected:
  bool eventFilter(QObject* receiver, QEvent* event) override;

 private:
  std::function<void(const KeyEvent&)> handler_;
};

}  // namespace tarvelo
