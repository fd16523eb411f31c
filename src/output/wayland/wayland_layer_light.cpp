#include "output/wayland/wayland_layer_light.h"

#include <poll.h>
#include <sys/mman.h>
#include <unistd.h>
#include <wayland-cursor.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>

#include "viewporter-client-protocol.h"
#include "xdg-output-unstable-v1-client-protocol.h"
// The protocol names an argument "namespace", which C++ reserves.
#define namespace layer_namespace
#include "wlr-layer-shell-unstable-v1-client-protocol.h"
#undef namespace

namespace tarvelo {

struct WaylandLayerLight::OutputEntry {
  std::uint32_t global = 0;
  std::uint32_t version = 0;
  wl_output* output = nullptr;
  zxdg_output_v1* xdgOutput = nullptr;
  std::string name;
  int scale = 1;
};

namespace {

constexpr std::uint32_t kLayerShellVersion = 4;
constexpr std::uint32_t kCompositorVersion = 4;  // wl_surface.damage_buffer
constexpr std::uint32_t kOutputVersion = 4;      // wl_output.name
constexpr std::uint32_t kXdgOutputVersion = 3;
constexpr std::uint32_t kSeatVersion = 3;  // wl_pointer.release

// The pointer keeps the desktop's arrow over the light, at the theme's size.
constexpr const char* kCursorName = "left_ptr";
constexpr int kDefaultCursorSize = 24;

int cursorSize() {
  const char* size = std::getenv("XCURSOR_SIZE");
  const int parsed = size != nullptr ? std::atoi(size) : 0;
  return parsed > 0 && parsed <= 256 ? parsed : kDefaultCursorSize;
}

std::uint32_t boundVersion(std::uint32_t offered, std::uint32_t wanted) { return std::min(offered, wanted); }

}  // namespace

// The compositor's events, as plain functions the listeners point at.
struct WaylandLayerLightEvents {
  static void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface,
                     std::uint32_t version) {
    auto* light = static_cast<WaylandLayerLight*>(data);
    const std::string_view kind(interface);
    if (kind == wl_compositor_interface.name) {
      light->compositor_ = static_cast<wl_compositor*>(wl_registry_bind(
          registry, name, &wl_compositor_interface, boundVersion(version, kCompositorVersion)));
    } else if (kind == wl_shm_interface.name) {
      light->shm_ = static_cast<wl_shm*>(wl_registry_bind(registry, name, &wl_shm_interface, 1));
    } else if (kind == wp_viewporter_interface.name) {
      light->viewporter_ = static_cast<wp_viewporter*>(wl_registry_bind(registry, name, &wp_viewporter_interface, 1));
    } else if (kind == zwlr_layer_shell_v1_interface.name) {
      light->layerShell_ = static_cast<zwlr_layer_shell_v1*>(wl_registry_bind(
          registry, name, &zwlr_layer_shell_v1_interface, boundVersion(version, kLayerShellVersion)));
    } else if (kind == zxdg_output_manager_v1_interface.name) {
      light->xdgOutputManager_ = static_cast<zxdg_output_manager_v1*>(wl_registry_bind(
          registry, name, &zxdg_output_manager_v1_interface, boundVersion(version, kXdgOutputVersion)));
    } else if (kind == wl_subcompositor_interface.name) {
      light->subcompositor_ =
          static_cast<wl_subcompositor*>(wl_registry_bind(registry, name, &wl_subcompositor_interface, 1));
    } else if (kind == wl_seat_interface.name && light->seat_ == nullptr) {
      light->seat_ = static_cast<wl_seat*>(
          wl_registry_bind(registry, name, &wl_seat_interface, boundVersion(version, kSeatVersion)));
      wl_seat_add_listener(light->seat_, &kSeatListener, light);
    } else if (kind == wl_output_interface.name) {
      auto entry = std::make_unique<WaylandLayerLight::OutputEntry>();
      entry->global = name;
      entry->version = boundVersion(version, kOutputVersion);
      entry->output = static_cast<wl_output*>(wl_registry_bind(registry, name, &wl_output_interface, entry->version));
      wl_output_add_listener(entry->output, &kOutputListener, entry.get());
      light->outputs_.push_back(std::move(entry));
    }
  }

