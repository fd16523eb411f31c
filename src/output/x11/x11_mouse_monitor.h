#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

struct xcb_connection_t;

namespace tarvelo {

// Pointer motion anywhere on an X server, from XInput2 raw motion events
// selected on the root window of a connection of its own, read on a thread
// of its own that sleeps in poll() until the server or stop() wakes it.
class X11MouseMonitor {
 public:
  // Starts watching `displayName` ($DISPLAY when absent); `onMove` runs on the
  // monitor's thread once per raw motion event. Null when the server cannot
  // be reached or lacks XInput 2.
  static std::unique_ptr<X11MouseMonitor> start(const std::optional<std::string>& displayName,
                                                std::function<void()> onMove);

  // Stops the thread and waits for it: once this returns `onMove` is not
  // running and never runs again.
  ~X11MouseMonitor();

  X11MouseMonitor(const X11MouseMonitor&) = delete;
  X11MouseMonitor& operator=(const X11MouseMonitor&) = delete;

 private:
  X11MouseMonitor(xcb_connection_t* connection, std::uint8_t inputOpcode, int wakeFd, std::function<void()> onMove);

  void watch();

  xcb_connection_t* connection_;
  std::uint8_t inputOpcode_;
  int wakeFd_;
  std::function<void()> onMove_;
  std::thread thread_;
};

}  // namespace tarvelo
