#include "app/panel_placement.h"

#include <algorithm>

namespace tarvelo {

namespace {

// `start` moved back so that [start, start + length) ends by `last` (inclusive), but never before `first`.
int slideInside(int start, int length, int first, int last) {
  return std::max(first, std::min(start, last + 1 - length));
}

}  // namespace

QPoint panelPlacement(const QRect& anchor, const QSize& panel, const QRect& available) {
  const int centredX = anchor.center().x() - panel.width() / 2;
  const int centredY = anchor.center().y() - panel.height() / 2;
  const int alongX = slideInside(centredX, panel.width(), available.left(), available.right());
  const int alongY = slideInside(centredY, panel.height(), available.top(), available.bottom());

  // An icon inside a tray panel lies outside the available area; the panel
  // then starts where that area does, just past the tray panel's edge.
  const int below = std::max(anchor.bottom() + 1, available.top());
  const int above = std::min(anchor.top(), available.bottom() + 1) - panel.height();
  const int right = std::max(anchor.right() + 1, available.left());
  const int left = std::min(anchor.left(), available.right() + 1) - panel.width();
  if (below + panel.height() - 1 <= available.bottom()) return {alongX, below};
  if (above >= available.top()) return {alongX, above};
  if (right + panel.width() - 1 <= available.right()) return {right, alongY};
  if (left >= available.left()) return {left, alongY};
  // No side has room: the panel at least stays on the screen.
  return {alongX, slideInside(anchor.bottom() + 1, panel.height(), available.top(), available.bottom())};
}

}  // namespace tarvelo