  static void globalRemove(void* data, wl_registry* /*registry*/, std::uint32_t name) {
    auto* light = static_cast<WaylandLayerLight*>(data);
    if (light->outputGlobal_ != 0 && name == light->outputGlobal_) {
      light->markLost("The light screen's output is gone");
    }
  }

  static void outputGeometry(void*, wl_output*, std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                             const char*, const char*, std::int32_t) {}
  static void outputMode(void*, wl_output*, std::uint32_t, std::int32_t, std::int32_t, std::int32_t) {}
  static void outputDone(void*, wl_output*) {}
  static void outputScale(void* data, wl_output* /*output*/, std::int32_t factor) {
    static_cast<WaylandLayerLight::OutputEntry*>(data)->scale = std::max(factor, 1);
  }
  static void outputName(void* data, wl_output* /*output*/, const char* name) {
    static_cast<WaylandLayerLight::OutputEntry*>(data)->name = name;
  }
  static void outputDescription(void*, wl_output*, const char*) {}

  static void xdgLogicalPosition(void*, zxdg_output_v1*, std::int32_t, std::int32_t) {}
  static void xdgLogicalSize(void*, zxdg_output_v1*, std::int32_t, std::int32_t) {}
  static void xdgDone(void*, zxdg_output_v1*) {}
  static void xdgName(void* data, zxdg_output_v1* /*output*/, const char* name) {
    auto* entry = static_cast<WaylandLayerLight::OutputEntry*>(data);
    // wl_output.name is the same name where both exist; take whichever came.
    if (entry->name.empty()) entry->name = name;
  }
  static void xdgDescription(void*, zxdg_output_v1*, const char*) {}

  static void configure(void* data, zwlr_layer_surface_v1* surface, std::uint32_t serial, std::uint32_t width,
                        std::uint32_t height) {
    auto* light = static_cast<WaylandLayerLight*>(data);
    zwlr_layer_surface_v1_ack_configure(surface, serial);
    const bool resized = light->configured_ && (static_cast<int>(width) != light->width_ ||
                                                static_cast<int>(height) != light->height_);
    light->width_ = static_cast<int>(std::min<std::uint32_t>(width, std::numeric_limits<int>::max()));
    light->height_ = static_cast<int>(std::min<std::uint32_t>(height, std::numeric_limits<int>::max()));
    light->configured_ = true;
    // The picture is stretched by the compositor: a new size needs only a new destination.
    if (resized && light->committedPictures_ > 0 && light->width_ > 0 && light->height_ > 0) {
      wp_viewport_set_destination(light->viewport_, light->width_, light->height_);
      wl_surface_commit(light->surface_);
    }
  }

  static void closed(void* data, zwlr_layer_surface_v1* /*surface*/) {
    static_cast<WaylandLayerLight*>(data)->markLost("The compositor closed the light's surface");
  }

  static void release(void* data, wl_buffer* /*buffer*/) {
    auto* slot = static_cast<WaylandLayerLight::ShmBuffer*>(data);
    slot->busy = false;
    slot->owner->presentWaiting();
  }

  static void seatCapabilities(void* data, wl_seat* /*seat*/, std::uint32_t capabilities) {
    static_cast<WaylandLayerLight*>(data)->usePointer((capabilities & WL_SEAT_CAPABILITY_POINTER) != 0);
  }
  static void seatName(void*, wl_seat*, const char*) {}

