#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

namespace tarvelo {

// The platform's identifier of one display (on X11, the RandR output id). 0 means none.
using DisplayId = std::uint32_t;

// A rectangle in the global display space: origin at the top-left of the main
// display, y growing downward.
struct DisplayRect {
  double x = 0.0;
  double y = 0.0;
  double width = 0.0;
  double height = 0.0;

  double minX() const { return x; }
  double maxX() const { return x + width; }
  double midX() const { return x + width / 2.0; }
  double midY() const { return y + height / 2.0; }

  friend bool operator==(const DisplayRect&, const DisplayRect&) = default;
};

// One online display. Identity is the id alone: two records with the same id
// are equal whatever else they say.
struct DisplayInfo {
  DisplayId id = 0;
  std::string name;
  std::int64_t width = 0;   // pixels of the current mode
  std::int64_t height = 0;
  bool isBuiltin = false;
  DisplayRect bounds;

  friend bool operator==(const DisplayInfo& a, const DisplayInfo& b) { return a.id == b.id; }
};

}  // namespace tarvelo

template <>
struct std::hash<tarvelo::DisplayInfo> {
  std::size_t operator()(const tarvelo::DisplayInfo& display) const noexcept {
    return std::hash<tarvelo::DisplayId>{}(display.id);
  }
};
