#include "capture/x11/x11_outputs.h"

#include <xcb/randr.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "support/x11/xcb_reply.h"

namespace tarvelo {

namespace {

XcbReply<xcb_randr_get_screen_resources_current_reply_t> screenResources(xcb_connection_t* connection,
                                                                      xcb_window_t root) {
  XcbReply<xcb_randr_get_screen_resources_current_reply_t> resources(xcb_randr_get_screen_resources_current_reply(
      connection, xcb_randr_get_screen_resources_current(connection, root), nullptr));
  if (!resources) throw std::runtime_error("The X server did not report its displays.");
  return resources;
}

// The CRTC rectangle of one output of `resources`, when the output shows a
// picture (the same test activeOutputIds makes).
std::optional<PixelRect> rectangleOf(xcb_connection_t* connection,
                                     const xcb_randr_get_screen_resources_current_reply_t& resources,
                                     xcb_randr_output_t output) {
  const XcbReply<xcb_randr_get_output_info_reply_t> info(xcb_randr_get_output_info_reply(
      connection, xcb_randr_get_output_info(connection, output, resources.config_timestamp), nullptr));
  // An output that vanished between the two requests has no info; it is not active.
  if (!info || info->crtc == XCB_NONE) return std::nullopt;
  const XcbReply<xcb_randr_get_crtc_info_reply_t> crtc(xcb_randr_get_crtc_info_reply(
      connection, xcb_randr_get_crtc_info(connection, info->crtc, resources.config_timestamp), nullptr));
  if (!crtc || crtc->mode == XCB_NONE || crtc->width == 0 || crtc->height == 0) return std::nullopt;
  return PixelRect{crtc->x, crtc->y, crtc->width, crtc->height};
}

}  // namespace

std::vector<DisplayId> activeOutputIds(xcb_connection_t* connection, xcb_window_t root) {
  const auto resources = screenResources(connection, root);
  const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_current_outputs(resources.get());
  const auto count = static_cast<std::size_t>(xcb_randr_get_screen_resources_current_outputs_length(resources.get()));
  // All questions first, then all answers: one round trip per step, not per output.
  std::vector<xcb_randr_get_output_info_cookie_t> outputCookies;
  for (std::size_t index = 0; index < count; ++index) {
    outputCookies.push_back(xcb_randr_get_output_info(connection, outputs[index], resources->config_timestamp));
  }
  std::vector<DisplayId> driven;
  std::vector<xcb_randr_get_crtc_info_cookie_t> crtcCookies;
  for (std::size_t index = 0; index < count; ++index) {
    const XcbReply<xcb_randr_get_output_info_reply_t> info(
        xcb_randr_get_output_info_reply(connection, outputCookies[index], nullptr));
    if (!info || info->crtc == XCB_NONE) continue;
    driven.push_back(outputs[index]);
    crtcCookies.push_back(xcb_randr_get_crtc_info(connection, info->crtc, resources->config_timestamp));
  }
  std::vector<DisplayId> active;
  for (std::size_t index = 0; index < driven.size(); ++index) {
    const XcbReply<xcb_randr_get_crtc_info_reply_t> crtc(
        xcb_randr_get_crtc_info_reply(connection, crtcCookies[index], nullptr));
    if (crtc && crtc->mode != XCB_NONE && crtc->width != 0 && crtc->height != 0) active.push_back(driven[index]);
  }
  return active;
}

std::optional<PixelRect> activeOutputRectangle(xcb_connection_t* connection, xcb_window_t root, DisplayId output) {
  const auto resources = screenResources(connection, root);
  const xcb_randr_output_t* outputs = xcb_randr_get_screen_resources_current_outputs(resources.get());
  const int count = xcb_randr_get_screen_resources_current_outputs_length(resources.get());
  for (int index = 0; index < count; ++index) {
    if (outputs[index] == output) return rectangleOf(connection, *resources, outputs[index]);
  }
  return std::nullopt;
}

}  // namespace tarvelo