  static void pointerEnter(void* data, wl_pointer* /*pointer*/, std::uint32_t serial, wl_surface* /*surface*/,
                           wl_fixed_t x, wl_fixed_t y) {
    auto* light = static_cast<WaylandLayerLight*>(data);
    light->setCursor(serial);
    light->reportPointer(WaylandLayerLight::PointerEvent::Kind::motion, wl_fixed_to_double(x), wl_fixed_to_double(y));
  }
  static void pointerLeave(void* data, wl_pointer* /*pointer*/, std::uint32_t /*serial*/, wl_surface* /*surface*/) {
    auto* light = static_cast<WaylandLayerLight*>(data);
    light->reportPointer(WaylandLayerLight::PointerEvent::Kind::leave, light->pointerX_, light->pointerY_);
  }
  static void pointerMotion(void* data, wl_pointer* /*pointer*/, std::uint32_t /*time*/, wl_fixed_t x, wl_fixed_t y) {
    static_cast<WaylandLayerLight*>(data)->reportPointer(WaylandLayerLight::PointerEvent::Kind::motion,
                                                         wl_fixed_to_double(x), wl_fixed_to_double(y));
  }
  static void pointerButton(void* data, wl_pointer* /*pointer*/, std::uint32_t /*serial*/, std::uint32_t /*time*/,
                            std::uint32_t button, std::uint32_t state) {
    auto* light = static_cast<WaylandLayerLight*>(data);
    const auto kind = state == WL_POINTER_BUTTON_STATE_PRESSED ? WaylandLayerLight::PointerEvent::Kind::press
                                                                : WaylandLayerLight::PointerEvent::Kind::release;
    light->reportPointer(kind, light->pointerX_, light->pointerY_, button);
  }
  static void pointerAxis(void*, wl_pointer*, std::uint32_t, std::uint32_t, wl_fixed_t) {}

  // Zero first: the events a later protocol version adds are never sent at the version bound.
  static wl_pointer_listener pointerListener() {
    wl_pointer_listener listener{};
    listener.enter = pointerEnter;
    listener.leave = pointerLeave;
    listener.motion = pointerMotion;
    listener.button = pointerButton;
    listener.axis = pointerAxis;
    return listener;
  }

  static constexpr wl_registry_listener kRegistryListener{global, globalRemove};
  static constexpr wl_output_listener kOutputListener{outputGeometry, outputMode, outputDone,
                                                      outputScale,    outputName, outputDescription};
  static constexpr zxdg_output_v1_listener kXdgOutputListener{xdgLogicalPosition, xdgLogicalSize, xdgDone, xdgName,
                                                              xdgDescription};
  static constexpr zwlr_layer_surface_v1_listener kLayerSurfaceListener{configure, closed};
  static constexpr wl_buffer_listener kBufferListener{release};
  static constexpr wl_seat_listener kSeatListener{seatCapabilities, seatName};
  static inline const wl_pointer_listener kPointerListener = pointerListener();
};

WaylandLayerLight::OpenResult WaylandLayerLight::open(const std::string& outputName, const std::string& displayName,
                                                      std::chrono::milliseconds timeout) {
  std::unique_ptr<WaylandLayerLight> light(new WaylandLayerLight());
  light->lightBuffers_.format = WL_SHM_FORMAT_XRGB8888;
  light->overlayBuffers_.format = WL_SHM_FORMAT_ARGB8888;
  light->display_ = wl_display_connect(displayName.empty() ? nullptr : displayName.c_str());
  if (light->display_ == nullptr) {
    const std::string where = displayName.empty() ? "WAYLAND_DISPLAY" : displayName;
    return {nullptr, Failure::noCompositor, "No Wayland compositor answers on " + where};
  }
  OpenResult result = light->finishOpen(outputName, timeout);
  if (result.error.empty()) result.light = std::move(light);
  return result;
}

