#pragma once

#include <cstdint>

struct wl_display;
struct wl_registry;
struct wl_seat;
struct zwlr_virtual_pointer_manager_v1;
struct zwlr_virtual_pointer_v1;

namespace tarvelo::testing {

// The headless rig has no pointer of its own; this one moves and clicks as a
// person's would, on a connection of its own to the rig's compositor
// ($WAYLAND_DISPLAY). Positions are in the compositor's layout space, whose
// bounding box is `layoutWidth` × `layoutHeight` (4k-over-hd: 3840 × 3240).
// The seat has a pointer for as long as one of these lives.
class RigPointer {
 public:
  RigPointer(int layoutWidth, int layoutHeight);
  ~RigPointer();
  RigPointer(const RigPointer&) = delete;
  RigPointer& operator=(const RigPointer&) = delete;

  void moveTo(double x, double y);
  // Press and release of `button` (a Linux input code; BTN_LEFT when zero) where the pointer is.
  void click(std::uint32_t button = 0);

 private:
  void send();

  int layoutWidth_;
  int layoutHeight_;
  std::uint32_t time_ = 0;
  wl_display* display_ = nullptr;
  wl_registry* registry_ = nullptr;
  wl_seat* seat_ = nullptr;
  zwlr_virtual_pointer_manager_v1* manager_ = nullptr;
  zwlr_virtual_pointer_v1* pointer_ = nullptr;
};

}  // namespace tarvelo::testing
