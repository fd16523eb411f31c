#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>

#include "capture/pixel_rect.h"
#include "capture/x11/x11_outputs.h"

namespace tarvelo::bench {

// The rig's movie screen above its light screen.
struct StackedOutputs {
  PixelRect top;
  PixelRect bottom;
};

// The highest and the lowest active output, or none when no output lies
// below another.
inline std::optional<StackedOutputs> stackedOutputs(xcb_connection_t* connection, xcb_window_t root) {
  std::optional<PixelRect> top;
  std::optional<PixelRect> bottom;
  for (const DisplayId id : activeOutputIds(connection, root)) {
    const std::optional<PixelRect> rect = activeOutputRectangle(connection, root, id);
    if (!rect) continue;
    if (!top || rect->y < top->y) top = rect;
    if (!bottom || rect->y > bottom->y) bottom = rect;
  }
  if (!top || !bottom || top->y == bottom->y) return std::nullopt;
  return StackedOutputs{*top, *bottom};
}

// A window over `area` in `background`, mapped: override-redirect, so no
// window manager moves or decorates it.
inline xcb_window_t showPlainWindow(xcb_connection_t* connection, xcb_window_t root, const PixelRect& area,
                                    std::uint32_t background) {
  const xcb_window_t window = xcb_generate_id(connection);
  const std::uint32_t values[] = {background, 1};
  xcb_create_window(connection, XCB_COPY_FROM_PARENT, window, root, static_cast<std::int16_t>(area.x),
                    static_cast<std::int16_t>(area.y), static_cast<std::uint16_t>(area.width),
                    static_cast<std::uint16_t>(area.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT,
                    XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
  xcb_map_window(connection, window);
  return window;
}

}  // namespace tarvelo::bench
