#include "capture/picture_window.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace tarvelo::testing {

void synchronize(xcb_connection_t* connection) {
  std::free(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));
}

PictureWindow::PictureWindow(xcb_connection_t* connection, const xcb_screen_t& screen, const PixelRect& area,
                             const StillPicture& picture)
    : connection_(connection) {
  if (picture.width != area.width || picture.height != area.height) {
    throw std::invalid_argument("the picture does not fit the window");
  }
  const xcb_setup_t* setup = xcb_get_setup(connection_);
  if (screen.root_depth != 24 || setup->image_byte_order != XCB_IMAGE_ORDER_LSB_FIRST) {
    throw std::runtime_error("the picture window expects a 24-bit little-endian screen");
  }
  const auto width = static_cast<std::uint16_t>(area.width);
  const auto height = static_cast<std::uint16_t>(area.height);
  pixmap_ = xcb_generate_id(connection_);
  xcb_create_pixmap(connection_, screen.root_depth, pixmap_, screen.root, width, height);
  gc_ = xcb_generate_id(connection_);
  xcb_create_gc(connection_, gc_, pixmap_, 0, nullptr);
  // Depth 24 travels as 32 bits per pixel, bytes B, G, R and one unused: the
  // picture's own layout. Sent in slices that fit one request.
  const std::int64_t bytesPerRow = picture.width * 4;
  const std::int64_t maximumBytes = static_cast<std::int64_t>(xcb_get_maximum_request_length(connection_)) * 4 - 64;
  const std::int64_t rowsPerSlice = std::max<std::int64_t>(1, maximumBytes / bytesPerRow);
  for (std::int64_t row = 0; row < picture.height; row += rowsPerSlice) {
    const std::int64_t rows = std::min(rowsPerSlice, picture.height - row);
    xcb_put_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, pixmap_, gc_, width, static_cast<std::uint16_t>(rows), 0,
                  static_cast<std::int16_t>(row), 0, screen.root_depth, static_cast<std::uint32_t>(rows * bytesPerRow),
                  picture.bgra.data() + row * bytesPerRow);
  }
  window_ = xcb_generate_id(connection_);
  const std::uint32_t values[] = {pixmap_, 1};  // background pixmap, override redirect
  xcb_create_window(connection_, screen.root_depth, window_, screen.root, static_cast<std::int16_t>(area.x),
                    static_cast<std::int16_t>(area.y), width, height, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                    screen.root_visual, XCB_CW_BACK_PIXMAP | XCB_CW_OVERRIDE_REDIRECT, values);
  xcb_map_window(connection_, window_);
  synchronize(connection_);
}

PictureWindow::~PictureWindow() {
  xcb_destroy_window(connection_, window_);
  xcb_free_gc(connection_, gc_);
  xcb_free_pixmap(connection_, pixmap_);
  synchronize(connection_);
}

void PictureWindow::fill(const PixelRect& part, std::uint32_t rgb) {
  const std::uint32_t foreground = rgb;
  xcb_change_gc(connection_, gc_, XCB_GC_FOREGROUND, &foreground);
  const xcb_rectangle_t rectangle{static_cast<std::int16_t>(part.x), static_cast<std::int16_t>(part.y),
                                  static_cast<std::uint16_t>(part.width), static_cast<std::uint16_t>(part.height)};
  xcb_poly_fill_rectangle(connection_, window_, gc_, 1, &rectangle);
  synchronize(connection_);
}

}  // namespace tarvelo::testing
