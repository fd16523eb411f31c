#pragma once

#include <xcb/xcb.h>

#include <optional>
#include <vector>

#include "capture/pixel_rect.h"
#include "displays/display_info.h"

namespace tarvelo {

// The RandR outputs that show a picture now: an output driven by a CRTC that
// has a mode. Their ids are the display ids, as display discovery reports them.
// Throws std::runtime_error when the server does not answer.
std::vector<DisplayId> activeOutputIds(xcb_connection_t* connection, xcb_window_t root);

// The rectangle of the root window that `output` shows, or none when it is not
// an active output (unknown, switched off, unplugged). Throws std::runtime_error
// when the server does not answer.
std::optional<PixelRect> activeOutputRectangle(xcb_connection_t* connection, xcb_window_t root, DisplayId output);

}  // namespace tarvelo
