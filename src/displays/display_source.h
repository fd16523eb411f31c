#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "displays/display_info.h"

namespace tarvelo {

// What the platform says about one online display, before naming.
struct OnlineDisplay {
  DisplayId id = 0;
  std::int64_t pixelWidth = 0;
  std::int64_t pixelHeight = 0;
  bool isBuiltin = false;
  DisplayRect bounds;
  // The screen's own name (on X11 the monitor model from its EDID); absent when
  // no screen object carries this display's id.
  std::optional<std::string> localizedName;
};

// The platform's display services. Every call asks afresh; nothing is cached.
class DisplaySource {
 public:
  // Bit 0 of a notice's flags: sent before a change, not after it.
  static constexpr std::uint32_t kBeginConfigurationFlag = 1U << 0;

  using ReconfigurationHandler = std::function<void(DisplayId display, std::uint32_t flags)>;

  virtual ~DisplaySource() = default;

  // Online displays in the platform's enumeration order.
  virtual std::vector<OnlineDisplay> onlineDisplays() = 0;

  // One notice per affected display per change, on any thread. Passing an
  // empty handler unregisters.
  virtual void setReconfigurationHandler(ReconfigurationHandler handler) = 0;
};

}  // namespace tarvelo
