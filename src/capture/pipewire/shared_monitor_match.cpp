#include "capture/pipewire/shared_monitor_match.h"

#include <cmath>

namespace tarvelo {

namespace {

bool hasSize(const OnlineDisplay& display, std::int64_t width, std::int64_t height) {
  const bool pixels = display.pixelWidth == width && display.pixelHeight == height;
  const bool logical = std::llround(display.bounds.width) == width && std::llround(display.bounds.height) == height;
  return pixels || logical;
}

bool isAt(const OnlineDisplay& display, std::int64_t x, std::int64_t y) {
  return std::llround(display.bounds.x) == x && std::llround(display.bounds.y) == y;
}

}  // namespace

std::optional<DisplayId> matchSharedMonitor(const ScreenCastGrant& grant, const std::vector<OnlineDisplay>& displays) {
  if (!grant.width || !grant.height) return std::nullopt;
  std::vector<const OnlineDisplay*> sameSize;
  for (const OnlineDisplay& display : displays) {
    if (hasSize(display, *grant.width, *grant.height)) sameSize.push_back(&display);
  }
  if (grant.x && grant.y) {
    for (const OnlineDisplay* display : sameSize) {
      if (isAt(*display, *grant.x, *grant.y)) return display->id;
    }
  }
  if (sameSize.size() == 1) return sameSize.front()->id;
  return std::nullopt;
}

}  // namespace tarvelo
