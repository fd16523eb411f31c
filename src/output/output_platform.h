#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "displays/display_info.h"

namespace tarvelo {

class AppState;
class LightView;

// One of the platform's screens, as windows are placed on it. `frame` is in the
// global display space (top-left origin, y down), in the units windows use.
struct Screen {
  // The display id the screen carries; absent when it carries none (or one of
  // another type), in which case it never matches a display id.
  std::optional<DisplayId> displayNumber;
  std::string localizedName;
  DisplayRect frame;
};

struct Point {
  double x = 0.0;
  double y = 0.0;
};

using MonitorToken = std::uint64_t;

// The full-screen light window on the target screen.
class LightWindow {
 public:
  virtual ~LightWindow() = default;
  virtual LightView* view() = 0;
  virtual void orderOut() = 0;
};

// The small translucent window that hosts the floating HUD.
class HudWindow {
 public:
  virtual ~HudWindow() = default;
  // Fades the window's opacity to `alpha`; no duration means the platform default.
  virtual void animateAlpha(double alpha, std::optional<double> durationSeconds) = 0;
  virtual double alpha() const = 0;
  virtual void orderOut() = 0;
};

// The windowing facilities of the light output, one implementation per platform.
class OutputPlatform {
 public:
  virtual ~OutputPlatform() = default;

  // Borderless, opaque black, covering `screen` exactly, above normal and
  // floating windows but below docks and panels, on all desktops, transparent
  // to input; shown before it is returned. Its light is redrawn at most
  // `maximumFramesPerSecond` times a second (zero or less: no limit).
  virtual std::unique_ptr<LightWindow> createLightWindow(const Screen& screen,
                                                         std::int64_t maximumFramesPerSecond) = 0;

  // The HUD at `frame` (global space), floating, on all desktops, shown at
  // alpha 1, hosting the HUD view of `appState`; the view's hide button calls
  // `onDismiss`.
  virtual std::unique_ptr<HudWindow> createHudWindow(const DisplayRect& frame, AppState& appState,
                                                     std::function<void()> onDismiss) = 0;

  // Pointer moves anywhere on the desktop; `handler` may run on any thread.
  virtual std::optional<MonitorToken> addGlobalMouseMovedMonitor(std::function<void()> handler) = 0;
  virtual void removeMonitor(MonitorToken token) = 0;

  // Where the pointer is now, in the global display space.
  virtual Point mouseLocation() = 0;
};

}  // namespace tarvelo