WaylandLayerLight::OpenResult WaylandLayerLight::finishOpen(const std::string& outputName,
                                                            std::chrono::milliseconds timeout) {
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &WaylandLayerLightEvents::kRegistryListener, this);
  // The globals, then the outputs' names (sent once each output is bound).
  if (!roundtrip()) return {nullptr, Failure::noCompositor, "The Wayland connection broke while listing globals"};
  if (layerShell_ == nullptr) return {nullptr, Failure::noLayerShell, "The compositor offers no wlr-layer-shell"};
  if (viewporter_ == nullptr) return {nullptr, Failure::noViewporter, "The compositor offers no wp_viewporter"};
  if (compositor_ == nullptr || shm_ == nullptr) {
    return {nullptr, Failure::noSharedMemory, "The compositor offers no wl_compositor and wl_shm"};
  }
  if (xdgOutputManager_ != nullptr) {
    for (const std::unique_ptr<OutputEntry>& entry : outputs_) {
      entry->xdgOutput = zxdg_output_manager_v1_get_xdg_output(xdgOutputManager_, entry->output);
      zxdg_output_v1_add_listener(entry->xdgOutput, &WaylandLayerLightEvents::kXdgOutputListener, entry.get());
    }
  }
  if (!roundtrip()) return {nullptr, Failure::noCompositor, "The Wayland connection broke while naming outputs"};

  OutputEntry* target = nullptr;
  std::string known;
  for (const std::unique_ptr<OutputEntry>& entry : outputs_) {
    if (entry->name == outputName) target = entry.get();
    known += (known.empty() ? "" : ", ") + (entry->name.empty() ? std::string("(unnamed)") : entry->name);
  }
  if (target == nullptr) {
    return {nullptr, Failure::noSuchOutput,
            "No output named " + outputName + " (outputs: " + (known.empty() ? "none" : known) + ")"};
  }
  outputGlobal_ = target->global;
  output_ = target;

  surface_ = wl_compositor_create_surface(compositor_);
  viewport_ = wp_viewporter_get_viewport(viewporter_, surface_);
  layerSurface_ = zwlr_layer_shell_v1_get_layer_surface(layerShell_, surface_, target->output,
                                                        ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "tarvelo-light");
  zwlr_layer_surface_v1_add_listener(layerSurface_, &WaylandLayerLightEvents::kLayerSurfaceListener, this);
  // Size 0 × 0 anchored to all four edges: the output's size, whatever it is.
  zwlr_layer_surface_v1_set_size(layerSurface_, 0, 0);
  zwlr_layer_surface_v1_set_anchor(
      layerSurface_, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP | ZWLR_LAYER_SURFACE_V1_ANCHOR_BOTTOM |
                         ZWLR_LAYER_SURFACE_V1_ANCHOR_LEFT | ZWLR_LAYER_SURFACE_V1_ANCHOR_RIGHT);
  // Panels' exclusive zones do not push the light aside: it covers the output exactly.
  zwlr_layer_surface_v1_set_exclusive_zone(layerSurface_, -1);
  zwlr_layer_surface_v1_set_keyboard_interactivity(layerSurface_,
                                                   ZWLR_LAYER_SURFACE_V1_KEYBOARD_INTERACTIVITY_NONE);
  // The input region stays the surface's default, all of it: pointer motion
  // over the light is how it learns that someone reaches for the controls.
  wl_surface_commit(surface_);
  if (!waitFor([this] { return configured_ || lost_; }, timeout) || lost_ || width_ <= 0 || height_ <= 0) {
    return {nullptr, Failure::refused,
            lost_ ? lossReason_ : std::string("The compositor did not give the light's surface a size")};
  }
  return {nullptr, Failure::refused, {}};
}

