#pragma once

#include <functional>
#include <memory>
#include <string>

#include "output/output_platform.h"

namespace tarvelo {

// The light output on a Wayland compositor: where it offers wlr-layer-shell,
// the light is a layer surface of our own on the light screen's output
// (WaylandLayerLight), shown through WaylandLightView, and driven by the
// application's event loop; elsewhere (GNOME) it is a full-screen toplevel on
// that output (FullScreenLightWindow), which needs Qt on its wayland platform.
//
// A Wayland client learns nothing of the pointer outside its own surfaces and
// cannot place a toplevel, so there is no global mouse monitor here and no
// HUD window of its own: createHudWindow() makes none, and the HUD stays off.
// Needs a QGuiApplication; call on its thread.
class WaylandOutputPlatform final : public OutputPlatform {
 public:
  // The compositor's name for the output that shows `screen` (e.g. "DP-1");
  // empty when no output shows it.
  using OutputNameForScreen = std::function<std::string(const Screen& screen)>;

  // `displayName`: the compositor's socket, $WAYLAND_DISPLAY when empty.
  explicit WaylandOutputPlatform(OutputNameForScreen outputNameForScreen, std::string displayName = {});

  // Null, after one "[Tarvelo] " line with the reason, when the compositor
  // cannot show the light (no such output, no layer-shell). The light shows
  // every new picture as it comes; the compositor paces what reaches the screen.
  std::unique_ptr<LightWindow> createLightWindow(const Screen& screen, std::int64_t maximumFramesPerSecond) override;
  std::unique_ptr<HudWindow> createHudWindow(const DisplayRect& frame, AppState& appState,
                                             std::function<void()> onDismiss) override;
  std::optional<MonitorToken> addGlobalMouseMovedMonitor(std::function<void()> handler) override;
  void removeMonitor(MonitorToken token) override;
  // Where Qt last saw the pointer over one of our own surfaces.
  Point mouseLocation() override;

 private:
  OutputNameForScreen outputNameForScreen_;
  std::string displayName_;
};

}  // namespace tarvelo
