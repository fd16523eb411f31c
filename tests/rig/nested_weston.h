#pragma once

#include <memory>
#include <string>

#include "rig/rig_child.h"

namespace tarvelo::testing {

// weston inside the Wayland rig, on its Wayland backend: a desktop without
// wlr-layer-shell, as GNOME's is, where the light must be a full-screen
// toplevel instead of a layer surface. Two outputs side by side, wayland0
// and wayland1, 640 x 360 each (weston places its outputs in a row). Made
// inside the rig (see joinWaylandRig); stopped when destroyed.
class NestedWeston {
 public:
  // Throws std::runtime_error when it does not come up.
  NestedWeston();
  ~NestedWeston();
  NestedWeston(const NestedWeston&) = delete;
  NestedWeston& operator=(const NestedWeston&) = delete;

  // Its Wayland socket, as a client's WAYLAND_DISPLAY names it.
  const std::string& waylandDisplay() const { return waylandDisplay_; }

 private:
  std::string log_;
  std::string waylandDisplay_;
  std::unique_ptr<RigChild> weston_;
};

}  // namespace tarvelo::testing
