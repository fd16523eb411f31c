#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "output/light_picture_surface.h"

struct wl_buffer;
struct wl_compositor;
struct wl_display;
struct wl_cursor_theme;
struct wl_output;
struct wl_pointer;
struct wl_registry;
struct wl_region;
struct wl_seat;
struct wl_shm;
struct wl_subcompositor;
struct wl_subsurface;
struct wl_surface;
struct wp_viewport;
struct wp_viewporter;
struct zwlr_layer_shell_v1;
struct zwlr_layer_surface_v1;
struct zxdg_output_manager_v1;

namespace tarvelo {

// A small picture of opaque texels, bytes blue, green, red, alpha (as the
// compositor's XRGB8888 on a little-endian machine), rows `bytesPerLine` apart.
struct BgraPictureView {
  const std::uint8_t* pixels = nullptr;
  int width = 0;
  int height = 0;
  std::ptrdiff_t bytesPerLine = 0;
};

// The light as a surface of our own on a wlr-layer-shell compositor: an
// overlay-layer surface anchored to every edge of one output (so exactly the
// output's size), never given keyboard focus, not moved by panels' exclusive
// zones, whose input region is the whole surface (pointer motion over the
// light is the only pointer news a Wayland client gets). It holds the light's
// small picture in shared memory and lets the compositor stretch it to the
// output (wp_viewporter), so a change of colours costs a small picture, not
// a full-screen redraw.
//
// Over the light it can hold one translucent overlay picture (the HUD): a
// subsurface of the light's own surface, which takes no input, so whatever the
// pointer does there reaches the light, which reports it (onPointer).
//
// It has a connection to the compositor of its own: Qt 6.4 offers no public
// handle to its own connection, and a connection of our own works whichever
// platform Qt runs on. The owner drives it from its event loop: it watches
// fileDescriptor() for input and calls dispatch(); show() flushes its own
// requests.
//
// Two shared-memory buffers take turns; a buffer is written only once the
// compositor has released it, and a picture that arrives while both are held
// waits in the newest slot until one comes back.
class WaylandLayerLight final : public LightPictureSurface {
 public:
  enum class Failure {
    // No compositor answers on $WAYLAND_DISPLAY (or the one given).
    noCompositor,
    // The compositor lacks a protocol the light needs; a full-screen window is the way there.
    noLayerShell,
    noViewporter,
    noSharedMemory,
    // No output of that name (or the compositor names none).
    noSuchOutput,
    // The compositor closed the surface or the connection before it was shown.
    refused,
  };

  struct OpenResult {
    std::unique_ptr<WaylandLayerLight> light;
    Failure failure = Failure::refused;
    // One line, for "[Tarvelo] " output or a fallback's reason.
    std::string error;
  };

  // Connects (to `displayName`, or $WAYLAND_DISPLAY when empty), finds the
  // output named `outputName` (its xdg-output or wl_output name, e.g.
  // "HEADLESS-2"), puts the surface there and waits, up to `timeout`, for
  // the compositor to give it its size. Nothing is shown until show().
  static OpenResult open(const std::string& outputName, const std::string& displayName = {},
                         std::chrono::milliseconds timeout = std::chrono::seconds(5));

  ~WaylandLayerLight();
  WaylandLayerLight(const WaylandLayerLight&) = delete;
  WaylandLayerLight& operator=(const WaylandLayerLight&) = delete;

  // Shows `picture` stretched over the whole output. Copies it, so the
  // caller may reuse its memory at once. False (nothing shown) for an empty
  // picture, or once the light is lost.
  bool show(const BgraPictureView& picture);
  // The light's picture: what lies inside its rim, shown as above. (A
  // viewport source rectangle would keep the rim for the filter to blend
  // with at the edges, but wlroots' software renderer ignores the
  // rectangle's offset.)
  void showPicture(const RgbaPictureView& picture) override;

  // Watch this for input and call dispatch() when it has some.
  int fileDescriptor() const;
  // Reads and handles what the compositor sent, waiting up to `timeout` for
  // something to arrive. False once the light is lost.
  bool dispatch(std::chrono::milliseconds timeout = std::chrono::milliseconds(0));

  // The output's size, as the compositor configured the surface.
  int width() const override { return width_; }
  int height() const override { return height_; }

  // The output went away (unplugged or switched off), the compositor closed
  // the surface, or the connection broke. Nothing more is shown; the owner
  // should drop this light. lossReason() says which, in one line.
  bool isLost() const { return lost_; }
  const std::string& lossReason() const { return lossReason_; }
  // Called once, from dispatch(), when the light is lost.
  std::function<void(const std::string& reason)> onLost;

