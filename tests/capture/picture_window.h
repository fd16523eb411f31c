#pragma once

#include <xcb/xcb.h>

#include <cstdint>

#include "capture/pixel_rect.h"
#include "capture/still_picture.h"

namespace tarvelo::testing {

// A borderless window that shows a picture over one rectangle of the screen,
// as a film player in full screen would. The server keeps the picture as the
// window's background, so it is there whenever the window is mapped.
class PictureWindow {
 public:
  // The picture must be the rectangle's size. Returns once the server shows it.
  PictureWindow(xcb_connection_t* connection, const xcb_screen_t& screen, const PixelRect& area,
                const StillPicture& picture);
  ~PictureWindow();

  PictureWindow(const PictureWindow&) = delete;
  PictureWindow& operator=(const PictureWindow&) = delete;

  // Paints a solid rectangle (window coordinates) over the picture, RGB as 0xRRGGBB,
  // and returns once the server has drawn it.
  void fill(const PixelRect& part, std::uint32_t rgb);

  xcb_window_t window() const { return window_; }

 private:
  xcb_connection_t* connection_;
  xcb_window_t window_ = 0;
  xcb_pixmap_t pixmap_ = 0;
  xcb_gcontext_t gc_ = 0;
};

// Waits until the server has handled every request sent so far on `connection`.
void synchronize(xcb_connection_t* connection);

}  // namespace tarvelo::testing
