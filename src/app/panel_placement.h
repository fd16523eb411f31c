#pragma once

#include <QPoint>
#include <QRect>
#include <QSize>

namespace tarvelo {

// Where the panel's top-left corner goes so that it drops from the tray icon:
// beside `anchor` (the icon, or the pointer as a 1 × 1 rectangle) on the side
// with room for it — below, above, right of, left of, in that order of
// preference — and slid along that side to stay inside `available`, the
// screen's area free of panels (an icon inside a tray panel lies outside
// it: the panel then starts at the tray panel's edge). A panel larger than `available` keeps its
// top-left corner inside it.
QPoint panelPlacement(const QRect& anchor, const QSize& panel, const QRect& available);

}  // namespace tarvelo
