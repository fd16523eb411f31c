#include "capture/x11/x11_frame_scaler.h"

#include <cmath>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

#include "support/checked_arithmetic.h"
#include "support/x11/xcb_reply.h"

namespace tarvelo {

namespace {

constexpr std::string_view kBilinear = "bilinear";

xcb_render_fixed_t toFixed(double value) {
  const std::int64_t fixed = truncateToInt64(std::round(value * 65536.0));
  if (fixed < std::numeric_limits<std::int32_t>::min() || fixed > std::numeric_limits<std::int32_t>::max()) {
    throw std::runtime_error("A screen scaling factor is out of range for the X server.");
  }
  return static_cast<xcb_render_fixed_t>(fixed);
}

std::uint16_t toCard16(std::int64_t value) {
  if (value < 0 || value > std::numeric_limits<std::uint16_t>::max()) {
    throw std::runtime_error("A screen capture size is out of range for the X server: " + std::to_string(value));
  }
  return static_cast<std::uint16_t>(value);
}

// Bytes per row of a depth-32 image as the server lays it out.
std::int64_t bytesPerRowAtDepth32(const xcb_setup_t* setup, std::int64_t width) {
  xcb_format_iterator_t formats = xcb_setup_pixmap_formats_iterator(setup);
  for (; formats.rem > 0; xcb_format_next(&formats)) {
    if (formats.data->depth != 32) continue;
    const std::int64_t bits = checkedMul(width, formats.data->bits_per_pixel);
    const std::int64_t pad = formats.data->scanline_pad;
    return checkedMul(checkedAdd(bits, pad - 1) / pad, pad) / 8;
  }
  throw std::runtime_error("The X server has no 32-bit pixmaps, which screen capture needs.");
}

}  // namespace

X11FrameScaler::X11FrameScaler(const std::optional<std::string>& displayName, std::int64_t width,
                               std::int64_t height, std::int64_t samplesX, std::int64_t samplesY)
    : connection_(displayName), width_(width), height_(height), samplesX_(samplesX), samplesY_(samplesY) {
  xcb_connection_t* c = connection_.get();
  formats_ = findFormats();

  // IncludeInferiors: the root window's picture then shows every window on it,
  // as the screen does. Pad repeat never shows (every sample lies inside the
  // screen) but it is what the server's fast bilinear scaler for this format
  // pair is written for; without it each sample takes the slow general path.
  rootPicture_ = xcb_generate_id(c);
  const std::uint32_t rootAttributes[] = {XCB_RENDER_REPEAT_PAD, XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS};
  xcb_render_create_picture(c, rootPicture_, connection_.root(), formats_.root,
                            XCB_RENDER_CP_REPEAT | XCB_RENDER_CP_SUBWINDOW_MODE, rootAttributes);
  framePicture_ = makePicture(width_, height_);
  synchronize();
  throwIfFailed("prepare screen scaling");

  const std::int64_t bytesPerRow = bytesPerRowAtDepth32(xcb_get_setup(c), width_);
  segment_ = std::make_unique<X11ShmSegment>(c, static_cast<std::size_t>(checkedMul(bytesPerRow, height_)),
                                             X11ShmSegment::Writer::server, "screen capture");
  frame_ = Frame{segment_->bytes(), width_, height_, bytesPerRow};
}

X11FrameScaler::~X11FrameScaler() {
  xcb_connection_t* c = connection_.get();
  releasePasses();
  segment_.reset();
  xcb_render_free_picture(c, framePicture_.picture);
  xcb_free_pixmap(c, framePicture_.pixmap);
  xcb_render_free_picture(c, rootPicture_);
  xcb_flush(c);
}

X11FrameScaler::Formats X11FrameScaler::findFormats() {
  xcb_connection_t* c = connection_.get();
  const XcbReply<xcb_render_query_pict_formats_reply_t> reply(
      xcb_render_query_pict_formats_reply(c, xcb_render_query_pict_formats(c), nullptr));
  if (!reply) throw std::runtime_error("The X server did not list its picture formats.");

  Formats formats;
  const xcb_visualid_t rootVisual = connection_.screen().root_visual;
  for (auto screens = xcb_render_query_pict_formats_screens_iterator(reply.get()); screens.rem > 0;
       xcb_render_pictscreen_next(&screens)) {
    for (auto depths = xcb_render_pictscreen_depths_iterator(screens.data); depths.rem > 0;
         xcb_render_pictdepth_next(&depths)) {
      for (auto visuals = xcb_render_pictdepth_visuals_iterator(depths.data); visuals.rem > 0;
           xcb_render_pictvisual_next(&visuals)) {
        if (visuals.data->visual == rootVisual) formats.root = visuals.data->format;
      }
    }
  }

  // The frame must hold bytes B, G, R, A in memory. Image data comes over in
  // the server's byte order, so the 32-bit layout that gives those bytes depends on it.
  const bool leastSignificantFirst = xcb_get_setup(c)->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;
  const std::uint16_t alphaShift = leastSignificantFirst ? 24 : 0;
  const std::uint16_t redShift = leastSignificantFirst ? 16 : 8;
  const std::uint16_t greenShift = leastSignificantFirst ? 8 : 16;
  const std::uint16_t blueShift = leastSignificantFirst ? 0 : 24;
  for (auto infos = xcb_render_query_pict_formats_formats_iterator(reply.get()); infos.rem > 0;
       xcb_render_pictforminfo_next(&infos)) {
    const xcb_render_pictforminfo_t& info = *infos.data;
    const xcb_render_directformat_t& direct = info.direct;
    if (info.type == XCB_RENDER_PICT_TYPE_DIRECT && info.depth == 32 && direct.alpha_mask == 0xff &&
        direct.red_mask == 0xff && direct.green_mask == 0xff && direct.blue_mask == 0xff &&
        direct.alpha_shift == alphaShift && direct.red_shift == redShift && direct.green_shift == greenShift &&
        direct.blue_shift == blueShift) {
      formats.frame = info.id;
    }
  }
  if (formats.root == 0) throw std::runtime_error("The X server has no picture format for its root window.");
  if (formats.frame == 0) throw std::runtime_error("The X server has no 32-bit BGRA picture format.");
  return formats;
}

X11FrameScaler::Intermediate X11FrameScaler::makePicture(std::int64_t width, std::int64_t height) {
  xcb_connection_t* c = connection_.get();
  Intermediate intermediate;
  intermediate.pixmap = xcb_generate_id(c);
  xcb_create_pixmap(c, 32, intermediate.pixmap, connection_.root(), toCard16(width), toCard16(height));
  intermediate.picture = xcb_generate_id(c);
  xcb_render_create_picture(c, intermediate.picture, intermediate.pixmap, formats_.frame, 0, nullptr);
  return intermediate;
}

void X11FrameScaler::setSampling(xcb_render_picture_t picture, const ScalePass& pass) {
  xcb_connection_t* c = connection_.get();
  // Render maps each destination pixel centre through this matrix to the point
  // of the source it samples, which is exactly the pass's sampling rule.
  const xcb_render_transform_t transform{toFixed(pass.scaleX), 0, toFixed(pass.offsetX),
                                         0, toFixed(pass.scaleY), toFixed(pass.offsetY),
                                         0, 0, toFixed(1.0)};
  xcb_render_set_picture_transform(c, picture, transform);
  xcb_render_set_picture_filter(c, picture, static_cast<std::uint16_t>(kBilinear.size()), kBilinear.data(), 0,
                                nullptr);
}

void X11FrameScaler::preparePasses(const PixelRect& source) {
  releasePasses();
  plan_ = planBoxDownscale(source, width_, height_, samplesX_, samplesY_);
  // Pass i reads the picture pass i - 1 wrote (the root window for the first)
  // and writes the next intermediate (the frame for the last).
  for (std::size_t index = 0; index + 1 < plan_.passes.size(); ++index) {
    intermediates_.push_back(makePicture(plan_.passes[index].width, plan_.passes[index].height));
  }
  for (std::size_t index = 0; index < plan_.passes.size(); ++index) {
    setSampling(index == 0 ? rootPicture_ : intermediates_[index - 1].picture, plan_.passes[index]);
  }
  synchronize();
  throwIfFailed("prepare screen scaling");
  preparedSource_ = source;
}

void X11FrameScaler::releasePasses() {
  xcb_connection_t* c = connection_.get();
  for (const Intermediate& intermediate : intermediates_) {
    xcb_render_free_picture(c, intermediate.picture);
    xcb_free_pixmap(c, intermediate.pixmap);
  }
  intermediates_.clear();
  preparedSource_.reset();
}

const Frame& X11FrameScaler::capture(const PixelRect& source) {
  if (!preparedSource_ || *preparedSource_ != source) preparePasses(source);
  xcb_connection_t* c = connection_.get();
  for (std::size_t index = 0; index < plan_.passes.size(); ++index) {
    const ScalePass& pass = plan_.passes[index];
    const xcb_render_picture_t from = index == 0 ? rootPicture_ : intermediates_[index - 1].picture;
    const xcb_render_picture_t to =
        index + 1 == plan_.passes.size() ? framePicture_.picture : intermediates_[index].picture;
    xcb_render_composite(c, XCB_RENDER_PICT_OP_SRC, from, XCB_NONE, to, 0, 0, 0, 0, 0, 0, toCard16(pass.width),
                         toCard16(pass.height));
  }
  xcb_generic_error_t* error = nullptr;
  const XcbReply<xcb_shm_get_image_reply_t> image(xcb_shm_get_image_reply(
      c,
      xcb_shm_get_image(c, framePicture_.pixmap, 0, 0, toCard16(width_), toCard16(height_), ~0u,
                        XCB_IMAGE_FORMAT_Z_PIXMAP, segment_->serverId(), 0),
      &error));
  if (error != nullptr) {
    const int code = error->error_code;
    std::free(error);
    throw std::runtime_error("The X server refused to read back the scaled screen (X error " +
                             std::to_string(code) + ").");
  }
  if (!image) throw std::runtime_error("The connection to the X server was lost.");
  throwIfFailed("scale the screen");
  // The server tells how much it wrote; the rows are that divided evenly.
  const std::int64_t bytesPerRow = static_cast<std::int64_t>(image->size) / height_;
  if (bytesPerRow < checkedMul(width_, 4) || static_cast<std::size_t>(image->size) > segment_->size()) {
    throw std::runtime_error("The X server returned a scaled screen of an unexpected size.");
  }
  frame_.bytesPerRow = bytesPerRow;
  return frame_;
}

void X11FrameScaler::synchronize() {
  xcb_connection_t* c = connection_.get();
  std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
}

// Requests without replies report their errors as events; once a later reply
// has arrived they are all queued, so looking at the queue is enough.
void X11FrameScaler::throwIfFailed(const char* what) {
  xcb_connection_t* c = connection_.get();
  if (connection_.hasFailed()) throw std::runtime_error("The connection to the X server was lost.");
  std::optional<int> errorCode;
  while (xcb_generic_event_t* event = xcb_poll_for_queued_event(c)) {
    if (event->response_type == 0) errorCode = reinterpret_cast<xcb_generic_error_t*>(event)->error_code;
    std::free(event);
  }
  if (errorCode) {
    throw std::runtime_error(std::string("The X server refused to ") + what + " (X error " +
                             std::to_string(*errorCode) + ").");
  }
}

}  // namespace tarvelo