WaylandLayerLight::~WaylandLayerLight() {
  for (ShmBuffer& slot : overlayBuffers_.buffers) destroyBuffer(slot);
  if (overlaySubsurface_ != nullptr) wl_subsurface_destroy(overlaySubsurface_);
  if (overlaySurface_ != nullptr) wl_surface_destroy(overlaySurface_);
  usePointer(false);
  if (cursorSurface_ != nullptr) wl_surface_destroy(cursorSurface_);
  if (cursorTheme_ != nullptr) wl_cursor_theme_destroy(cursorTheme_);
  if (seat_ != nullptr) {
    if (wl_seat_get_version(seat_) >= WL_SEAT_RELEASE_SINCE_VERSION) {
      wl_seat_release(seat_);
    } else {
      wl_seat_destroy(seat_);
    }
  }
  if (subcompositor_ != nullptr) wl_subcompositor_destroy(subcompositor_);
  for (ShmBuffer& slot : lightBuffers_.buffers) destroyBuffer(slot);
  if (viewport_ != nullptr) wp_viewport_destroy(viewport_);
  if (layerSurface_ != nullptr) zwlr_layer_surface_v1_destroy(layerSurface_);
  if (surface_ != nullptr) wl_surface_destroy(surface_);
  for (const std::unique_ptr<OutputEntry>& entry : outputs_) {
    if (entry->xdgOutput != nullptr) zxdg_output_v1_destroy(entry->xdgOutput);
    if (entry->version >= WL_OUTPUT_RELEASE_SINCE_VERSION) {
      wl_output_release(entry->output);
    } else {
      wl_output_destroy(entry->output);
    }
  }
  if (xdgOutputManager_ != nullptr) zxdg_output_manager_v1_destroy(xdgOutputManager_);
  if (layerShell_ != nullptr) {
    if (wl_proxy_get_version(reinterpret_cast<wl_proxy*>(layerShell_)) >= ZWLR_LAYER_SHELL_V1_DESTROY_SINCE_VERSION) {
      zwlr_layer_shell_v1_destroy(layerShell_);
    } else {
      wl_proxy_destroy(reinterpret_cast<wl_proxy*>(layerShell_));
    }
  }
  if (viewporter_ != nullptr) wp_viewporter_destroy(viewporter_);
  if (shm_ != nullptr) wl_shm_destroy(shm_);
  if (compositor_ != nullptr) wl_compositor_destroy(compositor_);
  if (registry_ != nullptr) wl_registry_destroy(registry_);
  if (display_ != nullptr) {
    wl_display_flush(display_);
    wl_display_disconnect(display_);
  }
}

namespace {

bool isUsable(const BgraPictureView& picture) {
  return picture.pixels != nullptr && picture.width > 0 && picture.height > 0 &&
         picture.bytesPerLine >= static_cast<std::ptrdiff_t>(picture.width) * 4;
}

void copyRows(const BgraPictureView& picture, std::uint8_t* target) {
  const std::size_t rowBytes = static_cast<std::size_t>(picture.width) * 4;
  for (int row = 0; row < picture.height; ++row) {
    std::memcpy(target + rowBytes * static_cast<std::size_t>(row), picture.pixels + picture.bytesPerLine * row,
                rowBytes);
  }
}

}  // namespace

bool WaylandLayerLight::show(const BgraPictureView& picture) {
  if (lost_ || !isUsable(picture)) return false;
  if (ShmBuffer* slot = write(lightBuffers_, picture)) presentLight(*slot);
  return flush();
}

void WaylandLayerLight::showPicture(const RgbaPictureView& picture) {
  if (picture.width < 3 || picture.height < 3) return;
  const int width = picture.width - 2;
  const int height = picture.height - 2;
  pictureBgra_.resize(static_cast<std::size_t>(width) * static_cast<std::size_t>(height) * 4);
  std::uint8_t* out = pictureBgra_.data();
  for (int row = 1; row <= height; ++row) {
    const std::uint8_t* in = picture.pixels + row * picture.bytesPerLine + 4;
    for (int column = 0; column < width; ++column, in += 4, out += 4) {
      out[0] = in[2];
      out[1] = in[1];
      out[2] = in[0];
      out[3] = in[3];
    }
  }
  show(BgraPictureView{pictureBgra_.data(), width, height, static_cast<std::ptrdiff_t>(width) * 4});
}

int WaylandLayerLight::outputScale() const { return output_ != nullptr ? output_->scale : 1; }

