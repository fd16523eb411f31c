#pragma once

#include <QRect>
#include <vector>

class QWindow;

namespace tarvelo {

// What the window manager and the compositor should know about the program's
// own overlay windows (the light and the HUD), written as X properties on
// Qt's connection so they reach the server before Qt maps the window.

// Visible on every desktop, left out of taskbars and pagers, and without a
// compositor's shadow. Window managers drop these when a window is withdrawn,
// so call this on a created window before every show(). Does nothing when Qt
// does not run on xcb.
void markAsOverlayWindow(QWindow& window);

// Whether a compositing manager runs on the window's X screen, i.e. whether
// translucent pixels are blended with what lies below instead of shown as-is.
bool hasCompositingManager(QWindow& window);

// Restricts where the window is drawn (bounding) and where it takes pointer
// input (input) to the union of `rects`, in window coordinates. Does nothing
// on a server without the SHAPE extension.
void setWindowBoundingShape(QWindow& window, const std::vector<QRect>& rects);
void setWindowInputShape(QWindow& window, const std::vector<QRect>& rects);

}  // namespace tarvelo
