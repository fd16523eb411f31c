#include "output/x11/x11_light_surface.h"

#include <xcb/shm.h>

#include <bit>
#include <cstdlib>
#include <stdexcept>

#include "support/x11/x11_shm_segment.h"
#include "support/x11/xcb_reply.h"

namespace tarvelo {

namespace {

const xcb_visualtype_t* findVisual(const xcb_setup_t* setup, xcb_visualid_t id) {
  for (auto screens = xcb_setup_roots_iterator(setup); screens.rem > 0; xcb_screen_next(&screens)) {
    for (auto depths = xcb_screen_allowed_depths_iterator(screens.data); depths.rem > 0; xcb_depth_next(&depths)) {
      for (auto visuals = xcb_depth_visuals_iterator(depths.data); visuals.rem > 0; xcb_visualtype_next(&visuals)) {
        if (visuals.data->visual_id == id) return visuals.data;
      }
    }
  }
  return nullptr;
}

int bitsPerPixelAtDepth(const xcb_setup_t* setup, std::uint8_t depth) {
  for (auto formats = xcb_setup_pixmap_formats_iterator(setup); formats.rem > 0; xcb_format_next(&formats)) {
    if (formats.data->depth == depth) return formats.data->bits_per_pixel;
  }
  return 0;
}

}  // namespace

X11LightSurface::X11LightSurface(const std::optional<std::string>& displayName, xcb_window_t window, int width,
                                 int height)
    : window_(window), width_(width), height_(height) {
  connection_ = xcb_connect(displayName ? displayName->c_str() : nullptr, nullptr);
  try {
    if (xcb_connection_has_error(connection_) != 0) throw std::runtime_error("Cannot connect to the X server.");
    const xcb_query_extension_reply_t* shm = xcb_get_extension_data(connection_, &xcb_shm_id);
    if (shm == nullptr || !shm->present) throw std::runtime_error("The X server lacks MIT-SHM.");
    completionEvent_ = static_cast<std::uint8_t>(shm->first_event + XCB_SHM_COMPLETION);
    checkWindowPixels(window);

    const std::uint32_t black = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->black_pixel;
    xcb_change_window_attributes(connection_, window_, XCB_CW_BACK_PIXEL, &black);
    graphicsContext_ = xcb_generate_id(connection_);
    const std::uint32_t noExposures = 0;
    xcb_create_gc(connection_, graphicsContext_, window_, XCB_GC_GRAPHICS_EXPOSURES, &noExposures);
    // Attaching is a round trip, so everything above has reached the server
    // before the window is shown.
    segment_ = std::make_unique<X11ShmSegment>(
        connection_, static_cast<std::size_t>(pixelWidth_) * 4 * static_cast<std::size_t>(pixelHeight_),
        X11ShmSegment::Writer::client, "the light");
  } catch (...) {
    xcb_disconnect(connection_);
    throw;
  }
}

X11LightSurface::~X11LightSurface() {
  segment_.reset();
  if (graphicsContext_ != 0) xcb_free_gc(connection_, graphicsContext_);
  xcb_disconnect(connection_);
}

// The upscaler writes native 32-bit words 0xAARRGGBB; the server must read
// them as such: 32 bits per pixel, red, green and blue in those bytes, and
// the server's byte order the same as this machine's.
void X11LightSurface::checkWindowPixels(xcb_window_t window) {
  const XcbReply<xcb_get_geometry_reply_t> geometry(
      xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
  const XcbReply<xcb_get_window_attributes_reply_t> attributes(
      xcb_get_window_attributes_reply(connection_, xcb_get_window_attributes(connection_, window), nullptr));
  if (!geometry || !attributes) throw std::runtime_error("The light window is not on the X server.");
  const xcb_setup_t* setup = xcb_get_setup(connection_);
  const xcb_visualtype_t* visual = findVisual(setup, attributes->visual);
  const std::uint8_t hostOrder =
      std::endian::native == std::endian::little ? XCB_IMAGE_ORDER_LSB_FIRST : XCB_IMAGE_ORDER_MSB_FIRST;
  const bool wordsMatch = visual != nullptr && visual->_class == XCB_VISUAL_CLASS_TRUE_COLOR &&
                          visual->red_mask == 0xFF0000 && visual->green_mask == 0xFF00 &&
                          visual->blue_mask == 0xFF && bitsPerPixelAtDepth(setup, geometry->depth) == 32 &&
                          setup->image_byte_order == hostOrder;
  if (!wordsMatch) throw std::runtime_error("The light window's pixels are not 32-bit 0x00RRGGBB words.");
  depth_ = geometry->depth;
  pixelWidth_ = geometry->width;
  pixelHeight_ = geometry->height;
  if (pixelWidth_ == 0 || pixelHeight_ == 0 || width_ <= 0 || height_ <= 0) {
    throw std::runtime_error("The light window has no area.");
  }
}

void X11LightSurface::showPicture(const RgbaPictureView& picture) {
  if (picture.width < 3 || picture.height < 3 || !waitUntilPicturesAreRead()) return;
  // In the window's pixels: the rim lies one texel beyond every edge.
  const double texelWidth = static_cast<double>(pixelWidth_) / (picture.width - 2);
  const double texelHeight = static_cast<double>(pixelHeight_) / (picture.height - 2);
  const LightRect placement{-texelWidth, -texelHeight, pixelWidth_ + 2.0 * texelWidth,
                            pixelHeight_ + 2.0 * texelHeight};
  upscaler_.stretch(picture, placement,
                    Argb32ImageView{reinterpret_cast<std::uint32_t*>(segment_->writableBytes()), pixelWidth_,
                                    pixelHeight_, static_cast<std::ptrdiff_t>(pixelWidth_) * 4},
                    PixelRegion{0, 0, pixelWidth_, pixelHeight_});
  hasPicture_ = true;
  put();
}

void X11LightSurface::redraw() {
  if (hasPicture_) put();
}

void X11LightSurface::put() {
  if (xcb_connection_has_error(connection_) != 0) return;
  const auto width = static_cast<std::uint16_t>(pixelWidth_);
  const auto height = static_cast<std::uint16_t>(pixelHeight_);
  // With send_event the server says when it has copied the picture.
  const xcb_void_cookie_t cookie =
      xcb_shm_put_image(connection_, window_, graphicsContext_, width, height, 0, 0, width, height, 0, 0, depth_,
                        XCB_IMAGE_FORMAT_Z_PIXMAP, 1, segment_->serverId(), 0);
  lastPutSequence_ = cookie.sequence;
  putPending_ = true;
  ++putCount_;
  xcb_flush(connection_);
}

bool X11LightSurface::waitUntilPicturesAreRead() {
  while (putPending_) {
    xcb_generic_event_t* event = xcb_wait_for_event(connection_);
    if (event == nullptr) return false;
    const std::uint8_t type = event->response_type & 0x7F;
    // An error for the put (the window gone) ends it as surely as its completion.
    const bool answersLastPut = static_cast<std::int32_t>(event->full_sequence - lastPutSequence_) >= 0;
    if ((type == completionEvent_ || type == 0) && answersLastPut) putPending_ = false;
    std::free(event);
  }
  return xcb_connection_has_error(connection_) == 0;
}

}  // namespace tarvelo
