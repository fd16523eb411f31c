#pragma once

#include <xcb/xcb.h>

#include <memory>
#include <optional>
#include <string>

#include "output/light_picture_surface.h"
#include "output/light_upscaler.h"

namespace tarvelo {

class X11ShmSegment;

// The light drawn on an X window without Qt Quick: the small light picture
// is stretched over the window (LightUpscaler) into memory shared with the X
// server, which copies it onto the window (MIT-SHM ShmPutImage). Without a
// GPU that is the least a full-screen picture can cost: one stretch here and
// one copy in the server, with nothing in between (Qt Quick's software
// renderer adds its scene graph, its backing store and a round trip to the
// server per frame).
//
// It uses a connection of its own, so the server's answers to its pictures
// reach it directly. Main thread only.
class X11LightSurface final : public LightPictureSurface {
 public:
  // Draws on `window` (made elsewhere) on the X server `displayName`
  // (absent: $DISPLAY); the window shows opaque black until the first
  // picture. The light is laid out for `width` × `height` (the window's size
  // in Qt's units) and stretched over all the window's pixels, however many
  // Qt's scaling puts in a unit. Throws std::runtime_error with a one-line
  // reason when the server cannot be reached, lacks MIT-SHM, or the window's
  // pixels are not the 32-bit words 0x00RRGGBB this process writes.
  X11LightSurface(const std::optional<std::string>& displayName, xcb_window_t window, int width, int height);
  ~X11LightSurface() override;

  X11LightSurface(const X11LightSurface&) = delete;
  X11LightSurface& operator=(const X11LightSurface&) = delete;

  int width() const override { return width_; }
  int height() const override { return height_; }
  // Waits, if it must, until the server has read the previous picture, so
  // that the shared memory is never written while it is being copied.
  void showPicture(const RgbaPictureView& picture) override;

  // Puts the last picture on the window again (after an expose).
  void redraw();

  // How many pictures the server has been asked to show (redraws included).
  int putCount() const { return putCount_; }

 private:
  void checkWindowPixels(xcb_window_t window);
  void put();
  // Reads the server's answers until it has finished with every picture
  // put so far; false once the connection is lost.
  bool waitUntilPicturesAreRead();

  xcb_connection_t* connection_ = nullptr;
  xcb_window_t window_;
  int width_;
  int height_;
  // The window's size in pixels, as the server has it.
  int pixelWidth_ = 0;
  int pixelHeight_ = 0;
  std::uint8_t depth_ = 0;
  // The event type of the server's word that it has copied a picture.
  std::uint8_t completionEvent_ = 0;
  std::uint32_t graphicsContext_ = 0;
  std::unique_ptr<X11ShmSegment> segment_;
  LightUpscaler upscaler_;
  bool hasPicture_ = false;
  // The sequence number of the last put; the server's completion event (or
  // error) for it says the shared memory is free again.
  std::uint32_t lastPutSequence_ = 0;
  bool putPending_ = false;
  int putCount_ = 0;
};

}  // namespace tarvelo
