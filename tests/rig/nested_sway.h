#pragma once

#include <memory>
#include <string>

#include "rig/rig_child.h"

namespace tarvelo::testing {

// A second compositor inside the Wayland rig, for what the rig's own cannot
// stage: an output that goes away. sway on wlroots' Wayland backend shows
// each of its outputs as a window of the rig's compositor, and closing that
// window destroys the output, as pulling its cable would (the rig's headless
// outputs cannot even be switched off).
//
// Its outputs, as a desk of two displays: WL-1 (1280 x 720 at 0,0) over
// WL-2 (640 x 360 at 320,720). An output plugged in later is WL-3, placed
// where WL-2 was. Made inside the rig (see joinWaylandRig); stopped when
// destroyed.
class NestedSway {
 public:
  // Throws std::runtime_error when it does not come up with both outputs.
  NestedSway();
  ~NestedSway();
  NestedSway(const NestedSway&) = delete;
  NestedSway& operator=(const NestedSway&) = delete;

  // Its Wayland socket, as a client's WAYLAND_DISPLAY names it.
  const std::string& waylandDisplay() const { return waylandDisplay_; }

  // Closes the output's window: the output is destroyed.
  void unplug(const std::string& output);
  // Adds WL-3 below WL-1.
  void plugIn();
  // Whether the compositor has `output`, by its own account.
  bool hasOutput(const std::string& output);

 private:
  void stop();

  std::string directory_;
  std::unique_ptr<RigChild> sway_;
  std::string ipcSocket_;
  std::string waylandDisplay_;
};

}  // namespace tarvelo::testing
