#pragma once

#include <xcb/xcb.h>

#include <cstdint>
#include <optional>
#include <string>

namespace tarvelo {

// One connection to an X server that has every extension screen capture
// relies on (RandR for the outputs, Render for scaling, MIT-SHM for reading
// pixels back, Damage for change reports), with their versions negotiated.
class X11Connection {
 public:
  // `displayName` as in DISPLAY; absent means the DISPLAY environment variable.
  // Throws std::runtime_error with a one-line reason when the server cannot be
  // reached or lacks an extension.
  explicit X11Connection(const std::optional<std::string>& displayName);
  ~X11Connection();

  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  xcb_connection_t* get() const { return connection_; }
  const xcb_screen_t& screen() const { return *screen_; }
  xcb_window_t root() const { return screen_->root; }
  std::uint8_t randrEventBase() const { return randrEventBase_; }
  std::uint8_t damageEventBase() const { return damageEventBase_; }
  // True once the connection has failed for good (server gone, protocol error).
  bool hasFailed() const;
  // The display the connection was asked for, for messages.
  const std::string& displayLabel() const { return displayLabel_; }

 private:
  void requireExtensions();

  std::string displayLabel_;
  xcb_connection_t* connection_ = nullptr;
  const xcb_screen_t* screen_ = nullptr;
  std::uint8_t randrEventBase_ = 0;
  std::uint8_t damageEventBase_ = 0;
};

}  // namespace tarvelo