bool WaylandLayerLight::showOverlay(const BgraPictureView& picture, int x, int y, int scale) {
  if (lost_ || !isUsable(picture) || subcompositor_ == nullptr || scale < 1 || picture.width % scale != 0 ||
      picture.height % scale != 0) {
    return false;
  }
  if (overlaySurface_ == nullptr) createOverlay();
  if (scale != overlayScale_) {
    wl_surface_set_buffer_scale(overlaySurface_, scale);
    overlayScale_ = scale;
  }
  if (!overlayPlaced_ || x != overlayX_ || y != overlayY_) {
    // A subsurface moves with its parent's next commit, which changes nothing else.
    wl_subsurface_set_position(overlaySubsurface_, x, y);
    wl_surface_commit(surface_);
    overlayX_ = x;
    overlayY_ = y;
    overlayPlaced_ = true;
  }
  overlayShown_ = true;
  if (ShmBuffer* slot = write(overlayBuffers_, picture)) presentOverlay(*slot);
  return flush();
}

void WaylandLayerLight::hideOverlay() {
  if (!overlayShown_) return;
  overlayShown_ = false;
  overlayBuffers_.hasWaiting = false;
  wl_surface_attach(overlaySurface_, nullptr, 0, 0);
  wl_surface_commit(overlaySurface_);
  flush();
}

// Desynchronised, so the overlay changes without waiting for the light's next
// picture; with an empty input region, so the pointer's news stays the light's.
void WaylandLayerLight::createOverlay() {
  overlaySurface_ = wl_compositor_create_surface(compositor_);
  overlaySubsurface_ = wl_subcompositor_get_subsurface(subcompositor_, overlaySurface_, surface_);
  wl_subsurface_set_desync(overlaySubsurface_);
  wl_region* noInput = wl_compositor_create_region(compositor_);
  wl_surface_set_input_region(overlaySurface_, noInput);
  wl_region_destroy(noInput);
}

WaylandLayerLight::ShmBuffer* WaylandLayerLight::write(BufferPair& pair, const BgraPictureView& picture) {
  if (ShmBuffer* slot = freeBuffer(pair, picture.width, picture.height)) {
    pair.hasWaiting = false;
    copyRows(picture, slot->pixels);
    return slot;
  }
  // Both buffers are on screen or on their way: keep the newest picture for
  // the first one the compositor gives back.
  pair.waitingPixels.resize(static_cast<std::size_t>(picture.width) * 4 * static_cast<std::size_t>(picture.height));
  copyRows(picture, pair.waitingPixels.data());
  pair.waitingWidth = picture.width;
  pair.waitingHeight = picture.height;
  pair.hasWaiting = true;
  return nullptr;
}

void WaylandLayerLight::presentWaiting() {
  if (lost_) return;
  bool presented = false;
  for (BufferPair* pair : {&lightBuffers_, &overlayBuffers_}) {
    if (!pair->hasWaiting) continue;
    ShmBuffer* slot = freeBuffer(*pair, pair->waitingWidth, pair->waitingHeight);
    if (slot == nullptr) continue;
    pair->hasWaiting = false;
    std::memcpy(slot->pixels, pair->waitingPixels.data(), slot->size);
    if (pair == &lightBuffers_) {
      presentLight(*slot);
    } else {
      presentOverlay(*slot);
    }
    presented = true;
  }
  // Sent now, not at the owner's next dispatch: this picture is already late.
  if (presented) flush();
}

void WaylandLayerLight::presentLight(ShmBuffer& slot) {
  wl_surface_attach(surface_, slot.buffer, 0, 0);
  wp_viewport_set_destination(viewport_, width_, height_);
  if (wl_proxy_get_version(reinterpret_cast<wl_proxy*>(surface_)) >= WL_SURFACE_DAMAGE_BUFFER_SINCE_VERSION) {
    wl_surface_damage_buffer(surface_, 0, 0, slot.width, slot.height);
  } else {
    wl_surface_damage(surface_, 0, 0, width_, height_);
  }
  wl_surface_commit(surface_);
  slot.busy = true;
  ++committedPictures_;
}

