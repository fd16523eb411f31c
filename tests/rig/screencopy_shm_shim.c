// Test-rig workaround, preloaded into xdg-desktop-portal-wlr by
// scripts/virtual-wayland.sh only; never part of the program.
//
// xdg-desktop-portal-wlr 0.7.0 refuses to start a cast when the compositor
// offers screencopy version 3 but no DMA-BUF format, which is what a compositor
// without a GPU (wlroots' pixman renderer) does: "unable to receive a valid
// format from wlr_screencopy". Its shared-memory path works all the same. This
// library hands it a placeholder DMA-BUF format at the end of each frame's
// buffer list; without a GPU it finds no modifiers for that format, so it
// offers PipeWire shared memory only.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdint.h>
#include <string.h>

struct wl_proxy;
typedef void (*wl_dispatcher_func_t)(void);

// The event listener of zwlr_screencopy_frame_v1 (wlr-screencopy-unstable-v1, version 3).
struct screencopy_frame_listener {
  void (*buffer)(void* data, struct wl_proxy* frame, uint32_t format, uint32_t width, uint32_t height,
                 uint32_t stride);
  void (*flags)(void* data, struct wl_proxy* frame, uint32_t flags);
  void (*ready)(void* data, struct wl_proxy* frame, uint32_t tv_sec_hi, uint32_t tv_sec_lo, uint32_t tv_nsec);
  void (*failed)(void* data, struct wl_proxy* frame);
  void (*damage)(void* data, struct wl_proxy* frame, uint32_t x, uint32_t y, uint32_t width, uint32_t height);
  void (*linux_dmabuf)(void* data, struct wl_proxy* frame, uint32_t format, uint32_t width, uint32_t height);
  void (*buffer_done)(void* data, struct wl_proxy* frame);
};

static const uint32_t kPlaceholderFormat = 0x34325258;  // DRM_FORMAT_XRGB8888

// The portal registers one listener for every frame and handles one frame at a time.
static const struct screencopy_frame_listener* original;
static uint32_t shmWidth, shmHeight;
static int sawDmabuf;

static void onBuffer(void* data, struct wl_proxy* frame, uint32_t format, uint32_t width, uint32_t height,
                     uint32_t stride) {
  shmWidth = width;
  shmHeight = height;
  sawDmabuf = 0;
  original->buffer(data, frame, format, width, height, stride);
}
static void onFlags(void* data, struct wl_proxy* frame, uint32_t flags) { original->flags(data, frame, flags); }
static void onReady(void* data, struct wl_proxy* frame, uint32_t hi, uint32_t lo, uint32_t ns) {
  original->ready(data, frame, hi, lo, ns);
}
static void onFailed(void* data, struct wl_proxy* frame) { original->failed(data, frame); }
static void onDamage(void* data, struct wl_proxy* frame, uint32_t x, uint32_t y, uint32_t w, uint32_t h) {
  original->damage(data, frame, x, y, w, h);
}
static void onLinuxDmabuf(void* data, struct wl_proxy* frame, uint32_t format, uint32_t width, uint32_t height) {
  sawDmabuf = 1;
  original->linux_dmabuf(data, frame, format, width, height);
}
static void onBufferDone(void* data, struct wl_proxy* frame) {
  if (!sawDmabuf && shmWidth != 0) original->linux_dmabuf(data, frame, kPlaceholderFormat, shmWidth, shmHeight);
  original->buffer_done(data, frame);
}

static const struct screencopy_frame_listener wrapper = {
    onBuffer, onFlags, onReady, onFailed, onDamage, onLinuxDmabuf, onBufferDone,
};

int wl_proxy_add_listener(struct wl_proxy* proxy, void (**implementation)(void), void* data) {
  static int (*next)(struct wl_proxy*, void (**)(void), void*);
  static const char* (*proxyClass)(struct wl_proxy*);
  if (!next) {
    next = (int (*)(struct wl_proxy*, void (**)(void), void*))dlsym(RTLD_NEXT, "wl_proxy_add_listener");
    proxyClass = (const char* (*)(struct wl_proxy*))dlsym(RTLD_NEXT, "wl_proxy_get_class");
  }
  if (proxyClass && strcmp(proxyClass(proxy), "zwlr_screencopy_frame_v1") == 0) {
    original = (const struct screencopy_frame_listener*)implementation;
    return next(proxy, (void (**)(void))&wrapper, data);
  }
  return next(proxy, implementation, data);
}