  // What the pointer does over the light, in the light's surface coordinates
  // (the output's logical size), the overlay included.
  struct PointerEvent {
    enum class Kind { motion, press, release, leave };
    Kind kind = Kind::motion;
    double x = 0.0;
    double y = 0.0;
    // The Linux input code of the button pressed or released (BTN_LEFT, ...).
    std::uint32_t button = 0;
  };
  // Called from dispatch(), while the connection is being read: a handler
  // that could end the light must act later, not from inside the call.
  std::function<void(const PointerEvent& event)> onPointer;

  // The output's scale (its pixels per unit of the light's surface), as
  // the compositor last said.
  int outputScale() const;

  // Shows `picture` (premultiplied alpha, bytes blue, green, red, alpha) over
  // the light, its top-left corner at `x`, `y` of the light's surface, drawn
  // at `scale` pixels per surface unit (so its size is the picture's divided
  // by `scale`, which must divide it). Copies it. False for an empty picture
  // or once lost.
  bool showOverlay(const BgraPictureView& picture, int x, int y, int scale = 1);
  // Takes the overlay away until the next showOverlay().
  void hideOverlay();
  bool isOverlayShown() const { return overlayShown_; }

  // How many pictures were handed to the compositor (a burst faster than it
  // gives buffers back hands over only the last picture that waited).
  int committedPictures() const { return committedPictures_; }

 private:
  struct ShmBuffer {
    WaylandLayerLight* owner = nullptr;
    wl_buffer* buffer = nullptr;
    std::uint8_t* pixels = nullptr;
    std::size_t size = 0;
    int width = 0;
    int height = 0;
    bool busy = false;
  };
  // Two buffers taking turns for one surface, and the newest picture waiting
  // for one of them to come back.
  struct BufferPair {
    std::array<ShmBuffer, 2> buffers;
    std::uint32_t format = 0;
    std::vector<std::uint8_t> waitingPixels;
    int waitingWidth = 0;
    int waitingHeight = 0;
    bool hasWaiting = false;
  };
  struct OutputEntry;
  friend struct WaylandLayerLightEvents;

  WaylandLayerLight() = default;
  OpenResult finishOpen(const std::string& outputName, std::chrono::milliseconds timeout);
  bool roundtrip();
  bool waitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout);
  void markLost(const std::string& reason);
  ShmBuffer* freeBuffer(BufferPair& pair, int width, int height);
  bool makeBuffer(ShmBuffer& slot, int width, int height, std::uint32_t format);
  static void destroyBuffer(ShmBuffer& slot);
  // Into a free buffer of `pair` when there is one, else kept as the pair's
  // waiting picture; the buffer written, or null.
  ShmBuffer* write(BufferPair& pair, const BgraPictureView& picture);
  // Commits a written buffer to the light's surface, stretched over the output.
  void presentLight(ShmBuffer& slot);
  void presentOverlay(ShmBuffer& slot);
  void presentWaiting();
  bool flush();
  void createOverlay();
  void usePointer(bool present);
  void setCursor(std::uint32_t serial);
  void reportPointer(PointerEvent::Kind kind, double x, double y, std::uint32_t button = 0);

  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_compositor* compositor_ = nullptr;
  wl_shm* shm_ = nullptr;
  wp_viewporter* viewporter_ = nullptr;
  zwlr_layer_shell_v1* layerShell_ = nullptr;
  zxdg_output_manager_v1* xdgOutputManager_ = nullptr;
  std::vector<std::unique_ptr<OutputEntry>> outputs_;
  // The registry name of the light's output, to notice when it goes.
  std::uint32_t outputGlobal_ = 0;
  const OutputEntry* output_ = nullptr;
  wl_subcompositor* subcompositor_ = nullptr;
  wl_seat* seat_ = nullptr;
  wl_pointer* pointer_ = nullptr;
  wl_cursor_theme* cursorTheme_ = nullptr;
  // The output scale the theme was loaded for.
  int cursorThemeScale_ = 1;
  wl_surface* cursorSurface_ = nullptr;
  double pointerX_ = 0.0;
  double pointerY_ = 0.0;
  wl_surface* surface_ = nullptr;
  wp_viewport* viewport_ = nullptr;
  zwlr_layer_surface_v1* layerSurface_ = nullptr;
  BufferPair lightBuffers_;
  wl_surface* overlaySurface_ = nullptr;
  wl_subsurface* overlaySubsurface_ = nullptr;
  BufferPair overlayBuffers_;
  int overlayX_ = 0;
  int overlayY_ = 0;
  int overlayScale_ = 1;
  bool overlayPlaced_ = false;
  bool overlayShown_ = false;
  int width_ = 0;
  int height_ = 0;
  bool configured_ = false;
  bool lost_ = false;
  bool lossReported_ = false;
  std::string lossReason_;
  int committedPictures_ = 0;
  // The light's picture in the compositor's byte order, rim left out.
  std::vector<std::uint8_t> pictureBgra_;
};

}  // namespace tarvelo