void WaylandLayerLight::presentOverlay(ShmBuffer& slot) {
  wl_surface_attach(overlaySurface_, slot.buffer, 0, 0);
  // In surface units, which the buffer's scale divides.
  wl_surface_damage(overlaySurface_, 0, 0, slot.width / overlayScale_, slot.height / overlayScale_);
  wl_surface_commit(overlaySurface_);
  slot.busy = true;
}

void WaylandLayerLight::usePointer(bool present) {
  if (present && pointer_ == nullptr && seat_ != nullptr) {
    pointer_ = wl_seat_get_pointer(seat_);
    wl_pointer_add_listener(pointer_, &WaylandLayerLightEvents::kPointerListener, this);
  } else if (!present && pointer_ != nullptr) {
    if (wl_pointer_get_version(pointer_) >= WL_POINTER_RELEASE_SINCE_VERSION) {
      wl_pointer_release(pointer_);
    } else {
      wl_pointer_destroy(pointer_);
    }
    pointer_ = nullptr;
  }
}

// A surface that sets no cursor shows whatever the pointer last looked like
// (or nothing), so the light shows the desktop's arrow. On a scaled output
// the arrow comes from the theme at that many times its size and is drawn at
// the output's own pixels, as sharp as the desktop's own; a theme without
// the larger size gives its plain arrow, which the compositor magnifies.
void WaylandLayerLight::setCursor(std::uint32_t serial) {
  const int scale = outputScale();
  const int size = cursorSize();
  // The arrow on screen may come from the theme being replaced: it goes once
  // the new one's arrow is attached.
  const std::unique_ptr<wl_cursor_theme, void (*)(wl_cursor_theme*)> retired(
      cursorTheme_ != nullptr && cursorThemeScale_ != scale ? cursorTheme_ : nullptr, wl_cursor_theme_destroy);
  if (cursorTheme_ == nullptr || cursorThemeScale_ != scale) {
    cursorTheme_ = wl_cursor_theme_load(std::getenv("XCURSOR_THEME"), size * scale, shm_);
    cursorThemeScale_ = scale;
    if (cursorTheme_ == nullptr) return;
  }
  wl_cursor* cursor = wl_cursor_theme_get_cursor(cursorTheme_, kCursorName);
  if (cursor == nullptr || cursor->image_count == 0) return;
  wl_cursor_image* image = cursor->images[0];
  wl_buffer* buffer = wl_cursor_image_get_buffer(image);
  if (buffer == nullptr) return;
  const bool drawnAtScale = static_cast<int>(image->height) >= size * scale &&
                            image->width % static_cast<unsigned>(scale) == 0 &&
                            image->height % static_cast<unsigned>(scale) == 0;
  const int bufferScale = drawnAtScale ? scale : 1;
  if (cursorSurface_ == nullptr) cursorSurface_ = wl_compositor_create_surface(compositor_);
  wl_surface_set_buffer_scale(cursorSurface_, bufferScale);
  wl_surface_attach(cursorSurface_, buffer, 0, 0);
  wl_surface_damage(cursorSurface_, 0, 0, static_cast<std::int32_t>(image->width) / bufferScale,
                    static_cast<std::int32_t>(image->height) / bufferScale);
  wl_surface_commit(cursorSurface_);
  wl_pointer_set_cursor(pointer_, serial, cursorSurface_, static_cast<std::int32_t>(image->hotspot_x) / bufferScale,
                        static_cast<std::int32_t>(image->hotspot_y) / bufferScale);
}

void WaylandLayerLight::reportPointer(PointerEvent::Kind kind, double x, double y, std::uint32_t button) {
  pointerX_ = x;
  pointerY_ = y;
  if (onPointer) onPointer(PointerEvent{kind, x, y, button});
}

