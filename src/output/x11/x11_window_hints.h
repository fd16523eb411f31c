#pragma once

#include <QPoint>
#include <QRect>
#include <optional>
#include <vector>

class QWindow;

namespace tarvelo {

// What the window manager and the compositor should know about the program's
// own overlay windows (the light, the HUD and the panel), written as X properties on
// Qt's connection so they reach the server before Qt maps the window.

// Visible on every desktop, left out of taskbars and pagers, and without a
// compositor's shadow. Window managers drop these when a window is withdrawn,
// so call this on a created window before every show(). Does nothing when Qt
// does not run on xcb.
void markAsOverlayWindow(QWindow& window);

// Whether a compositing manager runs on the window's X screen, i.e. whether
// translucent pixels are blended with what lies below instead of shown as-is.
bool hasCompositingManager(QWindow& window);
// The same for the X screen the program was started on, before any window
// exists (a translucent window needs its visual chosen before creation).
bool hasCompositingManager();

// Shows, raises and focuses a window the way a pager or a taskbar asks for
// it. Window managers refuse focus to an application whose last user input
// is older than another window's (focus-stealing prevention), which is
// exactly the case when the request comes from a second launch; a request in
// the pager's name is honoured. Without a window manager the input focus is
// set directly.
void bringToFront(QWindow& window);

// A dock (a panel or tray bar): where it is on the screen, and whether it
// runs along a horizontal or a vertical screen edge.
struct Dock {
  QRect geometry;
  Qt::Orientation orientation = Qt::Horizontal;
};

// The dock that `point` lies on, if it lies on one.
std::optional<Dock> dockAt(const QPoint& point);

// Restricts where the window is drawn (bounding) and where it takes pointer
// input (input) to the union of `rects`, in window coordinates. Does nothing
// on a server without the SHAPE extension.
void setWindowBoundingShape(QWindow& window, const std::vector<QRect>& rects);
void setWindowInputShape(QWindow& window, const std::vector<QRect>& rects);

}  // namespace tarvelo
