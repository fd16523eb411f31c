#pragma once

#include <QCoreApplication>
#include <QEventLoop>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "displays/display_identity.h"
#include "displays/display_source.h"

namespace tarvelo::testing {

// The id a Wayland output gets from its connector name alone.
inline DisplayId connectorId(const std::string& name) {
  return *stableDisplayId(DisplayIdentity{name, "", "", ""});
}

// Lets Qt read the compositor's events until `done` holds; false once
// `timeout` has passed (long enough for a loaded machine; the compositor
// normally answers at once).
inline bool processEventsUntil(const std::function<bool()>& done,
                               std::chrono::milliseconds timeout = std::chrono::seconds(30)) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!done()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
  }
  return true;
}

// The display with `id` in `displays`, or null.
inline const OnlineDisplay* find(const std::vector<OnlineDisplay>& displays, DisplayId id) {
  for (const OnlineDisplay& display : displays) {
    if (display.id == id) return &display;
  }
  return nullptr;
}

}  // namespace tarvelo::testing