WaylandLayerLight::ShmBuffer* WaylandLayerLight::freeBuffer(BufferPair& pair, int width, int height) {
  for (ShmBuffer& slot : pair.buffers) {
    if (!slot.busy && slot.buffer != nullptr && slot.width == width && slot.height == height) return &slot;
  }
  // A free slot of another size (or none yet) is remade at this size.
  for (ShmBuffer& slot : pair.buffers) {
    if (slot.busy) continue;
    destroyBuffer(slot);
    return makeBuffer(slot, width, height, pair.format) ? &slot : nullptr;
  }
  return nullptr;
}

bool WaylandLayerLight::makeBuffer(ShmBuffer& slot, int width, int height, std::uint32_t format) {
  const std::size_t stride = static_cast<std::size_t>(width) * 4;
  const std::size_t size = stride * static_cast<std::size_t>(height);
  if (size > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) return false;
  const int fd = memfd_create("tarvelo-light", MFD_CLOEXEC);
  if (fd < 0) return false;
  if (ftruncate(fd, static_cast<off_t>(size)) != 0) {
    close(fd);
    return false;
  }
  void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    close(fd);
    return false;
  }
  wl_shm_pool* pool = wl_shm_create_pool(shm_, fd, static_cast<std::int32_t>(size));
  slot.buffer = wl_shm_pool_create_buffer(pool, 0, width, height, static_cast<std::int32_t>(stride), format);
  wl_shm_pool_destroy(pool);
  close(fd);
  slot.owner = this;
  wl_buffer_add_listener(slot.buffer, &WaylandLayerLightEvents::kBufferListener, &slot);
  slot.pixels = static_cast<std::uint8_t*>(memory);
  slot.size = size;
  slot.width = width;
  slot.height = height;
  slot.busy = false;
  return true;
}

void WaylandLayerLight::destroyBuffer(ShmBuffer& slot) {
  if (slot.buffer != nullptr) wl_buffer_destroy(slot.buffer);
  if (slot.pixels != nullptr) munmap(slot.pixels, slot.size);
  slot.buffer = nullptr;
  slot.pixels = nullptr;
  slot.size = 0;
  slot.width = slot.height = 0;
  slot.busy = false;
}

int WaylandLayerLight::fileDescriptor() const { return wl_display_get_fd(display_); }

bool WaylandLayerLight::flush() {
  if (wl_display_flush(display_) < 0 && errno != EAGAIN) {
    markLost(std::string("The Wayland connection broke: ") + std::strerror(errno));
  }
  return !lost_;
}

bool WaylandLayerLight::dispatch(std::chrono::milliseconds timeout) {
  if (wl_display_get_error(display_) == 0) {
    while (wl_display_prepare_read(display_) != 0) {
      if (wl_display_dispatch_pending(display_) < 0) break;
    }
    wl_display_flush(display_);
    pollfd watch{wl_display_get_fd(display_), POLLIN, 0};
    const int ready = poll(&watch, 1, static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(
                                          timeout.count(), 0, std::numeric_limits<int>::max())));
    if (ready > 0) {
      wl_display_read_events(display_);
    } else {
      wl_display_cancel_read(display_);
    }
    wl_display_dispatch_pending(display_);
    // What the handlers asked for (a pointer for a seat that gained one, a
    // cursor) goes now: on a still screen nothing else would send it.
    wl_display_flush(display_);
  }
  if (const int error = wl_display_get_error(display_); error != 0) {
    markLost(std::string("The Wayland connection broke: ") + std::strerror(error));
  }
  if (lost_ && !lossReported_) {
    lossReported_ = true;
    if (onLost) onLost(lossReason_);
  }
  return !lost_;
}

bool WaylandLayerLight::roundtrip() { return wl_display_roundtrip(display_) >= 0; }

bool WaylandLayerLight::waitFor(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!done()) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) return false;
    dispatch(left);
    if (wl_display_get_error(display_) != 0) return done();
  }
  return true;
}

void WaylandLayerLight::markLost(const std::string& reason) {
  if (lost_) return;
  lost_ = true;
  lossReason_ = reason;
}

}  // namespace tarvelo
