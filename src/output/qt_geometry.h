#pragma once

#include <QRect>

#include <cmath>

#include "displays/display_info.h"

namespace tarvelo {

// A rectangle of the global display space as whole window pixels.
inline QRect pixelRect(const DisplayRect& frame) {
  return QRect(static_cast<int>(std::lround(frame.x)), static_cast<int>(std::lround(frame.y)),
               static_cast<int>(std::lround(frame.width)), static_cast<int>(std::lround(frame.height)));
}

}  // namespace tarvelo
