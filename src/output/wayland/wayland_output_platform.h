#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "output/output_platform.h"

class QQmlEngine;

namespace tarvelo {

class HudHostingLight;

// The light output on a Wayland compositor: where it offers wlr-layer-shell,
// the light is a layer surface of our own on the light screen's output
// (WaylandLayerLight), shown through PictureLightView, and driven by the
// application's event loop; elsewhere (GNOME) it is a full-screen toplevel on
// that output (FullScreenLightWindow), which needs Qt on its wayland platform.
//
// A Wayland client learns nothing of the pointer outside its own surfaces and
// cannot place a toplevel. So the HUD lives inside the light, whose input
// region is the whole output: drawn into the layer light's overlay
// (WaylandHudWindow), or an item of the full-screen light's scene
// (LightSceneHud). "The pointer moved" means it moved over the light: that
// is what the mouse monitors hear and where mouseLocation() says it is.
// Needs a QGuiApplication; call on its thread.
class WaylandOutputPlatform final : public OutputPlatform {
 public:
  // The compositor's name for the output that shows `screen` (e.g. "DP-1");
  // empty when no output shows it.
  using OutputNameForScreen = std::function<std::string(const Screen& screen)>;

  // `displayName`: the compositor's socket, $WAYLAND_DISPLAY when empty. The
  // HUD's view is made by `viewEngine`, the program's one engine, which must
  // outlive this platform.
  WaylandOutputPlatform(QQmlEngine& viewEngine, OutputNameForScreen outputNameForScreen,
                        std::string displayName = {});
  ~WaylandOutputPlatform() override;

  // Null, after one "[Tarvelo] " line with the reason, when the compositor
  // cannot show the light (no such output, no layer-shell). The light shows
  // every new picture as it comes; the compositor paces what reaches the screen.
  std::unique_ptr<LightWindow> createLightWindow(const Screen& screen, std::int64_t maximumFramesPerSecond) override;
  // Inside the light last created and still open; null without one.
  std::unique_ptr<HudWindow> createHudWindow(const DisplayRect& frame, AppState& appState,
                                             std::function<void()> onDismiss) override;
  // The handler hears the pointer move over the light.
  std::optional<MonitorToken> addGlobalMouseMovedMonitor(std::function<void()> handler) override;
  void removeMonitor(MonitorToken token) override;
  // Where the pointer last was over the light; without such news,
  // where Qt last saw it over one of our own windows.
  Point mouseLocation() override;

 private:
  friend class HudHostingLight;
  void pointerMoved(Point location);
  void lightClosed(HudHostingLight* light);

  QQmlEngine& viewEngine_;
  OutputNameForScreen outputNameForScreen_;
  std::string displayName_;
  HudHostingLight* light_ = nullptr;
  std::map<MonitorToken, std::function<void()>> mouseMonitors_;
  MonitorToken nextMonitorToken_ = 1;
  std::optional<Point> pointerOverLight_;
};

}  // namespace tarvelo
