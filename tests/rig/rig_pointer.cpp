#include "rig/rig_pointer.h"

#include <linux/input-event-codes.h>
#include <wayland-client.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string_view>

#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

namespace tarvelo::testing {

namespace {

struct Globals {
  wl_seat* seat = nullptr;
  zwlr_virtual_pointer_manager_v1* manager = nullptr;
};

void global(void* data, wl_registry* registry, std::uint32_t name, const char* interface, std::uint32_t /*version*/) {
  auto* globals = static_cast<Globals*>(data);
  const std::string_view kind(interface);
  if (kind == wl_seat_interface.name && globals->seat == nullptr) {
    globals->seat = static_cast<wl_seat*>(wl_registry_bind(registry, name, &wl_seat_interface, 1));
  } else if (kind == zwlr_virtual_pointer_manager_v1_interface.name) {
    globals->manager = static_cast<zwlr_virtual_pointer_manager_v1*>(
        wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1));
  }
}

void globalRemove(void*, wl_registry*, std::uint32_t) {}

constexpr wl_registry_listener kRegistryListener{global, globalRemove};

}  // namespace

RigPointer::RigPointer(int layoutWidth, int layoutHeight) : layoutWidth_(layoutWidth), layoutHeight_(layoutHeight) {
  display_ = wl_display_connect(nullptr);
  if (display_ == nullptr) throw std::runtime_error("the rig pointer finds no compositor on WAYLAND_DISPLAY");
  Globals globals;
  registry_ = wl_display_get_registry(display_);
  wl_registry_add_listener(registry_, &kRegistryListener, &globals);
  wl_display_roundtrip(display_);
  seat_ = globals.seat;
  manager_ = globals.manager;
  if (manager_ == nullptr) throw std::runtime_error("the rig's compositor offers no virtual pointer");
  pointer_ = zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager_, seat_);
  wl_display_roundtrip(display_);
}

RigPointer::~RigPointer() {
  if (pointer_ != nullptr) zwlr_virtual_pointer_v1_destroy(pointer_);
  if (manager_ != nullptr) zwlr_virtual_pointer_manager_v1_destroy(manager_);
  if (seat_ != nullptr) wl_seat_destroy(seat_);
  if (registry_ != nullptr) wl_registry_destroy(registry_);
  if (display_ != nullptr) {
    wl_display_roundtrip(display_);
    wl_display_disconnect(display_);
  }
}

void RigPointer::moveTo(double x, double y) {
  const auto clamped = [](double value, int extent) {
    return static_cast<std::uint32_t>(std::clamp(std::lround(value), 0L, static_cast<long>(extent) - 1));
  };
  zwlr_virtual_pointer_v1_motion_absolute(pointer_, ++time_, clamped(x, layoutWidth_), clamped(y, layoutHeight_),
                                          static_cast<std::uint32_t>(layoutWidth_),
                                          static_cast<std::uint32_t>(layoutHeight_));
  send();
}

void RigPointer::click(std::uint32_t button) {
  const std::uint32_t code = button == 0 ? BTN_LEFT : button;
  zwlr_virtual_pointer_v1_button(pointer_, ++time_, code, WL_POINTER_BUTTON_STATE_PRESSED);
  send();
  zwlr_virtual_pointer_v1_button(pointer_, ++time_, code, WL_POINTER_BUTTON_STATE_RELEASED);
  send();
}

void RigPointer::send() {
  zwlr_virtual_pointer_v1_frame(pointer_);
  wl_display_roundtrip(display_);
}

}  // namespace tarvelo::testing
