#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

#include "displays/display_source.h"

namespace tarvelo::testing {

// Display services the test sets up by hand. Notices may be sent from any
// thread; the handler is copied out under a lock so that a concurrent
// unregistration cannot pull it away mid-call.
class FakeDisplaySource final : public DisplaySource {
 public:
  // What onlineDisplays() answers, in enumeration order.
  std::vector<OnlineDisplay> displays;
  // How many times onlineDisplays() has been asked.
  std::size_t onlineDisplaysCalls = 0;

  std::vector<OnlineDisplay> onlineDisplays() override {
    ++onlineDisplaysCalls;
    return displays;
  }

  void setReconfigurationHandler(ReconfigurationHandler handler) override {
    std::lock_guard lock(mutex_);
    handler_ = std::move(handler);
  }

  // The handler registered now; empty when nobody listens.
  ReconfigurationHandler handler() const {
    std::lock_guard lock(mutex_);
    return handler_;
  }

  // Sends one reconfiguration notice, as the platform would, to whoever listens.
  void notify(DisplayId display, std::uint32_t flags) {
    const ReconfigurationHandler current = handler();
    if (current) current(display, flags);
  }

 private:
  mutable std::mutex mutex_;
  ReconfigurationHandler handler_;
};

}  // namespace tarvelo::testing
