#pragma once

#include <xcb/render.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "capture/downscale_plan.h"
#include "capture/pixel_rect.h"
#include "capture/x11/x11_connection.h"
#include "support/x11/x11_shm_segment.h"
#include "pipeline/frame.h"

namespace tarvelo {

// Has the X server scale a rectangle of the screen down to a small BGRA
// picture and hands that picture over in shared memory. The scaling is a chain
// of Render composites with bilinear filtering (see DownscalePlan), so the
// server reads only the pixels the samples touch and the client never sees the
// full-size screen.
//
// Not thread-safe: one thread at a time (the capture worker) uses it.
class X11FrameScaler {
 public:
  // Opens its own connection to `displayName`. Throws std::runtime_error when
  // the server cannot be reached, lacks an extension or refuses a resource.
  X11FrameScaler(const std::optional<std::string>& displayName, std::int64_t width, std::int64_t height,
                 std::int64_t samplesX, std::int64_t samplesY);
  ~X11FrameScaler();

  X11FrameScaler(const X11FrameScaler&) = delete;
  X11FrameScaler& operator=(const X11FrameScaler&) = delete;

  // Scales `source` (root-window pixels, every window on it) into the frame and
  // returns a view of the shared memory holding it. The view's pixels stay as
  // they are until the next capture. Throws std::runtime_error when the server
  // refuses or the connection has failed.
  const Frame& capture(const PixelRect& source);

  const DownscalePlan& plan() const { return plan_; }

 private:
  // The picture formats the scaling works in.
  struct Formats {
    xcb_render_pictformat_t root = 0;   // the root window's visual
    xcb_render_pictformat_t frame = 0;  // 32-bit with bytes B, G, R, A in memory
  };
  // One picture of the chain that is not the root window: its pixmap and picture.
  struct Intermediate {
    xcb_pixmap_t pixmap = 0;
    xcb_render_picture_t picture = 0;
  };

  Formats findFormats();
  void preparePasses(const PixelRect& source);
  void releasePasses();
  Intermediate makePicture(std::int64_t width, std::int64_t height);
  void setSampling(xcb_render_picture_t picture, const ScalePass& pass);
  // One round trip, after which every error of the requests sent so far has arrived.
  void synchronize();
  void throwIfFailed(const char* what);

  X11Connection connection_;
  std::int64_t width_;
  std::int64_t height_;
  std::int64_t samplesX_;
  std::int64_t samplesY_;
  Formats formats_;
  xcb_render_picture_t rootPicture_ = 0;
  Intermediate framePicture_;
  std::unique_ptr<X11ShmSegment> segment_;
  std::optional<PixelRect> preparedSource_;
  DownscalePlan plan_;
  std::vector<Intermediate> intermediates_;
  Frame frame_;
};

}  // namespace tarvelo
